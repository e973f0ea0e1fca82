// A picture drawn on a level of the canvas, where it is needed.
#pragma once

#include <vector>

#include "cimg/CImg.h"
#include "follow/canvas/brightness.h"
#include "follow/canvas/halving.h"
#include "follow/canvas/level.h"
#include "follow/canvas/warp.h"

namespace remora {

// Pixels of a level, first and last of each direction.
struct Box {
  int left, top, right, bottom;
};

// Binomial smoothing, five taps each way: a Gaussian of sigma 1. What is drawn is rows of small
// blocks, joined where they touch. A pixel is the same whatever else is drawn; one that was not
// asked for holds anything. Draws without allocating memory.
class Drawing {
 public:
  // The region tells what brightness is estimated from; both must outlive it.
  Drawing(const Level& level, const Region& region);

  // Another picture, as it is: nothing of it is drawn.
  void begin(const GreyView& picture, const Affine& pose);

  // Draws what is missing of the boxes asked for since the last time.
  void want(const Box& box);
  void wantAll();
  void draw();

  // Brings everything, drawn before and afterwards, to the brightness of the training, as the
  // drawn part of the region shows it. Returns it. requires: no brightness since begin()
  Brightness adjust(const Brightness& before);

  CImg<float>& pixels() { return pixels_; }
  const CImg<float>& pixels() const { return pixels_; }

 private:
  enum class Block : unsigned char { kEmpty, kWanted, kDrawn };

  Block& at(int column, int row) {
    return blocks_[static_cast<std::size_t>(row * columns_ + column)];
  }
  int widthOfWanted(int column, int row, int most);
  void drawBlocks(int column, int row, int columns, int rows);
  void drawBox(const Box& box);
  void adjustRow(int row);

  const Level& level_;
  const Region& region_;
  int columns_, rows_;         // of blocks
  std::vector<Block> blocks_;  // row by row
  Box wanted_;                 // blocks among which all wanted ones are
  std::vector<std::size_t> blocks_of_region_;
  CImg<float> pixels_;
  Halved halved_;  // what of the picture is drawn, where the level shows it smaller
  Warp warp_;
  Brightness brightness_;
  std::vector<float> lines_;  // as warped, and some of them smoothed along the row
  std::vector<float> seen_, known_;
  std::vector<float> scratch_;
};

}  // namespace remora
