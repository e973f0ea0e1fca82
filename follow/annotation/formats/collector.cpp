#include "follow/annotation/formats/collector.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "follow/annotation/point_names.h"
#include "follow/annotation/shape_files.h"
#include "follow/base/text.h"
#include "follow/error.h"

namespace remora {
namespace {

// A small file can name many points and many frames: what both span is bounded.
constexpr std::size_t kMostPoints = 10000;
constexpr std::size_t kMostPositions = 10'000'000;
const char kTooMany[] = "more than 10 million positions are more than can be held";

// Files that lie on an edge, or are rounded, are a pixel off at most.
constexpr double kMargin = 1.0;

bool isDigit(char c) { return c >= '0' && c <= '9'; }

std::string trimmed(const std::string& text) {
  constexpr char kWhiteSpace[] = " \t\r\n";
  const std::size_t first = text.find_first_not_of(kWhiteSpace);
  if (first == std::string::npos) return "";
  return text.substr(first, text.find_last_not_of(kWhiteSpace) + 1 - first);
}

// The last digits in the name of an image, without its folder and its extension.
std::optional<int> lastDigits(const std::string& file) {
  std::string name = file.substr(file.find_last_of("/\\") + 1);
  const std::size_t dot = name.rfind('.');
  const bool is_number =
      dot != std::string::npos &&
      std::all_of(name.begin() + static_cast<long>(dot) + 1, name.end(), isDigit);
  if (dot != std::string::npos && !is_number) name.erase(dot);
  while (!name.empty() && !isDigit(name.back())) name.pop_back();
  std::size_t first = name.size();
  while (first > 0 && isDigit(name[first - 1])) --first;
  return toNumber<int>(name.substr(first));
}

bool isInside(double value, double size) {
  return size <= 0.0 || (value >= -0.5 - kMargin && value <= size - 0.5 + kMargin);
}

}  // namespace

std::size_t Collector::point(const std::string& given_name, const Place& place) {
  const std::string name = trimmed(given_name);
  const auto known = numbers_.find(name);
  if (known != numbers_.end()) return known->second;
  if (!isPointName(name)) {
    place.refuse(
        shown(name) +
        " is no name of a point: rename it to UTF-8 text without comma, quote and line end");
  }
  if (names_.size() >= kMostPoints) place.refuse(format("more than %zu points", kMostPoints));
  numbers_.emplace(name, names_.size());
  names_.push_back(name);
  return names_.size() - 1;
}

void Collector::newFrame(const FrameKey& key, const Place& place) {
  const std::size_t before = frames_.size();
  enterFrame(key, place);
  if (frames_.size() > before) return;
  const std::string which = key.number ? format("frame %d", *key.number) : shown(key.file);
  place.refuse(which + " is there already: a frame holds one shape");
}

void Collector::enterFrame(const FrameKey& given, const Place& place) {
  FrameKey key = given;
  key.file = trimmed(given.file);  // as tables have it
  if (std::any_of(key.file.begin(), key.file.end(), [](char c) { return c >= 0 && c < ' '; })) {
    place.refuse(shown(key.file) + " is no name of an image");
  }
  const auto [known, is_new] = known_.try_emplace(
      {key.file, key.number, key.number || !key.file.empty() ? "" : key.numbered_by},
      frames_.size());
  current_ = known->second;
  if (is_new) frames_.push_back({std::move(key), {}, {}});
}

void Collector::reserve(Frame& frame, std::size_t points, const Place& place) {
  if (frame.points.size() >= points) return;
  positions_ += points - frame.points.size();
  if (positions_ > kMostPositions) place.refuse(kTooMany);
  frame.points.resize(points, unseen());
  frame.given.resize(points);
}

void Collector::mention(std::size_t point, const Place& place) {
  reserve(frames_[current_], point + 1, place);
}

void Collector::set(std::size_t point, const Point& position, const Place& place) {
  Frame& frame = frames_[current_];
  reserve(frame, point + 1, place);
  const std::string& name = names_[point];
  if (frame.given[point]) place.refuse("point " + name + " is there twice in this frame");
  frame.given[point] = true;
  if (std::isnan(position.x) && std::isnan(position.y)) return;
  if (!isSeen(position)) {
    place.refuse(format("the position %g, %g of point ", position.x, position.y) + name +
                 " is none");
  }
  const ImageSize& size = frame.key.size;
  if (!isInside(position.x, size.width) || !isInside(position.y, size.height)) {
    place.refuse(format("point %s at %g, %g is outside of its image of %g x %g pixels",
                        name.c_str(), position.x, position.y, size.width, size.height));
  }
  frame.points[point] = position;
}

void Collector::numberFrames(const std::string& source) {
  std::vector<Frame*> without;
  for (Frame& frame : frames_) {
    if (!frame.key.number) without.push_back(&frame);
  }
  bool all_have_digits = true;
  for (Frame* const frame : without) {
    frame->key.number = lastDigits(frame->key.numbered_by);
    all_have_digits = all_have_digits && frame->key.number;
  }
  if (all_have_digits) return;
  requireFrameNumbers(first_frame_, without.size(), source);
  int next = first_frame_;
  for (Frame* const frame : without) frame->key.number = next++;
}

Annotations Collector::finish(const std::string& source) {
  if (frames_.empty() || names_.empty()) throw Error(source + " holds no positions");
  if (frames_.size() > kMostPositions / names_.size()) throw Error(source + ": " + kTooMany);
  numberFrames(source);
  Annotations result;
  result.names = std::move(names_);
  for (Frame& frame : frames_) {
    frame.points.resize(result.names.size(), unseen());
    result.frames.push_back(
        {*frame.key.number, std::move(frame.key.file), std::move(frame.points)});
  }
  normalise(result, source);
  return result;
}

}  // namespace remora
