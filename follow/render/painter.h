// Lines and texts on a picture.
#pragma once

#include <string>
#include <vector>

#include "follow/footage/picture.h"

namespace remora {

struct Colour {
  unsigned char red = 0;
  unsigned char green = 0;
  unsigned char blue = 0;
};

// In pixels of the picture that is drawn on; whole numbers are the middle of pixels.
struct Spot {
  double x = 0.0;
  double y = 0.0;
};

// How much of each pixel something covers, 0 to 255, row by row.
struct Stencil {
  int width = 0;
  int height = 0;
  std::vector<unsigned char> covers;
};

// A text and the dark rim around it, by which it can be read on any ground.
struct Lettering {
  Stencil ink;
  Stencil rim;  // of the same size
};

// Sets a line of UTF-8 text in letters of this height. What is beyond Latin-1 becomes a question
// mark.
Lettering setText(const std::string& text, int height);

// Draws on a picture of three channels, and looks at no more of it than it changes. What is outside
// is not drawn.
class Painter {
 public:
  explicit Painter(Picture& picture) : picture_(picture) {}

  // With round ends and soft edges; opacity goes from 0 to 1.
  void line(const Spot& from, const Spot& to, double width, const Colour& colour, double opacity);
  void text(const Lettering& text, int left, int top, const Colour& ink);

 private:
  // The pixels of a row that a line can reach.
  struct Run {
    int first;
    int last;
  };

  void stencil(const Stencil& stencil, int left, int top, const Colour& colour, double opacity);
  void blend(int x, int y, const Colour& colour, double share);

  Picture& picture_;
};

}  // namespace remora
