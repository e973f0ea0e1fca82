#include "follow/render/painter.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "cimg/CImg.h"

namespace remora {
namespace {

constexpr Colour kRim = {0, 0, 0};
constexpr double kRimOpacity = 0.7;

// The code point that begins at `at`, which moves behind it.
unsigned long nextCodePoint(const std::string& text, std::size_t& at) {
  const auto byte = [&text](std::size_t i) {
    return i < text.size() ? static_cast<unsigned char>(text[i]) : 0U;
  };
  unsigned long code = byte(at++);
  const int more = code >= 0xf0U ? 3 : code >= 0xe0U ? 2 : code >= 0xc0U ? 1 : 0;
  if (more > 0) code &= 0x3fU >> static_cast<unsigned>(more);
  for (int i = 0; i < more && (byte(at) & 0xc0U) == 0x80U; ++i) {
    code = code << 6U | (byte(at++) & 0x3fU);
  }
  return code;
}

std::string toLatin1(const std::string& text) {
  std::string latin;
  for (std::size_t at = 0; at < text.size();) {
    const unsigned long code = nextCodePoint(text, at);
    const bool is_shown = (code >= 0x20U && code < 0x7fU) || (code >= 0xa0U && code <= 0xffU);
    latin += is_shown ? static_cast<char>(static_cast<unsigned char>(code)) : '?';
  }
  return latin;
}

// The largest of each pixel and its neighbours.
Stencil grown(const Stencil& inner) {
  Stencil outer = inner;
  for (int y = 0; y < inner.height; ++y) {
    for (int x = 0; x < inner.width; ++x) {
      unsigned char most = 0;
      for (int v = std::max(y - 1, 0); v <= std::min(y + 1, inner.height - 1); ++v) {
        for (int u = std::max(x - 1, 0); u <= std::min(x + 1, inner.width - 1); ++u) {
          most = std::max(most, inner.covers[static_cast<std::size_t>(v * inner.width + u)]);
        }
      }
      outer.covers[static_cast<std::size_t>(y * inner.width + x)] = most;
    }
  }
  return outer;
}

// A whole number between both; also of what is far outside, or no number.
int within(double value, int least, int most) {
  if (!(value > least)) return least;
  return value < most ? static_cast<int>(value) : most;
}

}  // namespace

Lettering setText(const std::string& text, int height) {
  const unsigned char full[] = {255};
  CImg<unsigned char> set;
  const std::string latin = toLatin1(text);
  if (!latin.empty()) {
    set.draw_text(0, 0, "%s", full, 0, 1.0F, static_cast<unsigned>(height), latin.c_str());
  }
  Lettering lettering;
  Stencil& ink = lettering.ink;
  ink.width = set.width() + 2;  // with a pixel for the rim all around
  ink.height = height + 2;
  ink.covers.assign(static_cast<std::size_t>(ink.width) * static_cast<std::size_t>(ink.height), 0);
  for (int y = 0; y < std::min(set.height(), height); ++y) {
    for (int x = 0; x < set.width(); ++x) {
      ink.covers[static_cast<std::size_t>((y + 1) * ink.width + x + 1)] =
          set(static_cast<unsigned>(x), static_cast<unsigned>(y));
    }
  }
  lettering.rim = grown(ink);
  return lettering;
}

void Painter::blend(int x, int y, const Colour& colour, double share) {
  const auto part = static_cast<unsigned>(share * 256.0 + 0.5);
  unsigned char* const pixel =
      &picture_.pixels[(static_cast<std::size_t>(y) * static_cast<std::size_t>(picture_.width) +
                        static_cast<std::size_t>(x)) *
                       3];
  const unsigned char wanted[] = {colour.red, colour.green, colour.blue};
  for (int c = 0; c < 3; ++c) {
    pixel[c] =
        static_cast<unsigned char>((pixel[c] * (256U - part) + wanted[c] * part + 128U) >> 8U);
  }
}

void Painter::line(const Spot& from, const Spot& to, double width, const Colour& colour,
                   double opacity) {
  const double dx = to.x - from.x;
  const double dy = to.y - from.y;
  const double squared = dx * dx + dy * dy;
  const double reach = width / 2.0 + 0.5;
  const double left = std::min(from.x, to.x) - reach;
  const double right = std::max(from.x, to.x) + reach;
  const int top = within(std::ceil(std::min(from.y, to.y) - reach), 0, picture_.height);
  const int bottom = within(std::floor(std::max(from.y, to.y) + reach), -1, picture_.height - 1);
  // Half of what a slanting line reaches of a row; level lines reach all there is.
  const double half = dy == 0.0 ? right - left : reach * std::sqrt(squared) / std::abs(dy);
  for (int y = top; y <= bottom; ++y) {
    const double middle = dy == 0.0 ? from.x : from.x + (y - from.y) * dx / dy;
    const Run run = {within(std::ceil(std::max(left, middle - half)), 0, picture_.width),
                     within(std::floor(std::min(right, middle + half)), -1, picture_.width - 1)};
    for (int x = run.first; x <= run.last; ++x) {
      const double along =
          squared > 0.0 ? std::clamp(((x - from.x) * dx + (y - from.y) * dy) / squared, 0.0, 1.0)
                        : 0.0;
      const double off_x = x - from.x - along * dx;
      const double off_y = y - from.y - along * dy;
      const double covered = std::min(reach - std::sqrt(off_x * off_x + off_y * off_y), 1.0);
      if (covered > 0.0) blend(x, y, colour, covered * opacity);
    }
  }
}

void Painter::stencil(const Stencil& stencil, int left, int top, const Colour& colour,
                      double opacity) {
  for (int y = std::max(0, -top); y < std::min(stencil.height, picture_.height - top); ++y) {
    for (int x = std::max(0, -left); x < std::min(stencil.width, picture_.width - left); ++x) {
      const unsigned covers = stencil.covers[static_cast<std::size_t>(y * stencil.width + x)];
      if (covers > 0) blend(left + x, top + y, colour, covers / 255.0 * opacity);
    }
  }
}

void Painter::text(const Lettering& text, int left, int top, const Colour& ink) {
  stencil(text.rim, left, top, kRim, kRimOpacity);
  stencil(text.ink, left, top, ink, 1.0);
}

}  // namespace remora
