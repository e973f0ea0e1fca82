#include <csetjmp>
#include <cstddef>
#include <cstdio>
#include <string_view>
#include <vector>

#include <jpeglib.h>  // needs what is above

#include "follow/footage/formats/formats.h"

namespace remora {
namespace {

// libjpeg leaves a function by longjmp on any fault, so its calls stand in functions of their own
// that hold no objects; memory is owned outside.
class JpegReader {
 public:
  JpegReader() {
    jpeg_.err = jpeg_std_error(&faults_.base);
    faults_.base.error_exit = leave;
    faults_.base.emit_message = judge;
    progress_.progress_monitor = limitScans;
    jpeg_create_decompress(&jpeg_);
    jpeg_.progress = &progress_;
  }
  ~JpegReader() { jpeg_destroy_decompress(&jpeg_); }
  JpegReader(const JpegReader&) = delete;
  JpegReader& operator=(const JpegReader&) = delete;

  bool readHeader(const std::string& bytes) {
    if (setjmp(faults_.place) != 0) return false;
    jpeg_save_markers(&jpeg_, kExif, kMostExif);
    jpeg_mem_src(&jpeg_, reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
    jpeg_read_header(&jpeg_, TRUE);
    jpeg_.out_color_space = jpeg_.num_components == 1 ? JCS_GRAYSCALE : JCS_RGB;
    jpeg_.dct_method = JDCT_ISLOW;  // the same bits on every processor
    return true;
  }

  bool readPixels(unsigned char* pixels) {
    if (setjmp(faults_.place) != 0) return false;
    jpeg_start_decompress(&jpeg_);
    const std::size_t row_bytes = static_cast<std::size_t>(jpeg_.output_width) *
                                  static_cast<std::size_t>(jpeg_.output_components);
    while (jpeg_.output_scanline < jpeg_.output_height) {
      unsigned char* row = pixels + jpeg_.output_scanline * row_bytes;
      jpeg_read_scanlines(&jpeg_, &row, 1);
    }
    jpeg_finish_decompress(&jpeg_);
    return true;
  }

  int width() const { return static_cast<int>(jpeg_.image_width); }
  int height() const { return static_cast<int>(jpeg_.image_height); }
  int channels() const { return jpeg_.num_components == 1 ? 1 : 3; }
  // Gone when the pixels have been read.
  std::string_view exif() const {
    const jpeg_marker_struct* const marker = jpeg_.marker_list;
    if (marker == nullptr) return {};
    return {reinterpret_cast<const char*>(marker->data), marker->data_length};
  }
  // What was wrong, in libjpeg's words.
  std::string fault() {
    char text[JMSG_LENGTH_MAX] = "";
    faults_.base.format_message(reinterpret_cast<j_common_ptr>(&jpeg_), text);
    return text;
  }

 private:
  static constexpr int kExif = JPEG_APP0 + 1;
  static constexpr unsigned kMostExif = 65533;

  struct Faults {
    jpeg_error_mgr base;
    std::jmp_buf place;
  };

  [[noreturn]] static void leave(j_common_ptr jpeg) {
    std::longjmp(reinterpret_cast<Faults*>(jpeg->err)->place, 1);
  }

  // Warnings are below 0. The two that leave all pixels as they should be are let through.
  static void judge(j_common_ptr jpeg, int level) {
    constexpr char kExtraBytes[] = "Corrupt JPEG data: %u extraneous bytes";
    constexpr char kVersion[] = "Warning: unknown JFIF revision";
    if (level >= 0) return;
    const char* const text = jpeg->err->jpeg_message_table[jpeg->err->msg_code];
    const std::string_view message = text;
    if (message.rfind(kExtraBytes, 0) == 0 || message.rfind(kVersion, 0) == 0) return;
    leave(jpeg);
  }

  // A few bytes can make a scan of a whole picture, and a file can hold many of them.
  static void limitScans(j_common_ptr jpeg) {
    constexpr int kMostScans = 100;
    if (jpeg->is_decompressor == 0) return;
    if (reinterpret_cast<j_decompress_ptr>(jpeg)->input_scan_number > kMostScans) leave(jpeg);
  }

  jpeg_decompress_struct jpeg_{};
  Faults faults_{};
  jpeg_progress_mgr progress_{};
};

// A whole number of `size` bytes in an Exif block, 0 beyond its end.
unsigned numberAt(std::string_view block, std::size_t at, std::size_t size, bool low_first) {
  unsigned number = 0;
  if (at > block.size() || block.size() - at < size) return 0;
  for (std::size_t i = 0; i < size; ++i) {
    const std::size_t byte = low_first ? at + size - 1 - i : at + i;
    number = number << 8 | static_cast<unsigned char>(block[byte]);
  }
  return number;
}

// The orientation of an Exif block, a TIFF header with a list of fields; 1 where there is none.
int orientationOf(std::string_view exif) {
  constexpr std::string_view kStart("Exif\0\0", 6);
  constexpr unsigned kOrientation = 0x0112;
  constexpr std::size_t kFieldBytes = 12;
  if (exif.substr(0, kStart.size()) != kStart) return 1;
  const std::string_view block = exif.substr(kStart.size());
  const bool low_first = block.substr(0, 2) == "II";
  const std::size_t list = numberAt(block, 4, 4, low_first);
  const unsigned fields = numberAt(block, list, 2, low_first);
  for (unsigned i = 0; i < fields; ++i) {
    const std::size_t field = list + 2 + i * kFieldBytes;
    if (field > block.size()) break;
    if (numberAt(block, field, 2, low_first) != kOrientation) continue;
    return static_cast<int>(numberAt(block, field + 8, 2, low_first));
  }
  return 1;
}

}  // namespace

Picture readJpeg(const std::string& bytes, const std::string& name) {
  JpegReader jpeg;
  if (!jpeg.readHeader(bytes)) failToDecode(name, jpeg.fault());
  requireBacked(bytes, jpeg.width(), jpeg.height(), jpeg.channels(), name);
  Picture picture{jpeg.width(), jpeg.height(), jpeg.channels(), {}};
  picture.pixels.resize(static_cast<std::size_t>(picture.width) *
                        static_cast<std::size_t>(picture.height) *
                        static_cast<std::size_t>(picture.channels));
  const int orientation = orientationOf(jpeg.exif());
  if (!jpeg.readPixels(picture.pixels.data())) failToDecode(name, jpeg.fault());
  return upright(std::move(picture), orientation);
}

}  // namespace remora
