// What is measured on: shapes, images and files of given sizes, the same in every run.
#pragma once

#include <cstdint>
#include <string>

#include "cimg/CImg.h"

namespace remora::bench {

constexpr int kWidth = 640;
constexpr int kHeight = 480;
constexpr int kPoints = 68;

// A size of parts: so many entries, drawn within a radius, leave about so many distinct offsets.
struct Load {
  const char* name;
  int entries;
  int radius;
};
constexpr Load kMediumParts = {"about 1100 offsets", 1600, 22};
constexpr Load kLargeParts = {"about 2850 offsets", 5450, 30};
constexpr Load kFileParts = {"9000 entries", 9000, 40};

// Grey noise of some smoothness, whole numbers 0 ... 255.
CImg<float> picture(std::uint32_t seed);

// Writes a flat LP file of kPoints points, spread over the picture.
void writeShape(const std::string& name, const Load& load);

// A folder that lasts as long as the process.
std::string pathTo(const std::string& name);

}  // namespace remora::bench
