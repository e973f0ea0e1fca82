#include "internal/frame.h"

#include <fcntl.h>
#include <unistd.h>

#include "support.h"

namespace {

using remora::internal::loadFrame;

std::string saved(const CImg<float>& image, const std::string& name, unsigned bytes_per_value) {
  image.save_png(pathTo(name).c_str(), bytes_per_value);
  return pathTo(name);
}

// Empty when the file was read, the message otherwise.
std::string complaint(const std::string& name) {
  CImg<float> image(3, 3);
  try {
    loadFrame(name.c_str(), image);
  } catch (const CImgIOException& error) {
    EXPECT_TRUE(image.is_empty());
    return error.what();
  }
  return "";
}

int nextDescriptor() {
  const int descriptor = dup(0);
  close(descriptor);
  return descriptor;
}

TEST(Frame, holdsTheValuesOfEveryKindOfPng) {
  for (const unsigned channels : {1U, 2U, 3U, 4U}) {
    for (const unsigned bytes : {1U, 2U}) {
      CImg<float> image(13, 7, 1, channels);
      cimg_forXYC(image, x, y, c) {
        image(x, y, 0, c) =
            static_cast<float>((x * 37 + y * 91 + c * 53) % 256 * (bytes == 1 ? 1 : 251));
      }
      const std::string name = saved(image, "kind.png", bytes);
      CImg<float> read;
      loadFrame(name.c_str(), read);
      EXPECT_EQ(read, CImg<float>(name.c_str())) << channels << " channels, " << bytes << " bytes";
      EXPECT_TRUE(read.is_sameXYC(image)) << channels;
      EXPECT_EQ(read, image) << channels << " channels, " << bytes << " bytes";
    }
  }
  CImg<float> bmp;
  const CImg<float> colours = texture(20, 10).resize(20, 10, 1, 3, 1, 0, 0, 0, 0, 0);
  colours.save_bmp(pathTo("f.bmp").c_str());
  loadFrame(pathTo("f.bmp").c_str(), bmp);
  EXPECT_EQ(bmp, colours);
}

TEST(Frame, damagedFilesAreRefusedAndLeaveNothingBehind) {
  const std::string whole = contentsOf(saved(texture(200, 100), "whole.png", 1));
  std::string huge = whole;  // announces 65536 x 65536 pixels
  huge.replace(16, 8, std::string("\0\1\0\0\0\1\0\0", 8));
  std::string wrong = whole;
  wrong[whole.size() / 2] = static_cast<char>(wrong[whole.size() / 2] ^ 0x55);
  const std::string damaged_files[] = {file("short.png", whole.substr(0, whole.size() / 2)),
                                       file("empty.png", ""),
                                       file("huge.png", huge),
                                       file("wrong.png", wrong),
                                       file("text.png", "once upon a time"),
                                       file("scan.pdf", "%PDF"),
                                       pathTo(""),
                                       pathTo("missing.png")};
  const int free_descriptor = nextDescriptor();
  for (const std::string& name : damaged_files) {
    EXPECT_NE(complaint(name).find(name), std::string::npos) << name;
  }
  EXPECT_EQ(nextDescriptor(), free_descriptor);
  EXPECT_NE(complaint(pathTo("scan.pdf")).find(".png"), std::string::npos);
}

TEST(Frame, standardInputIsNeverAFrame) {
  EXPECT_NE(complaint("-").find("'-'"), std::string::npos);
  EXPECT_NE(complaint("-.00001.png").find("'-.00001.png'"), std::string::npos);
}

TEST(Frame, scalesToWholePercentages) {
  const std::pair<float, int> widths[] = {{0.7F, 496}, {0.5F, 360}, {0.29F, 201}, {0.65F, 460},
                                          {1.0F, 720}, {0.004F, 0}, {-0.5F, 50}};
  for (const auto& [scale, width] : widths) {
    CImg<float> image(720, 576, 1, 1, 7.0F);
    remora::internal::resizeBy(image, remora::internal::sizeArgument(scale));
    EXPECT_EQ(image.width(), width) << scale;
    EXPECT_EQ(image.spectrum(), width == 0 ? 0 : 3);
  }
}

}  // namespace
