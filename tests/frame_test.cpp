#include "internal/frame.h"

#include <png.h>

#include <numeric>

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
      EXPECT_EQ(read, CImg<float>().load_png(name.c_str()))
          << channels << " channels, " << bytes << " bytes";
      EXPECT_TRUE(read.is_sameXYC(image)) << channels;
      EXPECT_EQ(read, image) << channels << " channels, " << bytes << " bytes";
    }
  }
}

// A PNG file of rows of pixels as they are stored, interlaced where there are several. The palette
// is red and green; what is transparent is the first colour of the palette, by half, or grey
// level 1.
std::string storedPng(int type, int depth, unsigned width, std::vector<png_byte> bytes,
                      bool transparent, unsigned height = 1) {
  const std::string name = pathTo("stored.png");
  const Stream stream = remora::internal::openToWrite(name.c_str());
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png_create_info_struct(png);
  png_init_io(png, stream.get());
  png_set_IHDR(png, info, width, height, depth, type,
               height > 1 ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
               PNG_FILTER_TYPE_DEFAULT);
  const png_color colours[] = {{255, 0, 0}, {0, 255, 9}};
  if (type == PNG_COLOR_TYPE_PALETTE) png_set_PLTE(png, info, colours, 2);
  const png_byte half = 128;
  const png_color_16 level = {0, 0, 0, 0, 1};
  if (transparent) png_set_tRNS(png, info, &half, 1, &level);
  png_write_info(png, info);
  std::vector<png_bytep> rows;
  for (png_bytep row = bytes.data(); rows.size() < height; row += bytes.size() / height) {
    rows.push_back(row);
  }
  png_write_image(png, rows.data());
  png_write_end(png, info);
  png_destroy_write_struct(&png, &info);
  return name;
}

TEST(Frame, expandsPalettesSmallGreyLevelsTransparencyAndInterlacing) {
  const auto expectRead = [](const std::string& name, const std::vector<CImg<float>>& channels) {
    CImg<float> read;
    loadFrame(name.c_str(), read);
    ASSERT_EQ(read.spectrum(), static_cast<int>(channels.size()));
    cimg_forC(read, c) EXPECT_EQ(read.get_channel(c), channels[static_cast<std::size_t>(c)]) << c;
  };
  const auto row = [](const std::vector<int>& values) {
    return CImg<float>(values.data(), static_cast<unsigned>(values.size()), 1);
  };
  for (const bool transparent : {false, true}) {
    std::vector<CImg<float>> colours{row({255, 0, 255}), row({0, 255, 0}), row({0, 9, 0})};
    if (transparent) colours.push_back(row({128, 255, 128}));
    expectRead(storedPng(PNG_COLOR_TYPE_PALETTE, 1, 3, {0x40}, transparent), colours);
    expectRead(storedPng(PNG_COLOR_TYPE_PALETTE, 8, 3, {0, 1, 0}, transparent), colours);
  }
  expectRead(storedPng(PNG_COLOR_TYPE_GRAY, 1, 3, {0xA0}, false), {row({255, 0, 255})});
  expectRead(storedPng(PNG_COLOR_TYPE_GRAY, 2, 4, {0x1B}, false), {row({0, 85, 170, 255})});
  expectRead(storedPng(PNG_COLOR_TYPE_GRAY, 4, 3, {0x1F, 0x70}, true),
             {row({17, 255, 119}), row({0, 255, 255})});
  expectRead(storedPng(PNG_COLOR_TYPE_GRAY, 8, 3, {0, 1, 2}, true),
             {row({0, 1, 2}), row({255, 0, 255})});
  std::vector<png_byte> bytes(77);
  std::iota(bytes.begin(), bytes.end(), png_byte{100});
  expectRead(storedPng(PNG_COLOR_TYPE_GRAY, 8, 11, bytes, false, 7),
             {CImg<float>(11, 7).sequence(100, 176)});
}

TEST(Frame, holdsTheValuesOfTheOtherFormats) {
  CImg<float> colours(21, 10, 1, 3), fractions(21, 10, 1, 3);
  cimg_forXYC(colours, x, y, c) {
    colours(x, y, 0, c) = static_cast<float>((x * 37 + y * 91 + c * 53) % 256);
    fractions(x, y, 0, c) = static_cast<float>(x - y) / 7.0F + static_cast<float>(c);
  }
  const CImg<float> grey = colours.get_channel(1);
  const auto expectRead = [](const char* name, const CImg<float>& wanted) {
    CImg<float> read;
    loadFrame(pathTo(name).c_str(), read);
    EXPECT_EQ(read, wanted) << name;
  };
  colours.save_bmp(pathTo("f.bmp").c_str());
  expectRead("f.bmp", colours);
  colours.save_pnm(pathTo("f.ppm").c_str());
  expectRead("f.ppm", colours);
  (200 * grey).save_pnm(pathTo("wide.pgm").c_str(), 2);
  expectRead("wide.pgm", 200 * grey);
  fractions.save_pfm(pathTo("f.pfm").c_str());
  expectRead("f.pfm", fractions);

  const CImg<float> small(3, 2, 1, 1, {255, 0, 0, 0, 255, 255});
  for (const char* text : {"P1 # bits\n3 2\n011 1#\n0 0", "P4\n3\n2\n\x60\x80"}) {
    file("small.pbm", text);
    expectRead("small.pbm", small);
  }
  file("small.pgm", "P2\r\n#a\n#b\n3 2 255\r\n255 0 0 0 255\n255");
  expectRead("small.pgm", small);
  file("pairs.pgm", std::string("P5 2 1 256 \1\0\0\7", 15));
  expectRead("pairs.pgm", CImg<float>(2, 1, 1, 1, "256,7", false));
  file("small.ppm", "P3 1 2 9 9 8 7 6 5 4");
  expectRead("small.ppm", CImg<float>(1, 2, 1, 3, {9, 6, 8, 5, 7, 4}));
  for (const int size : {25, 26}) {  // where the line feed is the first value, and where it is not
    file("lines.pgm",
         std::string("P5\r\n4 3\r\n255\r\n0123456789AB", static_cast<std::size_t>(size)));
    expectRead("lines.pgm",
               size == 26
                   ? CImg<float>(4, 3, 1, 1, {48, 49, 50, 51, 52, 53, 54, 55, 56, 57, 65, 66})
                   : CImg<float>(4, 3, 1, 1, {10, 48, 49, 50, 51, 52, 53, 54, 55, 56, 57, 65}));
  }
  file("small.pfm", std::string("Pf 1 2 1.0\n\x3f\x80\0\0\xbf\x80\0\0", 19));
  expectRead("small.pfm", CImg<float>(1, 2, 1, 1, {-1, 1}));
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
  for (const std::string text :
       {"P5\n40000 40000\n255\nab", "P2 40000 40000 255 1 2", "P4 9 9 a", "P1 2 2 0 1 1",
        "P1 2 2 0 1 1 2", "Pf 1 1 abc\n1234", "P2 2 1 9 1 x", "P5 -3 3 255 ", "P6 0 1 255 ",
        "P3 1 1 9 1 2 3000000000", "P7 1 1 1 1", "P", ""}) {
    EXPECT_NE(complaint(file("damaged.pnm", text)), "") << text;
  }
  CImg<float>(8, 8, 1, 3, 9).save_bmp(pathTo("whole.bmp").c_str());
  const std::string bmp = contentsOf(pathTo("whole.bmp"));
  for (const auto& [at, byte] : {std::pair{0U, 'X'},
                                 {14U, '\x0c'},
                                 {19U, '\1'},
                                 {20U, '@'},
                                 {25U, '\x7f'},
                                 {28U, '\b'},
                                 {28U, '\7'},
                                 {30U, '\1'}}) {
    std::string damaged = bmp;
    damaged[at] = byte;
    EXPECT_NE(complaint(file("damaged.bmp", damaged)), "") << at;
  }
  EXPECT_NE(complaint(file("damaged.bmp", bmp.substr(0, bmp.size() - 1))), "");
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
  CImg<float> steps(5, 1, 1, 1, {10, 20, 30, 40, 50});  // the nearest pixel, in every channel
  remora::internal::resizeBy(steps, -50);
  EXPECT_EQ(steps, CImg<float>(2, 1, 1, 3, {10, 30, 10, 30, 10, 30}));
}

}  // namespace
