#include "follow/footage/footage.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "follow/base/text.h"
#include "follow/error.h"
#include "follow/footage/video.h"

namespace remora {
namespace {

class ImageReader : public FrameReader {
 public:
  explicit ImageReader(std::vector<Frame> images) : images_(std::move(images)) {}

  bool next(FootageFrame& frame) override {
    if (next_ == images_.size()) return false;
    const Frame& image = images_[next_++];
    frame.number = image.number;
    frame.name = image.file;
    frame.time = std::numeric_limits<double>::quiet_NaN();
    frame.picture = loadPicture(image.file);
    size_.require(frame);
    return true;
  }

  std::optional<long> expected() const override { return static_cast<long>(images_.size()); }

 private:
  std::vector<Frame> images_;
  std::size_t next_ = 0;
  FrameSize size_;
};

class RawReader : public FrameReader {
 public:
  explicit RawReader(const RawFrames& format) : format_(format) {}

  bool next(FootageFrame& frame) override {
    frame.number = number_++;
    frame.name = format("%d of standard input", frame.number);
    frame.time = std::numeric_limits<double>::quiet_NaN();
    Picture& picture = frame.picture;
    picture.width = format_.width;
    picture.height = format_.height;
    picture.channels = format_.channels;
    picture.pixels.resize(static_cast<std::size_t>(format_.width) *
                          static_cast<std::size_t>(format_.height) *
                          static_cast<std::size_t>(format_.channels));
    const std::size_t got = fill(picture.pixels);
    if (got == 0 && frame.number == 0) throw Error("standard input holds no frame");
    if (got == 0) return false;
    if (got == picture.pixels.size()) return true;
    throw Error(format("standard input ends in the middle of frame %d: it has %zu of %zu bytes",
                       frame.number, got, picture.pixels.size()));
  }

 private:
  static std::size_t fill(std::vector<unsigned char>& bytes) {
    std::size_t done = 0;
    while (done < bytes.size()) {
      const ssize_t got = ::read(STDIN_FILENO, bytes.data() + done, bytes.size() - done);
      if (got < 0 && errno == EINTR) continue;
      if (got < 0) throw Error(std::string("cannot read standard input: ") + std::strerror(errno));
      if (got == 0) break;
      done += static_cast<std::size_t>(got);
    }
    return done;
  }

  RawFrames format_;
  int number_ = 0;
};

}  // namespace

void FrameSize::require(const FootageFrame& frame) {
  const Picture& picture = frame.picture;
  if (first_.empty()) {
    first_ = frame.name;
    width_ = picture.width;
    height_ = picture.height;
  }
  if (picture.width == width_ && picture.height == height_) return;
  throw Error(format("frame %s is %d x %d, frame %s is %d x %d", frame.name.c_str(), picture.width,
                     picture.height, first_.c_str(), width_, height_));
}

Footage::Footage(const Sequence& sequence, const Notice& notice) {
  if (isVideo(sequence.base)) {
    source_ = VideoPart{sequence.base, sequence.start, sequence.count};
  } else {
    source_ = listSequence(sequence, notice);
  }
}

std::unique_ptr<FrameReader> Footage::open() const {
  if (const auto* const video = std::get_if<VideoPart>(&source_)) {
    return std::make_unique<VideoReader>(*video);
  }
  if (const auto* const raw = std::get_if<RawFrames>(&source_)) {
    return std::make_unique<RawReader>(*raw);
  }
  return std::make_unique<ImageReader>(std::get<std::vector<Frame>>(source_));
}

std::vector<std::string> Footage::files() const {
  std::vector<std::string> files;
  if (const auto* const video = std::get_if<VideoPart>(&source_)) files.push_back(video->file);
  if (images() != nullptr) {
    for (const Frame& image : *images()) files.push_back(image.file);
  }
  return files;
}

int Footage::first() const {
  if (const auto* const video = std::get_if<VideoPart>(&source_)) return video->first;
  return images() == nullptr || images()->empty() ? 0 : images()->front().number;
}

void readVideoFrames(const std::string& file, const std::set<int>& numbers,
                     const std::function<void(const FootageFrame&)>& take) {
  if (numbers.empty()) return;
  if (*numbers.begin() < 0)
    throw Error(format("%s has no frame %d", file.c_str(), *numbers.begin()));
  VideoReader reader({file, *numbers.begin(), *numbers.rbegin() - *numbers.begin() + 1});
  FootageFrame frame;
  while (reader.next(frame)) {
    if (numbers.count(frame.number) != 0) take(frame);
  }
}

}  // namespace remora
