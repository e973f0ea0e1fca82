// Search: where in a picture a shape may be, by comparing what it usually looks like.
#pragma once

#include <cstddef>
#include <vector>

#include "follow/canvas/affine.h"
#include "follow/canvas/warp.h"

namespace remora {

// A pose of the canvas in the picture, and how well the picture agrees there (-1 ... 1).
struct Candidate {
  Affine pose;
  double correlation = 0.0;
};

// A similarity to try besides the pose that a search starts from.
struct Variation {
  double scale;
  double cosine, sine;
};

// Sizes 0.87, 1 and 1.15, each turned by -12, 0 and 12 degrees.
const std::vector<Variation>& nearVariations();
// Sizes from 0.5 to 1.73 in eight steps, each turned by -60 to 60 degrees in steps of 12.
const std::vector<Variation>& wideVariations();

// Places that are compared, row by row, in steps of the picture.
struct SearchGrid {
  Point origin;
  double step = 1.0;
  int columns = 0, rows = 0;
};

// Normalised correlation (J. P. Lewis, "Fast normalized cross-correlation", 1995) of the mean
// canvas, reduced to a few hundred places of the shape's region, with a picture reduced alike.
class Searcher {
 public:
  Searcher() = default;
  // `mean` is the mean canvas, width x height, and `region` marks its pixels that show the shape.
  Searcher(const std::vector<float>& mean, int width, int height, const std::vector<bool>& region);

  // The best places, best first, at most `most`, no two of them near each other. `around` is the
  // pose to vary; its middle is sought within `reach` pixels of the picture in x and y of where it
  // is, and inside of the picture.
  std::vector<Candidate> search(const GreyView& picture, const Affine& around,
                                const std::vector<Variation>& variations, double reach,
                                std::size_t most) const;

  // The places that search() compares; none where there is nothing to compare.
  SearchGrid gridAround(const GreyView& picture, const Affine& around, double reach) const;
  // Pixels of the picture between two candidates that are not the same.
  double apart(const Affine& around) const;
  std::size_t numSamples() const { return samples_.size(); }
  // The middle of the region, in canvas coordinates.
  Point middle() const { return middle_; }

 private:
  friend class Comparison;
  struct Sample {
    Point offset;  // canvas pixels from the middle
    float grey;
  };
  std::vector<Sample> samples_;
  Point middle_;
  double radius_ = 0.0;  // canvas pixels from the middle to the farthest sample
  int reduction_ = 1;    // canvas pixels between two samples
  float sum_ = 0.0F;
  float spread_ = 0.0F;  // root of the sum of squares about the mean
};

// The best places so far.
class Candidates {
 public:
  Candidates(const Searcher& searcher, const Affine& around, std::size_t most);
  void add(const Candidate& candidate, const Point& at);
  // Best first.
  std::vector<Candidate> best() const;

 private:
  struct Found {
    Candidate candidate;
    Point at;
  };
  double apart_;
  std::size_t most_;
  std::vector<Found> found_;  // best first, no two near each other
};

// Compares rows of a grid of places with a picture.
class Comparison {
 public:
  // requires: a grid of the searcher, and rows of it
  void begin(const Searcher& searcher, const GreyView& picture, const Affine& around,
             const SearchGrid& grid, int first_row, int rows);
  void compare(const Variation& variation, Candidates& found);
  // Samples that compare() takes.
  double work() const;

 private:
  static constexpr int kAtOnce = 16;

  void correlate(int x, int y);
  bool isPeak(int x, int y);
  float& mapAt(int x, int y) {
    return map_[static_cast<std::size_t>(y + 1) * static_cast<std::size_t>(pitch_) +
                static_cast<std::size_t>(x + 1)];
  }

  const Searcher* searcher_ = nullptr;
  Affine linear_;
  SearchGrid grid_;
  int first_row_ = 0, rows_ = 0;
  int margin_ = 0, width_ = 0, pitch_ = 0;
  std::vector<float> grey_, map_;  // of the picture, reduced; and correlations
  std::vector<int> offsets_;
};

}  // namespace remora
