#include "common/frames.h"

#include "common/failure.h"
#include "internal/frame.h"

namespace remora::tools {
namespace {

constexpr float kWhite = 255.0F;

void stretch(CImg<float>& picture, float white) {
  for (float& value : picture) {
    value = static_cast<float>(static_cast<double>(value) * kWhite / static_cast<double>(white));
  }
}

// With weights in whole thousandths the sum of whole numbers is exact, and grey stays grey.
float luma(float red, float green, float blue) {
  return static_cast<float>((299.0 * red + 587.0 * green + 114.0 * blue) / 1000.0);
}

}  // namespace

CImg<float> loadFrame(const std::string& file) {
  CImg<float> picture;
  try {
    const float white = internal::loadFrame(file.c_str(), picture);
    if (!(white > 0.0F)) throw Failure("image file '" + file + "' has no values above 0");
    if (white != kWhite) stretch(picture, white);
  } catch (const CImgException& error) {
    throw Failure(error.what());
  }
  return picture;
}

CImg<float> toGrey(const CImg<float>& picture) {
  constexpr int kColours = 3;
  if (picture.spectrum() < kColours) return picture.get_channel(0);
  CImg<float> grey(picture.width(), picture.height());
  cimg_forXY(grey, x, y) {
    grey(x, y) = luma(picture(x, y, 0, 0), picture(x, y, 0, 1), picture(x, y, 0, 2));
  }
  return grey;
}

}  // namespace remora::tools
