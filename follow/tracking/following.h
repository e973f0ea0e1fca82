// Decisions of a frame: where to start from, which outcome to believe, what is lost. They see no
// picture, only what attempts say of it.
#pragma once

#include <vector>

#include "follow/tracking/attempt.h"

namespace remora {

constexpr double kBelieved = 0.3;  // quality of a frame in which the shape goes on
constexpr double kTrusted = 0.35;  // trust of a point that stays where the predictors led it

// What can be tried on the current frame.
class Trials {
 public:
  virtual ~Trials() = default;
  // The stages, from this start.
  virtual void from(const Start& start, Outcome& outcome) = 0;
  // The best of some places near this start, up to `reach` times its size away, that look like it.
  virtual void near(const Start& start, double reach, Outcome& outcome) = 0;
  // The best of the places anywhere that look like the shape, in any size and turn.
  // Where work is limited, some of them: the others have their turn in the next frames.
  virtual void anywhere(Outcome& outcome) = 0;
  // Whether the work of a frame is limited, and whether it is done.
  virtual bool isLimited() const = 0;
  virtual bool isOver() const = 0;
};

// How a frame went for each point.
enum class PointOutcome { kFollowed, kPlacedByShape, kLost };

struct FrameOutcome {
  Shape places;
  std::vector<double> trust;  // 0 ... 1
  std::vector<PointOutcome> points;
  double quality = 0.0;  // of the frame, 0 ... 1
};

// The state between frames.
class Following {
 public:
  // Starts anew with these positions in the frame before the next one, as far as they weigh.
  void start(const Shape& places, std::vector<double> weights);
  void start(const Shape& places);
  // Nothing is known: the next frame is searched.
  void forget();
  bool started() const { return !last_.empty(); }
  // Whether the last frame went on from the one before, beyond doubt.
  bool isFollowed() const { return started() && lost_ == 0 && !doubtful_; }

  // One of the points is here in the last frame.
  void correct(std::size_t point, const Point& place);

  // The state changes when all trials are done: where one of them throws, it is as before.
  void next(Trials& trials, std::size_t points, FrameOutcome& frame);

 private:
  void makeRoom(std::size_t points);
  template <class Try>
  void consider(const Try& attempt);
  void findBest(Trials& trials);
  void accept(FrameOutcome& frame);
  void lose(std::size_t points, FrameOutcome& frame);

  Shape last_;                   // where the points were last believed to be; empty: unknown
  Shape before_;                 // a frame earlier; empty: unknown
  std::vector<double> weights_;  // of the points of last_
  Brightness light_;
  int lost_ = 0;           // frames since then
  bool doubtful_ = false;  // last_ was found by search and wants to be confirmed

  // Of this frame.
  Outcome best_, candidate_;
  Shape ahead_;  // where the motion leads
  PoseFit fit_motion_;
};

}  // namespace remora
