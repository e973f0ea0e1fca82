// A search of the whole picture that is spread over frames.
#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "follow/model/search.h"

namespace remora {

// Compares bands of the frames, one after the other, until all of a picture has had its turn; then
// tells the best places. Which part of which frame is compared depends on the sizes of pictures and
// on the work that is allowed alone, never on time. A copy goes on on its own.
class Sweep {
 public:
  // Begins anew.
  void reset();

  // Goes on with this picture for about so many samples, at least one comparison. True when that
  // ended the sweep: then best() has the places, as they were when they were met.
  bool goOn(const Searcher& searcher, const GreyView& picture, const Affine& around, double samples,
            std::size_t most);

  // The best places of the last sweep, best first, that were not taken yet.
  std::vector<Candidate>& best() { return best_; }

 private:
  void begin(const Searcher& searcher, const GreyView& picture, const Affine& around,
             std::size_t most);

  int width_ = 0, height_ = 0;  // of the picture
  SearchGrid grid_;
  int row_ = 0;  // of the grid, where the band begins
  std::size_t variation_ = 0;
  std::optional<Candidates> found_;  // nothing: no sweep has begun
  std::vector<Candidate> best_;
};

}  // namespace remora
