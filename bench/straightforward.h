// The operations as their steps read: one loop after the other, nothing shared, nothing packed.
// Compiled with the library's flags; what the library does must give the same results.
#pragma once

#include "fast_lp.h"

namespace remora::bench {

// One prediction step of every point.
void straightPredict(FastShapeTracker& tracker, CImg<float>& image);
void straightPredict(FastShapeTracker& tracker, CImg<float>& image, const double* map);
void straightPredict(FastShapeTracker& tracker, const unsigned char* image, int line_size,
                     int width, int height);

}  // namespace remora::bench
