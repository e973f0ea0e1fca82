#include "internal/frame.h"

#include <png.h>
#include <strings.h>
#include <sys/stat.h>

#include <algorithm>
#include <climits>
#include <csetjmp>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "internal/messages.h"
#include "internal/pixel.h"
#include "internal/text_io.h"

namespace remora::internal {
namespace {

CImgIOException unreadable(const char* name, const char* reason) {
  return CImgIOException("image file '%s' cannot be read: %s", shown(name), reason);
}

std::int64_t fileSize(std::FILE* file) {
  struct stat status;
  return fstat(fileno(file), &status) == 0 && S_ISREG(status.st_mode) ? status.st_size : -1;
}

// libpng leaves a function by longjmp on any fault, so its calls stand in functions of their own
// that hold no objects; memory is owned outside.
class PngReader {
 public:
  explicit PngReader(std::FILE* file) : file_(file) {
    png_ = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, leave, ignore);
    info_ = png_ == nullptr ? nullptr : png_create_info_struct(png_);
  }
  ~PngReader() { png_destroy_read_struct(&png_, &info_, nullptr); }
  PngReader(const PngReader&) = delete;
  PngReader& operator=(const PngReader&) = delete;

  // Goes up to the pixels; what follows describes them as they will be delivered.
  bool readHeader() {
    if (info_ == nullptr || setjmp(png_jmpbuf(png_)) != 0) return false;
    png_init_io(png_, file_);
    png_read_info(png_, info_);
    png_set_palette_to_rgb(png_);
    const bool is_grey = png_get_color_type(png_, info_) == PNG_COLOR_TYPE_GRAY;
    if (is_grey) png_set_expand_gray_1_2_4_to_8(png_);
    if (png_get_valid(png_, info_, PNG_INFO_tRNS) != 0) png_set_tRNS_to_alpha(png_);
    png_set_interlace_handling(png_);
    png_read_update_info(png_, info_);
    return true;
  }

  bool readPixels(png_bytepp rows) {
    if (setjmp(png_jmpbuf(png_)) != 0) return false;
    png_read_image(png_, rows);
    png_read_end(png_, nullptr);
    return true;
  }

  std::size_t width() const { return png_get_image_width(png_, info_); }
  std::size_t height() const { return png_get_image_height(png_, info_); }
  std::size_t channels() const { return png_get_channels(png_, info_); }
  std::size_t rowBytes() const { return png_get_rowbytes(png_, info_); }
  bool isWide() const { return png_get_bit_depth(png_, info_) == 16; }

 private:
  [[noreturn]] static void leave(png_structp png, png_const_charp) { png_longjmp(png, 1); }
  static void ignore(png_structp, png_const_charp) {}

  std::FILE* file_;
  png_structp png_;
  png_infop info_;
};

// Channels side by side become planes one after another.
void separateChannels(const PngReader& png, const std::vector<png_byte>& bytes,
                      CImg<float>& image) {
  const std::size_t pixels = png.width() * png.height();
  const std::size_t channels = png.channels();
  float* const planes = image.data();
  for (std::size_t pixel = 0; pixel < pixels; ++pixel) {
    for (std::size_t c = 0; c < channels; ++c) {
      const std::size_t value = pixel * channels + c;
      planes[c * pixels + pixel] =
          png.isWide() ? static_cast<float>(bytes[2 * value] << 8 | bytes[2 * value + 1])
                       : static_cast<float>(bytes[value]);
    }
  }
}

void loadPng(const char* name, std::FILE* file, std::int64_t size, CImg<float>& image) {
  constexpr double kBestCompression = 1100.0;  // deflate does not reach this
  constexpr double kSmallImage = 1 << 20;
  PngReader png(file);
  if (!png.readHeader()) throw unreadable(name, "it is not a PNG image");
  const double announced = static_cast<double>(png.height()) * static_cast<double>(png.rowBytes());
  if (announced > kSmallImage + kBestCompression * static_cast<double>(size)) {
    throw unreadable(name, "it is too short for its size in pixels");
  }
  std::vector<png_byte> bytes(png.height() * png.rowBytes());
  std::vector<png_bytep> rows(png.height());
  for (std::size_t y = 0; y < rows.size(); ++y) rows[y] = bytes.data() + y * png.rowBytes();
  if (!png.readPixels(rows.data())) throw unreadable(name, "the PNG image is damaged");
  image.assign(static_cast<unsigned>(png.width()), static_cast<unsigned>(png.height()), 1,
               static_cast<unsigned>(png.channels()));
  separateChannels(png, bytes, image);
}

bool isOneOf(const char* extension, std::initializer_list<const char*> extensions) {
  return std::any_of(extensions.begin(), extensions.end(),
                     [extension](const char* known) { return strcasecmp(extension, known) == 0; });
}

void loadByExtension(const char* name, std::FILE* file, CImg<float>& image) {
  const std::int64_t size = fileSize(file);
  if (size < 0) throw unreadable(name, "it is not a regular file");
  const char* const dot = std::strrchr(name, '.');
  const char* const extension = dot == nullptr ? "" : dot + 1;
  if (isOneOf(extension, {"png"})) {
    loadPng(name, file, size, image);
  } else if (isOneOf(extension, {"bmp"})) {
    image.load_bmp(file);
  } else if (isOneOf(extension, {"pnm", "ppm", "pgm", "pbm"})) {
    image.load_pnm(file);
  } else if (isOneOf(extension, {"pfm"})) {
    image.load_pfm(file);
  } else {
    throw unreadable(name, "images are read from .png, .bmp, .pnm, .ppm, .pgm, .pbm, .pfm files");
  }
}

// What a size argument makes of a width or height.
int resizedTo(int size_argument, int size) {
  if (size_argument >= 0) return size_argument;
  const std::int64_t percent = -std::int64_t{size_argument};
  return static_cast<int>(std::clamp<std::int64_t>(percent * size / 100, 1, INT_MAX));
}

}  // namespace

void loadFrame(const char* name, CImg<float>& image) {
  image.assign();
  const Stream file(name == nullptr ? nullptr : std::fopen(name, "rb"));
  if (!file) throw unreadable(name, "it cannot be opened");
  try {
    loadByExtension(name, file.get(), image);
  } catch (const CImgIOException&) {
    image.assign();
    throw;
  } catch (const CImgException& error) {
    image.assign();
    throw unreadable(name, error.what());
  } catch (const std::bad_alloc&) {
    image.assign();
    throw unreadable(name, "there is not enough memory");
  }
}

void blur(CImg<float>& image) {
  constexpr float kSigma = 1.0F;
  constexpr unsigned int kSmooth = 0;
  constexpr unsigned int kEdgeValuesContinue = 1;
  if (image.width() > 1) image.deriche(kSigma, kSmooth, 'x', kEdgeValuesContinue);
  if (image.height() > 1) image.deriche(kSigma, kSmooth, 'y', kEdgeValuesContinue);
  if (image.depth() > 1) image.deriche(kSigma, kSmooth, 'z', kEdgeValuesContinue);
}

int sizeArgument(float scale) { return wholeInt(static_cast<double>(scale) * -100.0); }

void resizeBy(CImg<float>& image, int size_argument) {
  constexpr int kChannels = 3;
  constexpr int kNearest = 1;
  if (size_argument == 0 || image.is_empty()) {
    image.assign();
    return;
  }
  image.resize(resizedTo(size_argument, image.width()), resizedTo(size_argument, image.height()), 1,
               kChannels, kNearest, 0, 0.0F, 0.0F, 0.0F, 0.0F);
}

}  // namespace remora::internal
