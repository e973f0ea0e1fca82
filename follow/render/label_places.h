// Where names go beside the marks of their points, so that none covers another.
#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "follow/render/painter.h"

namespace remora {

// In pixels of the drawn picture.
struct Box {
  int left = 0;
  int top = 0;
  int width = 0;
  int height = 0;
};

// Cells of a picture that are taken.
class TakenCells {
 public:
  void clear(int width, int height);
  void take(const Box& box);
  bool isFree(const Box& box) const;

 private:
  struct Range {
    int left, top, right, bottom;  // the last two are not in it
  };
  Range cellsOf(const Box& box) const;

  int columns_ = 0;
  int rows_ = 0;
  std::vector<char> taken_;
};

// Chooses places frame by frame. A name stays at the side of its point where it was, as long as
// that is free: names that jump cannot be read.
class LabelPlaces {
 public:
  // Begins a frame of this size, whose marks reach so far from their points.
  void begin(int width, int height, int arm);
  // Nothing is placed on what is kept clear, and names only where they must on marks.
  void keepClear(const Box& box) { labels_.take(box); }
  void avoid(const Spot& mark);

  // The place for a name of this size; nothing where all around is taken.
  std::optional<Box> place(std::size_t point, const Spot& at, int width, int height);

 private:
  bool isFree(const Box& box, bool also_of_marks) const;

  int width_ = 0;
  int height_ = 0;
  int arm_ = 0;
  TakenCells labels_;
  TakenCells marks_;
  std::vector<std::size_t> sides_;  // of points, where their names were last
};

}  // namespace remora
