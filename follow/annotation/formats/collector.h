// What readers fill: frames and points come as the files have them, and leave as annotations.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "follow/annotation/annotations.h"
#include "follow/annotation/formats/place.h"

namespace remora {

struct ImageSize {
  double width = 0.0;  // 0: not known
  double height = 0.0;
};

// What a file tells of a frame.
struct FrameKey {
  std::string file;           // its image or recording; may be empty
  std::optional<int> number;  // where the file gives one
  std::string numbered_by;    // else the name whose last digits are the number
  ImageSize size;
};

class Collector {
 public:
  Collector(int first_frame, double least_likelihood)
      : first_frame_(first_frame), least_likelihood_(least_likelihood) {}

  // Whether a position counts that another program has guessed. No number: nothing is said of it.
  bool isLikely(double likelihood) const { return !(likelihood < least_likelihood_); }

  // The index of the point of this name. White space around it is left out.
  std::size_t point(const std::string& name, const Place& place);

  // Begins a frame that must be new, or goes on with one that may be known.
  void newFrame(const FrameKey& key, const Place& place);
  void enterFrame(const FrameKey& key, const Place& place);

  // A point that the current frame may still show elsewhere.
  void mention(std::size_t point, const Place& place);
  // The position of a point in the current frame. It is not seen where both coordinates are no
  // numbers.
  void set(std::size_t point, const Point& position, const Place& place);

  // `source` is for messages.
  Annotations finish(const std::string& source);

 private:
  struct Frame {
    FrameKey key;
    Shape points;
    std::vector<bool> given;
  };

  void reserve(Frame& frame, std::size_t points, const Place& place);
  void numberFrames(const std::string& source);

  int first_frame_;
  double least_likelihood_;
  std::vector<std::string> names_;
  std::map<std::string, std::size_t> numbers_;  // of names
  std::vector<Frame> frames_;
  std::map<std::tuple<std::string, std::optional<int>, std::string>, std::size_t> known_;
  std::size_t current_ = 0;
  std::size_t positions_ = 0;  // room for them is made
};

}  // namespace remora
