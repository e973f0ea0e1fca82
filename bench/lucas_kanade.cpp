#include "lucas_kanade.h"

#include <opencv2/core.hpp>
#include <opencv2/video/tracking.hpp>
#include <utility>
#include <vector>

namespace remora::bench {
namespace {

const cv::Size kWindow(21, 21);

void build(const Image& image, int halvings, std::vector<cv::Mat>& levels) {
  const cv::Mat view(image.height, image.width, CV_8U, const_cast<void*>(image.data),
                     static_cast<std::size_t>(image.row_bytes));
  cv::buildOpticalFlowPyramid(view, levels, kWindow, halvings);
}

}  // namespace

struct LucasKanade::Pyramid {
  int halvings;
  std::vector<cv::Mat> before, next;
  std::vector<cv::Point2f> points, found, back;
  std::vector<unsigned char> status;
  std::vector<float> error;
};

LucasKanade::LucasKanade(const Image& first, const Shape& points, int halvings)
    : pyramid_(new Pyramid) {
  cv::setNumThreads(1);
  pyramid_->halvings = halvings;
  build(first, halvings, pyramid_->before);
  for (const Point& p : points) {
    pyramid_->points.emplace_back(static_cast<float>(p.x), static_cast<float>(p.y));
  }
}

LucasKanade::~LucasKanade() = default;

Shape LucasKanade::track(const Image& next) {
  build(next, pyramid_->halvings, pyramid_->next);
  cv::calcOpticalFlowPyrLK(pyramid_->before, pyramid_->next, pyramid_->points, pyramid_->found,
                           pyramid_->status, pyramid_->error, kWindow, pyramid_->halvings);
  Shape found;
  for (std::size_t p = 0; p < pyramid_->found.size(); ++p) {
    if (pyramid_->status[p] == 0) pyramid_->found[p] = pyramid_->points[p];
    found.push_back({pyramid_->found[p].x, pyramid_->found[p].y});
  }
  return found;
}

int LucasKanade::trackBack() {
  Pyramid& p = *pyramid_;
  cv::calcOpticalFlowPyrLK(p.next, p.before, p.found, p.back, p.status, p.error, kWindow,
                           p.halvings);
  int good = 0;
  for (std::size_t i = 0; i < p.back.size(); ++i) {
    const cv::Point2f off = p.back[i] - p.points[i];
    good += p.status[i] != 0 && off.dot(off) < 1.0F ? 1 : 0;
  }
  return good;
}

void LucasKanade::advance() {
  std::swap(pyramid_->before, pyramid_->next);
  std::swap(pyramid_->points, pyramid_->found);
}

}  // namespace remora::bench
