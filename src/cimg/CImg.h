// How the image library is configured, and the only place that includes it.
//
// A program that wants other settings defines them, or includes CImg itself, before this header;
// the layout of CImg<float> depends on none of them.
#pragma once

#ifndef cimg_display
#define cimg_display 0  // no windows, no X11
#endif
#ifndef cimg_verbosity
#define cimg_verbosity 0  // errors arrive as exceptions, not as text on standard error
#endif
#ifndef cimg_no_system_calls
#define cimg_no_system_calls  // no shell commands to convert images of unknown kinds
#endif
#ifndef cimg_use_png
#define cimg_use_png
#endif

#include <CImg.h>

using cimg_library::CImg;
using cimg_library::CImgException;
using cimg_library::CImgIOException;
