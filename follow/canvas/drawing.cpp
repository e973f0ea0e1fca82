#include "follow/canvas/drawing.h"

#include <algorithm>

namespace remora {
namespace {

constexpr int kBlock = 8;  // pixels
constexpr int kTaps = 5;
constexpr int kReach = kTaps / 2;

int blocksOf(int pixels) { return (pixels + kBlock - 1) / kBlock; }

float tap(float a, float b, float c, float d, float e) {
  constexpr float kOuter = 1.0F / 16.0F, kInner = 4.0F / 16.0F, kMiddle = 6.0F / 16.0F;
  return (a + e) * kOuter + (b + d) * kInner + c * kMiddle;
}

void smoothAlong(const float* in, int width, float* out) {
  for (int x = 0; x < width; ++x) out[x] = tap(in[x], in[x + 1], in[x + 2], in[x + 3], in[x + 4]);
}

}  // namespace

Drawing::Drawing(const Level& level, const Region& region)
    : level_(level),
      region_(region),
      columns_(blocksOf(level.width)),
      rows_(blocksOf(level.height)),
      blocks_(static_cast<std::size_t>(columns_) * static_cast<std::size_t>(rows_)),
      wanted_{columns_, rows_, -1, -1},
      pixels_(static_cast<unsigned>(level.width), static_cast<unsigned>(level.height), 1, 1, 0.0F),
      lines_(static_cast<std::size_t>((kTaps + 1) * (level.width + 2 * kReach))) {
  for (const int place : region.places) {
    const int column = place % level.width / kBlock;
    const int row = place / level.width / kBlock;
    blocks_of_region_.push_back(static_cast<std::size_t>(row * columns_ + column));
  }
  seen_.reserve(region.places.size());
  known_.reserve(region.places.size());
  scratch_.reserve(region.places.size());
}

void Drawing::begin(const GreyView& picture, const Affine& pose) {
  const Affine map = pose * level_.map();
  halved_.take(picture, map, level_.width, level_.height, kReach);
  warp_ = Warp(halved_.view(), halved_.map(map));
  brightness_ = {};
  std::fill(blocks_.begin(), blocks_.end(), Block::kEmpty);
  wanted_ = {columns_, rows_, -1, -1};
}

void Drawing::want(const Box& box) {
  const Box blocks{std::max(box.left, 0) / kBlock, std::max(box.top, 0) / kBlock,
                   std::min(box.right, level_.width - 1) / kBlock,
                   std::min(box.bottom, level_.height - 1) / kBlock};
  if (box.right < 0 || box.bottom < 0) return;
  bool any = false;
  for (int row = blocks.top; row <= blocks.bottom; ++row) {
    for (int column = blocks.left; column <= blocks.right; ++column) {
      Block& block = at(column, row);
      if (block != Block::kEmpty) continue;
      block = Block::kWanted;
      any = true;
    }
  }
  if (!any) return;
  wanted_ = {std::min(wanted_.left, blocks.left), std::min(wanted_.top, blocks.top),
             std::max(wanted_.right, blocks.right), std::max(wanted_.bottom, blocks.bottom)};
}

void Drawing::wantAll() { want({0, 0, level_.width - 1, level_.height - 1}); }

// Rectangles as large as they get, row by row: what lies around each is warped once more.
void Drawing::draw() {
  for (int row = wanted_.top; row <= wanted_.bottom; ++row) {
    for (int column = wanted_.left; column <= wanted_.right; ++column) {
      const int columns = widthOfWanted(column, row, wanted_.right + 1 - column);
      if (columns == 0) continue;
      int rows = 1;
      while (row + rows <= wanted_.bottom &&
             widthOfWanted(column, row + rows, columns) == columns) {
        ++rows;
      }
      drawBlocks(column, row, columns, rows);
    }
  }
  wanted_ = {columns_, rows_, -1, -1};
}

// How many blocks from this one on, at most so many, are wanted.
int Drawing::widthOfWanted(int column, int row, int most) {
  int width = 0;
  while (width < most && at(column + width, row) == Block::kWanted) ++width;
  return width;
}

void Drawing::drawBlocks(int column, int row, int columns, int rows) {
  for (int r = row; r < row + rows; ++r) {
    for (int c = column; c < column + columns; ++c) at(c, r) = Block::kDrawn;
  }
  drawBox({column * kBlock, row * kBlock, std::min((column + columns) * kBlock, level_.width) - 1,
           std::min((row + rows) * kBlock, level_.height) - 1});
}

void Drawing::drawBox(const Box& box) {
  const int width = box.right - box.left + 1;
  const std::size_t pitch = lines_.size() / (kTaps + 1);
  float* const warped = lines_.data() + kTaps * pitch;
  const auto line = [&](int y) {
    return lines_.data() + static_cast<std::size_t>((y + kTaps) % kTaps) * pitch;
  };
  for (int y = box.top - kReach; y <= box.bottom + kReach; ++y) {
    warp_.row(box.left - kReach, y, width + 2 * kReach, warped);
    smoothAlong(warped, width, line(y));
    if (y < box.top + kReach) continue;
    const float *a = line(y - 4), *b = line(y - 3), *c = line(y - 2), *d = line(y - 1);
    const float* const e = line(y);
    const float gain = brightness_.gain, offset = brightness_.offset;
    float* const out =
        pixels_.data(static_cast<unsigned>(box.left), static_cast<unsigned>(y - kReach));
    for (int x = 0; x < width; ++x) out[x] = tap(a[x], b[x], c[x], d[x], e[x]) * gain + offset;
  }
}

Brightness Drawing::adjust(const Brightness& before) {
  seen_.clear();
  known_.clear();
  const float* const pixels = pixels_.data();
  for (std::size_t i = 0; i < region_.places.size(); ++i) {
    if (blocks_[blocks_of_region_[i]] != Block::kDrawn) continue;
    seen_.push_back(pixels[region_.places[i]]);
    known_.push_back(region_.grey[i]);
  }
  brightness_ = fitBrightness(seen_, known_, before, scratch_);
  for (int row = 0; row < rows_; ++row) adjustRow(row);
  return brightness_;
}

void Drawing::adjustRow(int row) {
  for (int column = 0; column < columns_; ++column) {
    int width = 0;
    while (column + width < columns_ && at(column + width, row) == Block::kDrawn) ++width;
    if (width == 0) continue;
    const int left = column * kBlock;
    const int right = std::min((column + width) * kBlock, level_.width);
    for (int y = row * kBlock; y < std::min((row + 1) * kBlock, level_.height); ++y) {
      float* const line = pixels_.data(0, static_cast<unsigned>(y));
      for (int x = left; x < right; ++x) line[x] = line[x] * brightness_.gain + brightness_.offset;
    }
    column += width;
  }
}

}  // namespace remora
