#include "straight.h"

namespace remora::bench {
namespace {

template <class Sample>
float partResult(int lps, int size, const int* offs, const double* weights, const double* terms,
                 double bias, Sample sample) {
  float result = 0.0F;
  for (int k = 0; k < size; ++k) {
    const double term = weights[k] * sample(offs[2 * k], offs[2 * k + 1]) - terms[k];
    result = static_cast<float>(static_cast<double>(result) + term);
  }
  result = static_cast<float>(static_cast<double>(result) + bias);
  return static_cast<float>(static_cast<double>(result) * (1.0 / lps));
}

template <class Sample>
void stepPoint(FastLP& point, Sample sample) {
  const float x = partResult(point.num_lps_x, point.num_sp_x, point.sp_offs_x, point.sp_weights_x,
                             point.sp_int_x, point.sp_bias_x, sample);
  const float y = partResult(point.num_lps_y, point.num_sp_y, point.sp_offs_y, point.sp_weights_y,
                             point.sp_int_y, point.sp_bias_y, sample);
  point.cur_pos[0] -= static_cast<double>(x);
  point.cur_pos[1] -= static_cast<double>(y);
}

}  // namespace

void straightPredict(FastShapeTracker& tracker, CImg<float>& image) {
  for (int i = 0; i < tracker.num_points; ++i) {
    FastLP& point = *tracker.all_flp[i];
    const int x = static_cast<int>(point.cur_pos[0]);
    const int y = static_cast<int>(point.cur_pos[1]);
    stepPoint(point,
              [&](int dx, int dy) { return static_cast<double>(image(x + dx, y + dy)) / 255.0; });
  }
}

void straightPredict(FastShapeTracker& tracker, CImg<float>& image, const double* map) {
  for (int i = 0; i < tracker.num_points; ++i) {
    FastLP& point = *tracker.all_flp[i];
    const int x = static_cast<int>(point.cur_pos[0]);
    const int y = static_cast<int>(point.cur_pos[1]);
    stepPoint(point, [&](int dx, int dy) {
      const double mapped_x = map[0] * dx + map[1] * dy;
      const double mapped_y = map[3] * dx + map[4] * dy;
      const float grey = image(x + static_cast<int>(mapped_x), y + static_cast<int>(mapped_y));
      return static_cast<double>(grey) / 255.0;
    });
  }
}

void straightPredict(FastShapeTracker& tracker, const unsigned char* image, int line_size,
                     int width, int height) {
  for (int i = 0; i < tracker.num_points; ++i) {
    FastLP& point = *tracker.all_flp[i];
    const int cx = static_cast<int>(point.cur_pos[0]);
    const int cy = static_cast<int>(point.cur_pos[1]);
    stepPoint(point, [&](int dx, int dy) {
      const int x = cx + dx;
      const int y = cy + dy;
      if (x < 0 || x >= width || y < 0 || y >= height) return 0.0;
      return static_cast<double>(image[3 * x + y * line_size]) / 255.0;
    });
  }
}

}  // namespace remora::bench
