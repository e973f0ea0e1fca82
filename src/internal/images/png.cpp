#include <png.h>

#include <csetjmp>
#include <memory>
#include <vector>

#include "internal/images/formats.h"

namespace remora::internal {
namespace {

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

  // Reads up to the pixels. The functions below then describe them as they will be delivered.
  bool readHeader() {
    if (info_ == nullptr || setjmp(png_jmpbuf(png_)) != 0) return false;
    png_init_io(png_, file_);
    constexpr int kAllButPixels = -1;  // texts and profiles: a small file can hold large ones
    png_set_keep_unknown_chunks(png_, PNG_HANDLE_CHUNK_NEVER, nullptr, kAllButPixels);
    png_read_info(png_, info_);
    png_set_expand(png_);  // palettes to colours, grey of few bits to 8, transparency to alpha
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
void separateChannels(const PngReader& png, const png_byte* bytes, CImg<float>& image) {
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

}  // namespace

float readPng(const ImageFile& file, CImg<float>& image) {
  constexpr double kBestCompression = 1100.0;  // deflate does not reach this
  constexpr double kSmallImage = 1 << 20;
  PngReader png(file.stream);
  if (!png.readHeader()) throw unreadable(file.name, "it is not a PNG image");
  const double announced = static_cast<double>(png.height()) * static_cast<double>(png.rowBytes());
  if (announced > kSmallImage + kBestCompression * static_cast<double>(file.size)) {
    throw unreadable(file.name, "it is too short for its size in pixels");
  }
  // Not initialised: of a damaged file, no more memory is touched than was read.
  const std::unique_ptr<png_byte[]> bytes(new png_byte[png.height() * png.rowBytes()]);
  std::vector<png_bytep> rows(png.height());
  for (std::size_t y = 0; y < rows.size(); ++y) rows[y] = bytes.get() + y * png.rowBytes();
  if (!png.readPixels(rows.data())) throw unreadable(file.name, "the PNG image is damaged");
  image.assign(static_cast<unsigned>(png.width()), static_cast<unsigned>(png.height()), 1,
               static_cast<unsigned>(png.channels()));
  separateChannels(png, bytes.get(), image);
  return png.isWide() ? 65535.0F : kWhite;
}

}  // namespace remora::internal
