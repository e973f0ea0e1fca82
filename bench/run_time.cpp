// Rows 1 to 4: prediction.
#include <memory>
#include <vector>

#include "fast_lp.h"
#include "internal/kernels/kernels.h"
#include "material.h"
#ifdef REMORA_LUCAS_KANADE
#include "lucas_kanade.h"
#endif
#include "rounds.h"
#include "rows.h"
#include "straight.h"

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
    twin_ = std::make_unique<FastShapeTracker>(name.c_str());
    const internal::KernelChoices& choices = internal::kernelChoices();
    const internal::Kernels& widest = internal::kernels();
    for (int i = 0; i < choices.count; ++i) {
      internal::useKernels(*choices.sets[i]);
      trackers_.push_back(std::make_unique<FastShapeTracker>(name.c_str()));
    }
    internal::useKernels(widest);
  }

  FastShapeTracker& twin() { return *twin_; }
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
  std::unique_ptr<FastShapeTracker> twin_;
  std::vector<std::unique_ptr<FastShapeTracker>> trackers_;
};

// One step of a tracker.
using Step = std::function<void(FastShapeTracker&)>;

void compare(Rows& rows, const std::string& what, const Load& load, double shift,
             const Targets& targets, const Step& straight, const Step& step) {
  Trackers trackers(load);
  std::vector<Candidate> candidates;
  const auto add = [&](const std::string& name, FastShapeTracker& tracker, const Step& action) {
    candidates.push_back({name, [&trackers, &tracker, &action, shift] {
                            for (int i = 0; i < kFrames; ++i) {
                              trackers.place(tracker, shift);
                              action(tracker);
                            }
                          }});
  };
  add("straightforward", trackers.twin(), straight);
  for (std::size_t i = 0; i < trackers.count(); ++i) {
    add(internal::kernelChoices().sets[i]->name, trackers.with(i), step);
  }
  std::vector<Result> results = inRounds(candidates, kRounds);
  for (Result& result : results) result.seconds /= kFrames;
  rows.add(what, std::to_string(kPoints) + " points, " + load.name, results, targets);
}

// The first bytes of 3-byte pixels, in rows with room behind them.
std::vector<unsigned char> bytesOf(const CImg<float>& image) {
  std::vector<unsigned char> bytes(static_cast<std::size_t>(kLineSize) * kHeight);
  cimg_forXY(image, x, y) {
    bytes[static_cast<std::size_t>(3 * x + y * kLineSize)] =
        static_cast<unsigned char>(image(x, y));
  }
  return bytes;
}

void compareFloat(Rows& rows, const Load& load, CImg<float>& image, const Targets& targets) {
  const Step straight = [&](FastShapeTracker& t) { straightPredict(t, image); };
  const Targets twice{1.7, 1.7, 1.7};
  compare(rows, "1 `Predict(CImg<float>&)`", load, 0.0, targets, straight,
          [&](FastShapeTracker& t) { t.Predict(image); });
  compare(rows, "2 two-argument `Predict`", load, 0.0, twice, straight,
          [&](FastShapeTracker& t) { t.Predict(image, &t); });
  compare(rows, "2 `FastLP::Predict` alone", load, 0.0, twice, straight, [&](FastShapeTracker& t) {
    for (int i = 0; i < t.num_points; ++i) t.all_flp[i]->Predict(image);
  });
  double map[] = {1.02, -0.05, 0, 0.04, 0.98, 0, 0, 0, 1};
  compare(
      rows, "2 `FastLP::Predict` with H", load, 0.0, {1.4, 1.4, 1.4},
      [&](FastShapeTracker& t) { straightPredict(t, image, map); },
      [&](FastShapeTracker& t) {
        for (int i = 0; i < t.num_points; ++i) t.all_flp[i]->Predict(image, map);
      });
}

void compareBytes(Rows& rows, const Load& load, std::vector<unsigned char>& bytes) {
  constexpr double kToTheBorder = -50.0;
  for (const double shift : {0.0, kToTheBorder}) {
    compare(
        rows, shift == 0.0 ? "3 8-bit `Predict`" : "3 8-bit `Predict`, points at the border", load,
        shift, {0.0, 2.5, 2.5},
        [&](FastShapeTracker& t) { straightPredict(t, bytes.data(), kLineSize, kWidth, kHeight); },
        [&](FastShapeTracker& t) { t.Predict(bytes.data(), kLineSize, kWidth, kHeight); });
  }
}

#ifdef REMORA_LUCAS_KANADE
void compareWithLucasKanade(Rows& rows, const Load& load, CImg<float>& image, double target) {
  CImg<float> next(kWidth, kHeight);
  cimg_forXY(next, x, y) next(x, y) = image((x + kWidth - 1) % kWidth, (y + kHeight - 2) % kHeight);
  const CImg<unsigned char> image_bytes(image);
  const CImg<unsigned char> next_bytes(next);
  Shape points;
  writeShape(pathTo("peer.flp"), load);
  FastShapeTracker shape(pathTo("peer.flp").c_str());
  for (int i = 0; i < shape.num_points; ++i) {
    points.push_back({shape.GetPos(i)[0], shape.GetPos(i)[1]});
  }
  LucasKanade peer({image_bytes.data(), kWidth, kHeight}, points, 2);
  compare(
      rows, "4 against pyramidal Lucas-Kanade", load, 0.0, {0.0, target, target},
      [&](FastShapeTracker&) {
        peer.track({next_bytes.data(), kWidth, kHeight});
      },
      [&](FastShapeTracker& t) { t.Predict(next); });
}
#endif

}  // namespace

void measureRunTime(Rows& rows) {
  CImg<float> image = picture(1);
  std::vector<unsigned char> bytes = bytesOf(image);
  compareFloat(rows, kMediumParts, image, {1.5, 3.0, 4.0});
  compareFloat(rows, kLargeParts, image, {1.5, 3.0, 3.4});
  compareBytes(rows, kMediumParts, bytes);
  compareBytes(rows, kLargeParts, bytes);
#ifdef REMORA_LUCAS_KANADE
  compareWithLucasKanade(rows, kMediumParts, image, 5.0);
  compareWithLucasKanade(rows, kLargeParts, image, 2.0);
#endif
}

}  // namespace remora::bench
