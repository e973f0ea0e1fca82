#include "follow/training/forecast.h"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>

#include "follow/annotation/annotations.h"
#include "follow/base/bytes.h"
#include "follow/base/workers.h"
#include "follow/error.h"
#include "follow/training/joining.h"
#include "follow/training/model_training.h"

namespace remora {
namespace {

namespace fs = std::filesystem;

constexpr int kFewPredictors = 2;

double processorSeconds() {
  timespec time{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

double residentBytes() {
  std::ifstream in("/proc/self/statm");
  double size = 0.0;
  double resident = 0.0;
  in >> size >> resident;
  return resident * static_cast<double>(sysconf(_SC_PAGESIZE));
}

double mostBytes() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return 1024.0 * static_cast<double>(usage.ru_maxrss);
}

// A folder of temporary files.
class ScratchFolder {
 public:
  ScratchFolder() : path_(fs::temp_directory_path() / "remora.XXXXXX") {
    if (mkdtemp(path_.data()) == nullptr) throw Error("cannot make folder " + path_);
  }
  ~ScratchFolder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

// A forecast: a whole training with very few predictors, and one unit of each stage with some more,
// say how time and memory grow.
class Measuring {
 public:
  Measuring(const std::vector<Example>& examples, const std::vector<TrainingFrame>& frames,
            const Request& request)
      : options_(request.options), few_(withPredictors(kFewPredictors)) {
    const double start = processorSeconds();
    const Request few{few_, request.mark};
    ModelTraining training(frames, examples, few, folder_.path(), Purpose::kModel);
    result_.before = processorSeconds() - start;
    result_.shared = std::max(mostBytes(), residentBytes());
    const std::vector<Unit> units = listUnits(training.plan());
    result_.units = units.size();
    timeUnits(training, units);
    const double trained = processorSeconds();
    training.finish();
    result_.after = processorSeconds() - trained;
    for (std::size_t stage = 0; stage < options_.radii.size(); ++stage) {
      extrapolate(training.plan(), units, stage);
    }
  }

  Forecast take() const { return result_; }

 private:
  TrainingOptions withPredictors(int most) const {
    TrainingOptions options = options_;
    options.jobs = 1;
    for (PointOptions& point : options.points) point.predictors = std::min(point.predictors, most);
    return options;
  }

  void timeUnits(ModelTraining& training, const std::vector<Unit>& units) {
    double last = 0.0;
    training.trainUnits(units, UnitsOwner::kOneProcess, [&](std::size_t done, std::size_t) {
      const double now = processorSeconds();
      if (done > 0) seconds_.push_back(now - last);
      last = now;
      return true;
    });
  }

  // What a unit takes for each predictor more, and a process for each.
  struct Growth {
    double seconds = 0.0, joining = 0.0, bytes = 0.0;
  };

  void extrapolate(const TrainingPlan& plan, const std::vector<Unit>& units, std::size_t stage) {
    const std::size_t first = static_cast<std::size_t>(
        std::find_if(units.begin(), units.end(),
                     [stage](const Unit& unit) { return unit.stage == stage; }) -
        units.begin());
    const Growth growth = growthAt(plan, units[first], seconds_[first]);
    const double frames = static_cast<double>(framesOf(plan, units[first]));
    for (std::size_t i = 0; i < units.size(); ++i) {
      if (units[i].stage != stage) continue;
      const int predictors = options_.points[units[i].point].predictors;
      const double more = predictors - few_.points[units[i].point].predictors;
      const double share = static_cast<double>(framesOf(plan, units[i])) / frames;
      const double seconds = seconds_[i] + growth.seconds * more * share;
      result_.all += seconds;
      result_.longest = std::max(result_.longest, seconds);
      result_.after += growth.joining * more;
      result_.own = std::max(result_.own, growth.bytes * predictors * share);
    }
  }

  Growth growthAt(TrainingPlan plan, const Unit& unit, double seconds_of_few) const {
    const int asked = options_.points[unit.point].predictors;
    const int few = few_.points[unit.point].predictors;
    const int some = std::max(asked / kShare, std::min(asked, few + 1));
    if (some <= few) return {};
    plan.points[unit.point].predictors = some;
    makeFolder(unitsFolder(folder_.path()));
    Growth growth;
    Tasks tasks;
    tasks.count = 2;  // the second one does nothing: with two, another process does the first
    tasks.run = [&](std::size_t task) {
      std::string measured;
      if (task > 0) return measured;
      const double bytes = residentBytes();
      const double start = processorSeconds();
      trainUnit(plan, unit, folder_.path());
      putBytes(measured, processorSeconds() - start);
      putBytes(measured, std::max(0.0, mostBytes() - bytes));
      return measured;
    };
    tasks.done = [&](std::size_t task, const std::string& result) {
      if (task > 0) return;
      std::string_view measured = result;
      growth.seconds = std::max(0.0, takeBytes<double>(measured) - seconds_of_few) / (some - few);
      growth.bytes = takeBytes<double>(measured) / some;
    };
    doTasks(tasks, 2);
    growth.joining = joiningOf(unitFile(folder_.path(), unit)) / some;
    return growth;
  }

  // A unit's part of joining.
  double joiningOf(const std::string& file) const {
    const double start = processorSeconds();
    const NewFile joined(folder_.path() + "/joined");
    const NewFile flat(folder_.path() + "/flat");
    joinBunches({file}, joined);
    const double joined_at = processorSeconds();
    writeFlat(joined.path(), joined.path(), flat);
    return (joined_at - start) + (processorSeconds() - joined_at) / kCoordinates;
  }

  static std::size_t framesOf(const TrainingPlan& plan, const Unit& unit) {
    const std::vector<Shape>& shapes = plan.materials[plan.stages[unit.stage].material].shapes;
    return static_cast<std::size_t>(
        std::count_if(shapes.begin(), shapes.end(),
                      [&](const Shape& shape) { return isSeen(shape[unit.point]); }));
  }

  static constexpr int kShare = 4;  // of the predictors

  const TrainingOptions& options_;
  TrainingOptions few_;
  ScratchFolder folder_;
  std::vector<double> seconds_;  // of each unit with few predictors
  Forecast result_;
};

}  // namespace

Forecast forecast(const std::vector<Example>& examples, const TrainingOptions& options) {
  const Request request = checked(examples, options);
  const std::vector<TrainingFrame> frames = complete(examples, namesOf(request.options));
  return Measuring(examples, frames, request).take();
}

}  // namespace remora
