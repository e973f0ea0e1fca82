// Rows 1 to 4: prediction.
#include <memory>
#include <vector>

#include "fast_lp.h"
#include "internal/kernels/kernels.h"
#include "material.h"
#include "rows.h"
#include "rounds.h"
#include "straightforward.h"

namespace remora::bench {
namespace {

constexpr int kRounds = 41;
constexpr int kFrames = 6;  // predictions a run
constexpr int kLineSize = 3 * kWidth + 64;

// The same shape, made once for every instruction set.
class Trackers {
 public:
  explicit Trackers(const Load& load) {
    const std::string name = pathTo("shape.flp");
    writeShape(name, load);
    start_ = std::make_unique<FastShapeTracker>(name.c_str());
    const internal::KernelChoices& choices = internal::kernelChoices();
    const internal::Kernels& widest = internal::kernels();
    for (int i = 0; i < choices.count; ++i) {
      internal::useKernels(*choices.sets[i]);
      trackers_.push_back(std::make_unique<FastShapeTracker>(name.c_str()));
    }
    internal::useKernels(widest);
  }

  FastShapeTracker& start() { return *start_; }
  std::size_t count() const { return trackers_.size(); }
  FastShapeTracker& with(std::size_t set) { return *trackers_[set]; }

  // Every point back where the file has it, some pixels to the side.
  void place(FastShapeTracker& tracker, double shift) {
    for (int i = 0; i < tracker.num_points; ++i) {
      const double* const from = start_->GetPos(i);
      tracker.SetPos(i, from[0] + shift, from[1] + shift);
    }
  }

 private:
  std::unique_ptr<FastShapeTracker> start_;
  std::vector<std::unique_ptr<FastShapeTracker>> trackers_;
};

// What one measurement compares: a step of the straightforward code with one of the library's.
using Step = std::function<void(FastShapeTracker&)>;

void compare(Rows& rows, const std::string& what, const Load& load, double shift,
             const Targets& targets, const Step& straight, const Step& step) {
  Trackers trackers(load);
  FastShapeTracker twin(pathTo("shape.flp").c_str());
  std::vector<Candidate> candidates;
  const auto add = [&](const std::string& name, FastShapeTracker& tracker, const Step& action) {
    candidates.push_back({name, [&trackers, &tracker, &action, shift] {
                            for (int i = 0; i < kFrames; ++i) {
                              trackers.place(tracker, shift);
                              action(tracker);
                            }
                          }});
  };
  add("straightforward", twin, straight);
  for (std::size_t i = 0; i < trackers.count(); ++i) {
    add(internal::kernelChoices().sets[i]->name, trackers.with(i), step);
  }
  rows.add(what, std::to_string(kPoints) + " points, " + load.name, inRounds(candidates, kRounds),
           targets);
}

}  // namespace

void measureRunTime(Rows& rows) {
  CImg<float> image = picture(1);
  std::vector<unsigned char> bytes(static_cast<std::size_t>(kLineSize) * kHeight);
  cimg_forXY(image, x, y) {
    bytes[static_cast<std::size_t>(3 * x + y * kLineSize)] = static_cast<unsigned char>(image(x, y));
  }
  const Step straight = [&](FastShapeTracker& t) { straightPredict(t, image); };
  for (const Load& load : {kMediumParts, kLargeParts}) {
    const bool medium = &load == &kMediumParts || load.entries == kMediumParts.entries;
    compare(rows, "1 `Predict(CImg<float>&)`", load, 0.0, {1.5, 3.0, medium ? 4.0 : 3.4}, straight,
            [&](FastShapeTracker& t) { t.Predict(image); });
    compare(rows, "2 two-argument `Predict`", load, 0.0, {1.7, 1.7, 1.7}, straight,
            [&](FastShapeTracker& t) { t.Predict(image, &t); });
    compare(rows, "2 `FastLP::Predict` alone", load, 0.0, {1.7, 1.7, 1.7}, straight,
            [&](FastShapeTracker& t) {
              for (int i = 0; i < t.num_points; ++i) t.all_flp[i]->Predict(image);
            });
    double map[9] = {1.02, -0.05, 0, 0.04, 0.98, 0, 0, 0, 1};
    compare(rows, "2 `FastLP::Predict` with H", load, 0.0, {1.4, 1.4, 1.4},
            [&](FastShapeTracker& t) { straightPredict(t, image, map); },
            [&](FastShapeTracker& t) {
              for (int i = 0; i < t.num_points; ++i) t.all_flp[i]->Predict(image, map);
            });
    for (const double shift : {0.0, -50.0}) {
      compare(rows, shift == 0.0 ? "3 8-bit `Predict`" : "3 8-bit `Predict`, points at the border",
              load, shift, {0.0, 2.5, 2.5},
              [&](FastShapeTracker& t) {
                straightPredict(t, bytes.data(), kLineSize, kWidth, kHeight);
              },
              [&](FastShapeTracker& t) { t.Predict(bytes.data(), kLineSize, kWidth, kHeight); });
    }
  }
}

}  // namespace remora::bench
