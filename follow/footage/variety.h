// Which frames of footage to annotate: few that differ.
#pragma once

#include <array>
#include <vector>

#include "follow/export.h"
#include "follow/footage/image.h"

namespace remora {

// Looks at frames one after the other and chooses some that stand for all of them. Keeps small
// pictures of no more frames than kMostCandidates or four times as many as are wanted, evenly
// spread, however long the footage is. The same frames give the same choice everywhere.
class REMORA_FOLLOW_EXPORT VariedFrames {
 public:
  static constexpr std::size_t kMostCandidates = 1000;

  explicit VariedFrames(std::size_t wanted);

  void look(int number, const Image& picture);

  // The numbers of the wanted frames, ascending; of all that were looked at where there are fewer.
  // The frames seen fall into as many groups of such that look alike, brighter or darker; each is
  // stood for by the one nearest to its middle.
  std::vector<int> choose() const;

 private:
  static constexpr int kSide = 24;  // pixels of the small pictures
  using Look = std::array<float, kSide * kSide>;
  struct Candidate {
    int number;
    Look look;
  };

  static Look lookOf(const GreyImage& grey);
  static double distance(const Look& a, const Look& b);
  void thinOut();
  std::vector<std::size_t> groupsOf(std::vector<Look> middles) const;

  std::size_t wanted_;
  std::size_t most_;
  long seen_ = 0;
  long step_ = 1;  // every so many frames are candidates
  std::vector<Candidate> candidates_;
};

}  // namespace remora
