// The operations as their steps read: one loop after the other, nothing shared, nothing packed.
// Compiled with the library's flags. requires: all samples inside their images
#pragma once

#include <string>

#include "fast_lp.h"
#include "shape_lp_track.h"

namespace remora::bench {

// One prediction step of every point.
void straightPredict(FastShapeTracker& tracker, CImg<float>& image);
void straightPredict(FastShapeTracker& tracker, CImg<float>& image, const double* map);
void straightPredict(FastShapeTracker& tracker, const unsigned char* image, int line_size,
                     int width, int height);

// One generation of one point's bunch: templates, examples image by image, learning. Returns the
// sum of the training errors.
double straightGeneration(LP_Bunch& bunch, CImg<float>** images, int num_images, float*** positions,
                          int point, int direction);

// A bunch file with fprintf and fscanf; the reader returns how many predictors it has read.
void straightSave(const ShapeLPTracker& tracker, const std::string& name);
int straightRead(const std::string& name);

// Reads and merges a flat LP file; returns how many offsets are left.
int straightLoad(const std::string& name);

}  // namespace remora::bench
