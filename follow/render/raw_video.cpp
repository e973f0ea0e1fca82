#include "follow/render/raw_video.h"

#include <initializer_list>

namespace remora {
namespace {

std::string bigEndian(std::uint64_t number, int bytes) {
  std::string text;
  for (int i = bytes - 1; i >= 0; --i) text += static_cast<char>(number >> (8 * i) & 0xffU);
  return text;
}

std::string idOf(std::uint32_t id) {
  return bigEndian(id, id > 0xffffffU ? 4 : id > 0xffffU ? 3 : id > 0xffU ? 2 : 1);
}

// Sizes always take eight bytes.
std::string sizeOf(std::uint64_t bytes) { return bigEndian(bytes | std::uint64_t{1} << 56U, 8); }
std::string unknownSize() { return sizeOf((std::uint64_t{1} << 56U) - 1); }

std::string element(std::uint32_t id, const std::string& content) {
  return idOf(id) + sizeOf(content.size()) + content;
}

std::string element(std::uint32_t id, std::initializer_list<std::string> parts) {
  std::string content;
  for (const std::string& part : parts) content += part;
  return element(id, content);
}

std::string number(std::uint32_t id, std::uint64_t value) {
  return element(id, bigEndian(value, 8));
}

}  // namespace

std::string rawVideoHeader(int width, int height, std::int64_t duration) {
  constexpr std::uint64_t kTick = 1000;  // nanoseconds
  const auto wide = static_cast<std::uint64_t>(width);
  const auto high = static_cast<std::uint64_t>(height);
  const std::string kind = element(0x1a45dfa3, {number(0x4286, 1),            // EBML: version,
                                                number(0x42f7, 1),            // to be read by,
                                                number(0x42f2, 4),            // longest name,
                                                number(0x42f3, 8),            // longest size,
                                                element(0x4282, "matroska"),  // kind of file,
                                                number(0x4287, 4),            // its version,
                                                number(0x4285, 2)});          // to be read by
  const std::string picture = element(
      0xe0, {number(0xb0, wide), number(0xba, high), element(0x2eb524, "RGB\x18")});  // ColourSpace
  const std::string track =
      element(0xae, {number(0xd7, 1),                                         // TrackNumber
                     number(0x73c5, 1),                                       // TrackUID
                     number(0x83, 1),                                         // TrackType: video
                     number(0x9c, 0),                                         // FlagLacing
                     element(0x86, "V_UNCOMPRESSED"),                         // CodecID
                     number(0x23e383, static_cast<std::uint64_t>(duration)),  // DefaultDuration
                     picture});
  return kind + idOf(0x18538067) + unknownSize() +  // Segment
         element(0x1549a966, {number(0x2ad7b1, kTick), element(0x4d80, "remora"),
                              element(0x5741, "remora")}) +  // Info
         element(0x1654ae6b, {track});                       // Tracks
}

std::string rawFrameHeader(std::int64_t time, std::size_t bytes) {
  const std::string at = number(0xe7, static_cast<std::uint64_t>(time));  // Timestamp
  const std::string block = {'\x81', 0, 0, '\x80'};  // track 1, at the cluster's time, a key frame
  const std::string head = idOf(0xa3) + sizeOf(block.size() + bytes) + block;     // SimpleBlock
  return idOf(0x1f43b675) + sizeOf(at.size() + head.size() + bytes) + at + head;  // Cluster
}

}  // namespace remora
