// What is tried on a picture, within the work that a frame may take.
#pragma once

#include <vector>

#include "follow/model/loaded_model.h"
#include "follow/model/sweep.h"
#include "follow/tracking/attempt.h"
#include "follow/tracking/following.h"

namespace remora {

class PictureTrials : public Trials {
 public:
  // `most` counts attempts, and comparisons of a search as what takes as long; 0: no limit. A
  // search of the whole picture that does not fit goes on in the next frame by `sweep`. All must
  // outlive it.
  PictureTrials(const LoadedModel& model, Attempts& attempts, Sweep& sweep, const GreyView& picture,
                int most);

  void from(const Start& start, Outcome& outcome) override;
  void near(const Start& start, double reach, Outcome& outcome) override;
  void anywhere(Outcome& outcome) override;
  bool isOver() const override { return left_ < 1.0; }
  bool isLimited() const override { return limited_; }

 private:
  using List = std::vector<Candidate>;

  void takeBest(const List& candidates, const Brightness& light, double enough, Outcome& best);
  void takeBestOfSweep(Outcome& best);
  bool isLike(const Candidate& candidate) const;
  double samplesOf(double attempts) const;
  double pixels(const Affine& pose, double sizes) const;

  const LoadedModel& model_;
  const FollowingModel& following_;
  Attempts& attempts_;
  Sweep& sweep_;
  GreyView picture_;
  bool limited_;
  double left_;  // attempts
};

}  // namespace remora
