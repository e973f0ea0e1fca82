#include "follow/render/label_places.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace remora {
namespace {

constexpr int kCell = 4;  // pixels

// Sides of a mark, best first, in parts of the label's size and of the distance to it.
struct Side {
  double across, down;  // how much of the label is left of, and above, its end of the way
  int x, y;             // the way from the mark
};
constexpr std::array<Side, 8> kSides = {{{0.0, 1.0, 1, -1},
                                         {0.0, 0.0, 1, 1},
                                         {1.0, 1.0, -1, -1},
                                         {1.0, 0.0, -1, 1},
                                         {0.0, 0.5, 1, 0},
                                         {1.0, 0.5, -1, 0},
                                         {0.5, 1.0, 0, -1},
                                         {0.5, 0.0, 0, 1}}};
constexpr std::size_t kRings = 6;  // a label's height apart; a thin line leads to those farther off
constexpr std::size_t kStaying = 2;  // names in the other rings come nearer when they can

Box boxAt(std::size_t choice, const Spot& at, int arm, int width, int height) {
  const Side& side = kSides[choice % kSides.size()];
  const int ring = static_cast<int>(choice / kSides.size());
  // Corners need less distance than sides to stay off the arms.
  const int distance = (side.x != 0 && side.y != 0 ? arm / 2 : arm) + 2 + ring * height;
  return {static_cast<int>(std::lround(at.x + side.x * distance - side.across * width)),
          static_cast<int>(std::lround(at.y + side.y * distance - side.down * height)), width,
          height};
}

}  // namespace

void TakenCells::clear(int width, int height) {
  columns_ = (width + kCell - 1) / kCell;
  rows_ = (height + kCell - 1) / kCell;
  taken_.assign(static_cast<std::size_t>(columns_) * static_cast<std::size_t>(rows_), 0);
}

TakenCells::Range TakenCells::cellsOf(const Box& box) const {
  const auto cell = [](int at, int count) { return std::clamp(at, 0, count * kCell) / kCell; };
  return {cell(box.left, columns_), cell(box.top, rows_),
          cell(box.left + box.width + kCell - 1, columns_),
          cell(box.top + box.height + kCell - 1, rows_)};
}

void TakenCells::take(const Box& box) {
  const Range range = cellsOf(box);
  for (int row = range.top; row < range.bottom; ++row) {
    for (int column = range.left; column < range.right; ++column) {
      taken_[static_cast<std::size_t>(row * columns_ + column)] = 1;
    }
  }
}

bool TakenCells::isFree(const Box& box) const {
  const Range range = cellsOf(box);
  for (int row = range.top; row < range.bottom; ++row) {
    const auto begin = taken_.begin() + static_cast<std::ptrdiff_t>(row) * columns_;
    if (std::find(begin + range.left, begin + range.right, 1) != begin + range.right) return false;
  }
  return true;
}

void LabelPlaces::begin(int width, int height, int arm) {
  width_ = width;
  height_ = height;
  arm_ = arm;
  labels_.clear(width, height);
  marks_.clear(width, height);
}

void LabelPlaces::avoid(const Spot& mark) {
  const int side = 2 * (arm_ / 2) + 1;
  marks_.take({static_cast<int>(std::lround(mark.x)) - arm_ / 2,
               static_cast<int>(std::lround(mark.y)) - arm_ / 2, side, side});
}

bool LabelPlaces::isFree(const Box& box, bool also_of_marks) const {
  const bool is_inside = box.left >= 0 && box.top >= 0 && box.left + box.width <= width_ &&
                         box.top + box.height <= height_;
  return is_inside && labels_.isFree(box) && (!also_of_marks || marks_.isFree(box));
}

std::optional<Box> LabelPlaces::place(std::size_t point, const Spot& at, int width, int height) {
  if (sides_.size() <= point) sides_.resize(point + 1, 0);
  for (const bool also_of_marks : {true, false}) {
    for (std::size_t i = 0; i <= kRings * kSides.size(); ++i) {
      const bool was_near = sides_[point] < kStaying * kSides.size();
      const std::size_t choice = i > 0 ? i - 1 : was_near ? sides_[point] : 0;
      const Box box = boxAt(choice, at, arm_, width, height);
      if (!isFree(box, also_of_marks)) continue;
      labels_.take(box);
      sides_[point] = choice;
      return box;
    }
  }
  return std::nullopt;
}

}  // namespace remora
