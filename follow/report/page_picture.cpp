#include "follow/report/page_picture.h"

// clang-format off: the JPEG library's header needs the one before it
#include <jpeglib.h>
#include <cstdio>
// clang-format on

#include <cstdlib>
#include <memory>
#include <nlohmann/json.hpp>
#include <vector>

#include "follow/error.h"
#include "follow/footage/png_files.h"

namespace remora {
namespace {

// Differences to the picture stay below what an annotator can see, edges are where they were.
constexpr int kJpegQuality = 92;

[[noreturn]] void refuseJpeg(j_common_ptr jpeg) {
  char reason[JMSG_LENGTH_MAX];
  jpeg->err->format_message(jpeg, reason);
  throw Error(std::string("a picture cannot be written as JPEG: ") + reason);
}

// What the library needs and what it has made.
struct JpegWriter {
  JpegWriter() {
    jpeg.err = jpeg_std_error(&errors);
    errors.error_exit = refuseJpeg;
    jpeg_create_compress(&jpeg);
    jpeg_mem_dest(&jpeg, &bytes, &size);
  }
  ~JpegWriter() {
    jpeg_destroy_compress(&jpeg);
    std::free(bytes);
  }
  JpegWriter(const JpegWriter&) = delete;
  JpegWriter& operator=(const JpegWriter&) = delete;

  jpeg_compress_struct jpeg{};
  jpeg_error_mgr errors{};
  unsigned char* bytes = nullptr;
  unsigned long size = 0;
};

std::string encodeJpeg(const Picture& picture) {
  JpegWriter writer;
  jpeg_compress_struct& jpeg = writer.jpeg;
  jpeg.image_width = static_cast<JDIMENSION>(picture.width);
  jpeg.image_height = static_cast<JDIMENSION>(picture.height);
  jpeg.input_components = picture.channels;
  jpeg.in_color_space = picture.channels == 1 ? JCS_GRAYSCALE : JCS_RGB;
  jpeg_set_defaults(&jpeg);
  jpeg_set_quality(&jpeg, kJpegQuality, TRUE);
  jpeg.dct_method = JDCT_ISLOW;  // the same bytes everywhere
  jpeg.optimize_coding = TRUE;
  jpeg.comp_info[0].h_samp_factor = 1;  // colours as sharp as brightness
  jpeg.comp_info[0].v_samp_factor = 1;
  jpeg_start_compress(&jpeg, TRUE);
  const std::size_t stride =
      static_cast<std::size_t>(picture.width) * static_cast<std::size_t>(picture.channels);
  while (jpeg.next_scanline < jpeg.image_height) {
    // The library takes rows that it does not change as pointers to what may be changed.
    JSAMPROW row = const_cast<JSAMPROW>(picture.pixels.data() + jpeg.next_scanline * stride);
    jpeg_write_scanlines(&jpeg, &row, 1);
  }
  jpeg_finish_compress(&jpeg);
  return {reinterpret_cast<const char*>(writer.bytes), writer.size};
}

std::string base64(const std::string& bytes) {
  constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    unsigned group = 0;
    for (std::size_t k = 0; k < 3; ++k) {
      group = group << 8U | (i + k < bytes.size() ? static_cast<unsigned char>(bytes[i + k]) : 0U);
    }
    for (int shift = 18; shift >= 0; shift -= 6) text += kDigits[group >> shift & 63U];
  }
  for (std::size_t k = bytes.size() % 3; k != 0 && k < 3; ++k) text[text.size() - 3 + k] = '=';
  return text;
}

}  // namespace

std::string dataUri(const Picture& picture) {
  constexpr int kMostJpegSide = 65500;  // of the library
  const std::string png = encodePng(picture.view(), true);
  if (picture.width <= kMostJpegSide && picture.height <= kMostJpegSide) {
    const std::string jpeg = encodeJpeg(picture);
    if (2 * jpeg.size() < png.size()) return "data:image/jpeg;base64," + base64(jpeg);
  }
  return "data:image/png;base64," + base64(png);
}

std::string scriptJson(const nlohmann::ordered_json& value) {
  std::string text;
  try {
    text = value.dump();
  } catch (const nlohmann::json::exception&) {
    throw Error("a name of a file is not UTF-8: rename it");
  }
  std::string safe;
  safe.reserve(text.size());
  for (const char c : text) c == '<' ? safe += "\\u003c" : safe += c;
  return safe;
}

std::string fillPage(const char* page, const std::string& data) {
  const std::string mark = "@DATA@";
  std::string text = page;
  return text.replace(text.find(mark), mark.size(), data);
}

}  // namespace remora
