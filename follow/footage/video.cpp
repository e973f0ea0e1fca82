#include "follow/footage/video.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <map>
#include <utility>

#include "follow/base/files.h"
#include "follow/base/text.h"
#include "follow/error.h"

namespace remora {
namespace {

constexpr int kLargestSide = 32767;  // pixels

// Only what lies in files, whatever a file refers to. A name is a name, not an address.
std::vector<std::string> reading(const std::string& file) {
  return {"-protocol_whitelist", "file", "-i", "file:" + file};
}

std::vector<std::string> command(std::vector<std::string> words,
                                 const std::vector<std::string>& more) {
  words.insert(words.end(), more.begin(), more.end());
  return words;
}

std::string missing(const std::string& file) {
  return "cannot read " + file +
         ": videos need the program ffmpeg (on Debian: apt-get install ffmpeg)";
}

// What a program says of a file, as the end of a message that names the file already.
std::string because(const Child& program, const std::string& file) {
  std::string complaint = program.complaint();
  const std::string name = "file:" + file + ": ";
  if (complaint.rfind(name, 0) == 0) complaint.erase(0, name.size());
  return complaint.empty() ? "" : ": " + complaint;
}

// NUMBER or NUMBER/NUMBER, where both are above 0.
std::optional<double> ratio(const std::string& text) {
  const std::vector<std::string> parts = split(text, '/');
  const double above = toNumber<double>(parts[0]).value_or(0.0);
  const double below = parts.size() > 1 ? toNumber<double>(parts[1]).value_or(0.0) : 1.0;
  if (!(above > 0.0) || !(below > 0.0)) return std::nullopt;
  return above / below;
}

// Lines NAME=VALUE; of several lines with a name the first one that knows its value counts.
std::map<std::string, std::string> readFields(Child& child) {
  std::map<std::string, std::string> fields;
  for (std::string line = child.line(Child::Pipe::kOutput); !line.empty();
       line = child.line(Child::Pipe::kOutput)) {
    const std::size_t sign = line.find('=');
    if (sign == std::string::npos || line.substr(sign + 1) == "N/A") continue;
    fields.emplace(line.substr(0, sign), line.substr(sign + 1));
  }
  return fields;
}

std::vector<std::string> decoding(const std::string& file) {
  // Each frame's time comes beside it, in a line of its own: without times of the file's, in whole
  // microseconds from its beginning.
  const char* const times =
      "settb=1/1000000,metadata=mode=delete,metadata=mode=add:key=n:value=1,"
      "metadata=mode=print:direct=1:file=pipe\\\\:3";
  // These flags make the conversion to red, green and blue the same on every processor.
  const char* const scaling = "bilinear+accurate_rnd+full_chroma_int+bitexact";
  return command(
      command({"ffmpeg", "-nostdin", "-hide_banner", "-loglevel", "error"}, reading(file)),
      {"-map", "0:V:0", "-vf", times, "-fps_mode", "passthrough", "-sws_flags", scaling, "-pix_fmt",
       "rgb24", "-c:v", "ppm", "-f", "image2pipe", "pipe:1"});
}

}  // namespace

VideoHeader readVideoHeader(const std::string& file) {
  requireReadable(file);
  Child probe(command({"ffprobe", "-hide_banner", "-loglevel", "error", "-select_streams", "V:0",
                       "-show_entries",
                       "stream=codec_type,nb_frames,avg_frame_rate,duration:format=duration", "-of",
                       "default=noprint_wrappers=1"},
                      reading(file)),
              missing(file));
  auto fields = readFields(probe);
  if (!probe.endsWell()) throw Error("cannot read " + file + " as a video" + because(probe, file));
  if (fields["codec_type"] != "video") throw Error(file + " holds no moving picture");
  VideoHeader header;
  header.rate = ratio(fields["avg_frame_rate"]);
  const auto seconds = ratio(fields["duration"]);
  const auto frames = ratio(fields["nb_frames"]);
  const double count =
      frames ? *frames : std::round(header.rate.value_or(0.0) * seconds.value_or(0.0));
  if (count >= 1.0 && count < 1e9) header.frames = static_cast<long>(count);
  return header;
}

VideoReader::VideoReader(VideoPart part)
    : part_(std::move(part)),
      header_(readVideoHeader(part_.file)),
      decoder_(decoding(part_.file), missing(part_.file)) {}

std::optional<long> VideoReader::expected() const {
  const long last = part_.count ? part_.first + static_cast<long>(*part_.count)
                                : std::numeric_limits<long>::max();
  if (!header_.frames) return part_.count;
  return std::max(std::min(last, *header_.frames) - part_.first, 0L);
}

bool VideoReader::next(FootageFrame& frame) {
  const auto isPast = [this] {
    return part_.count && decoded_ - static_cast<long>(part_.first) >= *part_.count;
  };
  while (!ended_ && !isPast()) {
    if (!decode(frame)) return end();
    if (frame.number >= part_.first) return true;
  }
  return false;
}

bool VideoReader::decode(FootageFrame& frame) {
  if (!readPictureHeader()) return false;
  frame.number = decoded_;
  frame.name = format("%d of %s", decoded_, part_.file.c_str());
  frame.time = nextTime();
  Picture& picture = frame.picture;
  picture.width = width_;
  picture.height = height_;
  picture.channels = 3;
  picture.pixels.resize(std::size_t{3} * static_cast<std::size_t>(width_) *
                        static_cast<std::size_t>(height_));
  const std::size_t got =
      decoder_.read(Child::Pipe::kOutput, picture.pixels.data(), picture.pixels.size());
  if (got < picture.pixels.size()) {
    decoder_.endsWell();
    throw Error(format("%s ends in the middle of frame %d", part_.file.c_str(), decoded_) +
                because(decoder_, part_.file));
  }
  ++decoded_;
  return true;
}

// "P6\nWIDTH HEIGHT\n255\n", the same for all pictures.
bool VideoReader::readPictureHeader() {
  constexpr std::size_t kMostHeaderBytes = 32;
  const auto fail = [this] { throw Error("ffmpeg gives no pictures of " + part_.file); };
  if (!picture_header_.empty()) {
    std::string header(picture_header_.size(), '\0');
    const std::size_t got = decoder_.read(Child::Pipe::kOutput, header.data(), header.size());
    if (got != 0 && header != picture_header_) fail();
    return got != 0;
  }
  std::string header;
  while (std::count(header.begin(), header.end(), '\n') < 3) {
    char byte = 0;
    if (decoder_.read(Child::Pipe::kOutput, &byte, 1) == 0) break;
    header += byte;
    if (header.size() > kMostHeaderBytes) fail();
  }
  if (header.empty()) return false;
  const std::vector<std::string> fields = words(header);
  if (fields.size() != 4 || fields[0] != "P6" || fields[3] != "255") fail();
  width_ = toNumber<int>(fields[1]).value_or(0);
  height_ = toNumber<int>(fields[2]).value_or(0);
  if (width_ < 1 || height_ < 1 || width_ > kLargestSide || height_ > kLargestSide) fail();
  picture_header_ = header;
  return true;
}

// Of the frame that comes next, from "frame:7 pts:233333 pts_time:0.233333" and the line behind it.
double VideoReader::nextTime() {
  constexpr double kUnits = 1e6;  // a second
  constexpr char kMark[] = "pts:";
  const std::string line = decoder_.line(Child::Pipe::kSide);
  decoder_.line(Child::Pipe::kSide);
  const std::size_t at = line.find(kMark);
  const std::vector<std::string> fields = at == std::string::npos
                                              ? std::vector<std::string>{}
                                              : words(line.substr(at + sizeof kMark - 1));
  const auto time = fields.empty() ? std::nullopt : toNumber<double>(fields[0]);
  return time ? *time / kUnits : std::numeric_limits<double>::quiet_NaN();
}

// What is to be said when no more frames come; false where that is right.
bool VideoReader::end() {
  ended_ = true;
  const char* const file = part_.file.c_str();
  const bool well = decoder_.endsWell();
  const std::string why = because(decoder_, part_.file);
  if (decoded_ == 0) throw Error(format("%s: no frame can be decoded", file) + why);
  if (!well) throw Error(format("%s cannot be decoded beyond frame %d", file, decoded_ - 1) + why);
  const long expected = header_.frames.value_or(decoded_);
  if (!why.empty() && decoded_ < expected) {
    throw Error(format("%s ends after %d of %ld frames", file, decoded_, expected) + why);
  }
  if (decoded_ <= part_.first || part_.count) {
    const long last = part_.first + static_cast<long>(part_.count.value_or(1)) - 1;
    throw Error(format("%s has %d frames; asked for is frame %ld", file, decoded_, last));
  }
  if (!why.empty()) std::fprintf(stderr, "remora: warning: %s is damaged%s\n", file, why.c_str());
  return false;
}

}  // namespace remora
