// Which frames should be annotated next.
#pragma once

#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "follow/annotation/annotations.h"
#include "follow/annotation/tracks.h"
#include "follow/export.h"
#include "follow/footage/frame_choice.h"
#include "follow/footage/image.h"

namespace remora {

struct Suggestion {
  int frame = 0;
  double confidence = 0.0;  // mean of its points; not a number where none is known
  std::string why;          // in plain words
};

// Looks at the frames of some tracks, one after the other, and then picks those whose annotation
// would help most. How much a frame needs help is how little tracking trusts it. How much an
// annotated frame helps another one is how alike they are: the neighbourhoods of the points, drawn
// upright and in one size, and the form of the shape. So a frame is worth what it adds, over all
// frames, to what annotated and picked frames give already (facility location, which greedy picking
// solves to within 1 - 1/e: Nemhauser, Wolsey and Fisher, "An analysis of approximations for
// maximizing submodular set functions", 1978).
class REMORA_FOLLOW_EXPORT Suggester {
 public:
  // `known` are the annotated frames of the same recording, with the points of the tracks; frames
  // outside of `choice` are not suggested. Throws Error where none is left.
  Suggester(const Tracks& tracks, const Annotations& known, const FrameChoice& choice);

  // The frames that it is to look at. Of long tracks those are some only, evenly spread.
  std::set<int> wanted() const;
  // Shows one of them.
  void look(int frame, const GreyImage& picture);

  // At most `count` frames among those it has seen, best first, none close to another in time.
  std::vector<Suggestion> pick(std::size_t count) const;

 private:
  struct Frame {
    int number = 0;
    const TrackedShape* tracked = nullptr;
    Shape shape;                    // as annotated or tracked
    bool is_known = false;          // annotated
    std::vector<double> need;       // of each point, 0 ... 1
    std::vector<float> looks = {};  // of all points; empty until it was seen
    Shape form = {};                // the shape without its pose, in units of its size
  };
  // How much the annotation of a frame would help for a point in another one, 0 ... 1.
  class Help {
   public:
    Help(const std::vector<const Frame*>& frames, std::size_t points);
    double of(std::size_t from, std::size_t to, std::size_t point) const {
      return static_cast<double>(values_[at(from, to, point)]);
    }

   private:
    std::size_t at(std::size_t from, std::size_t to, std::size_t point) const {
      return (from * frames_ + to) * points_ + point;
    }
    std::size_t frames_;
    std::size_t points_;
    std::vector<float> values_;
  };

  std::string reason(const Frame& frame, double unlike, std::size_t helped) const;

  std::vector<std::string> names_;
  std::map<int, Frame> frames_;
  Shape reference_;
};

// The table of suggestions: frame,confidence,why.
REMORA_FOLLOW_EXPORT std::string formatTable(const std::vector<Suggestion>& suggestions);
// Reads it; any table that has a column frame will do. Throws Error, naming file and line.
REMORA_FOLLOW_EXPORT std::vector<Suggestion> readSuggestions(const std::string& file);

}  // namespace remora
