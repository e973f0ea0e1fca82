// Frames: how an image file is read, smoothed, and brought to its working size.
//
// The program of this tree compiles this pair too, so that frames are tracked as they were trained.
#pragma once

#include "cimg/CImg.h"

namespace remora::internal {

// Reads a PNG (8 or 16 bits, any colour type), BMP, PNM or PFM file, chosen by the name's
// extension, and returns the value that stands for white: the largest of the file's depth, 255
// where it has none. Throws CImgIOException, and nothing else, for a file that cannot be read; then
// `image` is empty. Unlike the image library's own load(), it never tries other formats or starts
// other programs, reads standard input or the network, leaks what a damaged PNG left behind, or
// prints.
float loadFrame(const char* name, CImg<float>& image);

// Recursive Gaussian smoothing with sigma 1 along every axis that has more than one pixel (R.
// Deriche, "Recursively implementing the Gaussian and its derivatives", 1993). CImg's own blur()
// does something else in newer versions.
void blur(CImg<float>& image);

// The size argument for an image scale: minus the whole percentage, truncated toward zero. The
// product is formed in double, so scales that a float holds a little too small lose one percent.
int sizeArgument(float scale);

// Nearest-neighbour resize to depth 1, three channels, and a size argument for both axes: a
// percentage of the size when negative (at least one pixel), pixels when positive, an empty image
// when 0. Throws CImgException for a size that no image can have.
void resizeBy(CImg<float>& image, int size_argument);

}  // namespace remora::internal
