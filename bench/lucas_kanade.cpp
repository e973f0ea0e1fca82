#include "lucas_kanade.h"

#include <opencv2/core.hpp>
#include <opencv2/video/tracking.hpp>

namespace remora::bench {
namespace {

const cv::Size kWindow(21, 21);
constexpr int kHighestLevel = 2;  // counted from 0: three levels

void build(const CImg<unsigned char>& image, std::vector<cv::Mat>& levels) {
  const cv::Mat view(image.height(), image.width(), CV_8U,
                     const_cast<unsigned char*>(image.data()));
  cv::buildOpticalFlowPyramid(view, levels, kWindow, kHighestLevel);
}

}  // namespace

struct LucasKanade::Pyramid {
  std::vector<cv::Mat> first, next;
  std::vector<cv::Point2f> points, found;
  std::vector<unsigned char> status;
  std::vector<float> error;
};

LucasKanade::LucasKanade(const CImg<float>& first, const std::vector<double>& points)
    : pyramid_(new Pyramid) {
  cv::setNumThreads(1);
  build(CImg<unsigned char>(first), pyramid_->first);
  for (std::size_t i = 0; i + 1 < points.size(); i += 2) {
    pyramid_->points.emplace_back(static_cast<float>(points[i]), static_cast<float>(points[i + 1]));
  }
}

LucasKanade::~LucasKanade() = default;

void LucasKanade::track(const CImg<unsigned char>& next) {
  build(next, pyramid_->next);
  cv::calcOpticalFlowPyrLK(pyramid_->first, pyramid_->next, pyramid_->points, pyramid_->found,
                           pyramid_->status, pyramid_->error, kWindow, kHighestLevel);
}

}  // namespace remora::bench
