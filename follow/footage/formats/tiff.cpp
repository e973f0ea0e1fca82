#include <tiffio.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

#include "follow/footage/formats/formats.h"

namespace remora {
namespace {

// Bytes that libtiff reads as a file, and the first fault that it tells of.
struct Source {
  const std::string& bytes;
  std::uint64_t at = 0;
  std::string fault;

  static Source& of(void* handle) { return *static_cast<Source*>(handle); }

  static tmsize_t read(void* handle, void* out, tmsize_t size) {
    Source& source = of(handle);
    const std::uint64_t left =
        source.bytes.size() - std::min<std::uint64_t>(source.at, source.bytes.size());
    const std::uint64_t count =
        std::min(left, static_cast<std::uint64_t>(std::max<tmsize_t>(size, 0)));
    if (count > 0) std::memcpy(out, source.bytes.data() + source.at, count);
    source.at += count;
    return static_cast<tmsize_t>(count);
  }
  static tmsize_t refuse(void*, void*, tmsize_t) { return 0; }
  static toff_t seek(void* handle, toff_t offset, int from) {
    Source& source = of(handle);
    if (from == SEEK_CUR) offset += source.at;
    if (from == SEEK_END) offset += source.bytes.size();
    return source.at = offset;
  }
  static int close(void*) { return 0; }
  static toff_t size(void* handle) { return of(handle).bytes.size(); }
  static int map(void*, void**, toff_t*) { return 0; }
  static void unmap(void*, void*, toff_t) {}

  static int note(TIFF*, void* handle, const char*, const char* pattern, va_list arguments) {
    Source& source = of(handle);
    char text[256];
    std::vsnprintf(text, sizeof text, pattern, arguments);
    if (source.fault.empty()) source.fault = text;
    return 1;
  }
  static int ignore(TIFF*, void*, const char*, const char*, va_list) { return 1; }
};

struct Closer {
  void operator()(TIFF* tiff) const { TIFFClose(tiff); }
};
using Tiff = std::unique_ptr<TIFF, Closer>;

Tiff openTiff(Source& source) {
  constexpr tmsize_t kMostAtOnce = tmsize_t{1} << 28;
  const std::unique_ptr<TIFFOpenOptions, decltype(&TIFFOpenOptionsFree)> options(
      TIFFOpenOptionsAlloc(), TIFFOpenOptionsFree);
  // A file can ask for any memory; no honest strip or tile is larger than its picture's colours.
  TIFFOpenOptionsSetMaxSingleMemAlloc(
      options.get(),
      std::min(kMostAtOnce, tmsize_t{1 << 22} + 1100 * static_cast<tmsize_t>(source.bytes.size())));
  TIFFOpenOptionsSetErrorHandlerExtR(options.get(), Source::note, &source);
  TIFFOpenOptionsSetWarningHandlerExtR(options.get(), Source::ignore, nullptr);
  return Tiff(TIFFClientOpenExt("image", "rm", &source, Source::read, Source::refuse, Source::seek,
                                Source::close, Source::size, Source::map, Source::unmap,
                                options.get()));
}

int fieldOf(TIFF* tiff, ttag_t tag) {
  std::uint16_t value = 0;
  return TIFFGetFieldDefaulted(tiff, tag, &value) == 1 ? value : 0;
}

}  // namespace

Picture readTiff(const std::string& bytes, const std::string& name) {
  Source source{bytes, 0, {}};
  const auto fail = [&](const char* otherwise) {
    failToDecode(name, source.fault.empty() ? otherwise : source.fault);
  };
  const Tiff tiff = openTiff(source);
  if (!tiff) fail("it is not a TIFF image");
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  TIFFGetField(tiff.get(), TIFFTAG_IMAGEWIDTH, &width);
  TIFFGetField(tiff.get(), TIFFTAG_IMAGELENGTH, &height);
  constexpr int kBytes = 4;  // of a pixel, as libtiff hands it out
  requireBacked(bytes, width, height, kBytes, name);
  std::vector<std::uint32_t> colours(std::size_t{width} * height);
  const int orientation = fieldOf(tiff.get(), TIFFTAG_ORIENTATION);
  constexpr int kStopAtFaults = 1;
  // As it is stored, whatever the orientation: libtiff turns by half circles alone.
  if (TIFFReadRGBAImageOriented(tiff.get(), width, height, colours.data(),
                                std::clamp(orientation, 1, 8), kStopAtFaults) != 1 ||
      !source.fault.empty()) {
    fail("the TIFF image is damaged");
  }
  const int photometric = fieldOf(tiff.get(), TIFFTAG_PHOTOMETRIC);
  const bool is_grey =
      photometric == PHOTOMETRIC_MINISBLACK || photometric == PHOTOMETRIC_MINISWHITE;
  Picture picture{static_cast<int>(width), static_cast<int>(height), is_grey ? 1 : 3, {}};
  picture.pixels.reserve(colours.size() * static_cast<std::size_t>(picture.channels));
  for (const std::uint32_t colour : colours) {
    picture.pixels.push_back(static_cast<unsigned char>(TIFFGetR(colour)));
    if (is_grey) continue;
    picture.pixels.push_back(static_cast<unsigned char>(TIFFGetG(colour)));
    picture.pixels.push_back(static_cast<unsigned char>(TIFFGetB(colour)));
  }
  return upright(std::move(picture), orientation);
}

}  // namespace remora
