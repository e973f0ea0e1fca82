// Training: annotated frames become a model folder.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "follow/error.h"
#include "follow/export.h"
#include "follow/model/model.h"
#include "follow/model/review.h"
#include "follow/training/example.h"

namespace remora {

struct PointOptions {
  std::string name;            // empty: its index
  int predictors = 0;          // in each stage and coordinate; 0: as TrainingOptions says
  int placement = 0;           // of predictors: 0 around the point, -1 below it, 1 above it
  float radius_factor = 1.0F;  // of the stages' radii
};

struct TrainingOptions {
  // A plain model predicts in the coordinates of the frames, which then have one size: it is for
  // hosts that run its flat files with the engine alone. Its points know no confidence.
  bool plain = false;

  // Radii of the stages from coarse to fine, and the prediction steps that each takes a frame. A
  // following model counts radii in canvas pixels, and its own (45, 22, 11, 7 with 3, 3, 3, 2
  // steps at most: a point that arrives earlier takes no more) suit shapes of every size, because
  // the canvas is chosen so. A plain one counts them in pixels of the scaled frame (30, 15, 8 with
  // 2, 1, 1 steps). Empty: these.
  std::vector<float> radii;
  std::vector<int> steps;
  int predictors = 60;  // a point, in each stage and coordinate
  int generations = 0;  // of evolution; 0: 2, or 3 of a plain model
  // Canvas pixels a pixel of the frames, 0: chosen from the size of the shape. Of a plain model the
  // scale that frames are worked on at, 0: 1.
  double scale = 0.0;
  unsigned seed = 1;                 // of all random draws
  std::vector<PointOptions> points;  // none: as if each was left out
  bool force = false;                // replaces a finished model of another training
  // Processes that share the work; the model is the same bytes for every number. With more than
  // one, processes are forked from this one, which a host with several threads should not ask for:
  // they inherit whatever locks its other threads hold just then.
  int jobs = 1;
};

// The folder holds the finished model of another training.
class REMORA_FOLLOW_EXPORT HoldsOtherModel : public Error {
 public:
  using Error::Error;
};

struct TrainingResult {
  bool was_there = false;             // the folder held the finished model of this very training
  Review review;                      // which the model keeps
  std::vector<std::string> repeated;  // a line for each unit of work that was tried again
};

constexpr float kLargestRadius = 1e6F;    // and radius factor
constexpr int kMostPredictors = 1000000;  // of a point
constexpr int kMostGenerations = 1000000;
constexpr int kMostJobs = 1000;
constexpr double kSmallestScale = 0.01;
constexpr double kLargestScale = 100.0;

// Told before the first unit of work and after each, of which there are `total`, and with several
// jobs several times a second in between; what follows the last one, putting the model together and
// trying it, takes about a tenth of the time. The training ends with an Error when it returns
// false, or with what it throws; the same call goes on from there.
using TrainingProgress = std::function<bool(std::size_t done, std::size_t total)>;

// Trains a model and writes it into a folder, which is made where it is missing. The same examples
// and options give the same bytes everywhere. An earlier model there stays as it is until the new
// one is complete; finished units of work are kept in the folder `units` meanwhile. An
// example need not show all points: a position that is no number is a point not seen, which is
// trained on the other examples. Those of a following model may differ in size.
//
// While it works, what the process prints to the C stream `stdout` is lost (the engine prints
// there, and is silenced); std::cout is not touched. The draws come from rand(), which is seeded
// for them: another thread that draws from it meanwhile changes the model.
//
// With several jobs, a unit that fails, or whose process is ended, is tried once more, of which a
// warning tells; Error names one that fails twice.
//
// Throws Error, naming example and point, for positions that are not inside of their picture,
// for examples that show no point and points that none shows, for differing numbers of points, for
// options that cannot be, for a folder that cannot be written, that another training writes, and
// HoldsOtherModel.
REMORA_FOLLOW_EXPORT TrainingResult train(const std::vector<Example>& examples,
                                          const TrainingOptions& options, const std::string& folder,
                                          const TrainingProgress& progress = nullptr);

// The units of a training: it has one for each stage, coordinate and point, and they are numbered
// from 0. Throws Error as train() does for options.
REMORA_FOLLOW_EXPORT std::size_t unitCount(const std::vector<Example>& examples,
                                           const TrainingOptions& options);

// What becomes of units that nobody asked a process for.
enum class Others {
  kLeft,
  kHelped  // they are trained as well, once its own are; first those that nobody has begun
};

// Trains some units of a training whose folder is shared by several processes, on any machines. All
// of them pass the same examples and options; what the folder is called on each does not matter. A
// unit is written whole or not at all, and may be made twice; finished ones are left as they are.
// There is no lock. `was_there` of the result tells that the model is finished already.
//
// Throws Error as train() does, for a number that no unit has, and for a folder that holds units
// made from other frames, positions or options, or by another version, saying which.
REMORA_FOLLOW_EXPORT TrainingResult trainUnits(const std::vector<Example>& examples,
                                               const TrainingOptions& options,
                                               const std::string& folder,
                                               const std::vector<std::size_t>& units,
                                               const TrainingProgress& progress = nullptr,
                                               Others others = Others::kLeft);

// Makes the model of the units that trainUnits() has left, once all of them are there: the same
// bytes as of train(). Throws Error, naming the units that are missing, or that are not whole, or
// the one that does not belong there, and leaves everything as it is.
REMORA_FOLLOW_EXPORT TrainingResult joinUnits(const std::vector<Example>& examples,
                                              const TrainingOptions& options,
                                              const std::string& folder);

}  // namespace remora
