// An image file of the kind that the first byte says.
#include <new>

#include "fuzz.h"
#include "internal/images/formats.h"
#include "internal/text_io.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace remora::internal;
  if (size < 2) return 0;
  constexpr decltype(&readPng) kReaders[] = {readPng, readNetpbm, readBmp};
  const std::size_t kind = data[0] % std::size(kReaders);
  std::string bytes(data + 1, data + size);
  const Stream stream(fmemopen(bytes.data(), bytes.size(), "rb"));
  CImg<float> image;
  try {
    kReaders[kind]({"image", stream.get(), static_cast<std::int64_t>(bytes.size())}, image);
  } catch (const CImgException&) {
    return 0;
  }
  fuzz::require(!image.is_empty() && image.depth() == 1 && image.spectrum() <= 4,
                "what is read is an image");
  for (const float value : image) {
    const bool is_any = kind == 1 && (bytes[1] == 'f' || bytes[1] == 'F');
    fuzz::require(is_any || (value >= 0.0F && value == std::floor(value)),
                  "values are those of bytes, pairs of bytes, or digits");
  }
  return 0;
}
