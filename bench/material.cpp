#include "material.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>

namespace remora::bench {

CImg<float> picture(std::uint32_t seed) {
  std::mt19937 random(seed);
  CImg<float> noise(kWidth, kHeight);
  cimg_forXY(noise, x, y) noise(x, y) = static_cast<float>(random() >> 24);
  CImg<float> smooth(kWidth, kHeight);
  constexpr int kReach = 2;
  cimg_forXY(smooth, x, y) {
    float sum = 0.0F;
    for (int dy = -kReach; dy <= kReach; ++dy) {
      for (int dx = -kReach; dx <= kReach; ++dx) {
        sum += noise((x + dx + kWidth) % kWidth, (y + dy + kHeight) % kHeight);
      }
    }
    smooth(x, y) = std::round(sum / 25.0F);
  }
  return smooth;
}

void writeShape(const std::string& name, const Load& load) {
  std::mt19937 random(7);
  const auto offset = [&] {
    return std::uniform_int_distribution<int>(-load.radius, load.radius)(random);
  };
  const auto real = [&](double most) {
    return std::uniform_real_distribution<double>(-most, most)(random);
  };
  std::FILE* const out = std::fopen(name.c_str(), "w");
  std::fprintf(out, "%d\n", kPoints);
  for (int part = 0; part < 2 * kPoints; ++part) {
    const int column = part / 2 % 10;
    const int row = part / 2 / 10;
    std::fprintf(out, "60\n%d\n%f %f\n", load.entries, 60.0 + 57.3 * column, 60.0 + 60.4 * row);
    for (int k = 0; k < load.entries; ++k) {
      const int dx = offset();
      const int dy = offset();
      std::fprintf(out, "%d %d\n", dx, dy);
    }
    for (int k = 0; k < load.entries; ++k) std::fprintf(out, "%f ", 0.5 + real(0.5));
    std::fprintf(out, "\n");
    for (int k = 0; k < load.entries; ++k) std::fprintf(out, "%f ", real(2.0));
    std::fprintf(out, "\n%f\n", real(1.0));
  }
  std::fclose(out);
}

std::string pathTo(const std::string& name) {
  struct Folder {
    Folder() { path = mkdtemp(path.data()); }
    ~Folder() { std::filesystem::remove_all(path); }
    std::string path = std::filesystem::temp_directory_path().string() + "/remora.XXXXXX";
  };
  static const Folder folder;
  return folder.path + '/' + name;
}

}  // namespace remora::bench
