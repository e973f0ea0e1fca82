#include "follow/training/calibration.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>

#include "follow/base/bytes.h"
#include "follow/base/text.h"
#include "follow/base/workers.h"
#include "follow/tracking/attempt.h"
#include "follow/tracking/following.h"

namespace remora {
namespace {

constexpr std::size_t kMostExamples = 16;
constexpr std::size_t kBins = 12;
constexpr double kPriorHits = 0.5;  // of one imagined trial a bin: no share is 0 or 1 for sure

// Draws that are the same everywhere (D. E. Knuth's MMIX generator, the upper bits).
class Draws {
 public:
  explicit Draws(std::uint64_t seed) : state_(seed) {}
  // -1 ... 1
  double around() {
    state_ = state_ * kFactor + kSummand;
    return static_cast<double>(static_cast<std::int64_t>(state_) >> 20) / 8796093022208.0;
  }
  // Goes on as after this number of draws (F. B. Brown, "Random number generation with arbitrary
  // strides", 1994).
  void skip(std::uint64_t draws) {
    std::uint64_t factor = kFactor;
    std::uint64_t summand = kSummand;
    for (; draws > 0; draws >>= 1) {
      if ((draws & 1) != 0) state_ = state_ * factor + summand;
      summand *= factor + 1;
      factor *= factor;
    }
  }

 private:
  static constexpr std::uint64_t kFactor = 6364136223846793005ULL;
  static constexpr std::uint64_t kSummand = 1442695040888963407ULL;
  std::uint64_t state_;
};

// How hard a trial is.
struct Difficulty {
  double shift;  // of the start, sizes
  double turn;   // of the start, and its change of size
  double cover;  // side of the square that hides, sizes
  double light;  // change of gain
  double noise;  // grey levels
};

constexpr Difficulty kDifficulties[] = {{0.15, 0.05, 0.0, 0.1, 3.0},
                                        {0.25, 0.08, 1.0, 0.2, 2.0},
                                        {0.25, 0.08, 0.0, 0.4, 14.0},
                                        {0.20, 0.05, 1.6, 0.0, 4.0},
                                        {0.90, 0.20, 0.0, 0.0, 4.0}};

struct Sample {
  double score;
  bool close;
};

struct Samples {
  std::vector<Sample> followed, placed;
};

class Calibrating {
 public:
  // Trials draw one after the other, but a trial can be made without the earlier ones.
  Calibrating(const std::vector<const TrainingFrame*>& examples, const ModelDescription& model,
              Stages& stages)
      : examples_(examples), attempts_(model, stages), draws_(model.seed) {
    Draws draws(model.seed);
    for (std::size_t trial = 0; trial < count(); ++trial) {
      before_.push_back(draws);
      draws.skip(drawsOf(trial));
    }
  }

  std::size_t count() const { return examples_.size() * std::size(kDifficulties); }

  Samples make(std::size_t trial) {
    samples_ = {};
    draws_ = before_[trial];
    tryOn(exampleOf(trial), difficultyOf(trial));
    return std::move(samples_);
  }

 private:
  const TrainingFrame& exampleOf(std::size_t trial) const {
    return *examples_[trial / std::size(kDifficulties)];
  }
  static const Difficulty& difficultyOf(std::size_t trial) {
    return kDifficulties[trial % std::size(kDifficulties)];
  }

  std::uint64_t drawsOf(std::size_t trial) const {
    constexpr std::uint64_t kOfSquare = 4, kOfGain = 1, kOfPixel = 2, kOfStart = 4;
    const std::uint64_t pixels = static_cast<std::uint64_t>(exampleOf(trial).width()) *
                                 static_cast<std::uint64_t>(exampleOf(trial).height());
    const bool is_covered = difficultyOf(trial).cover > 0.0;
    return (is_covered ? kOfSquare : 0) + kOfGain + kOfPixel * pixels + kOfStart;
  }

  void tryOn(const TrainingFrame& example, const Difficulty& difficulty) {
    const GreyImage picture = disturbed(example, difficulty);
    const Shape start = displaced(example.shape, difficulty);
    const GreyView view{picture.pixels.data(), picture.width, picture.height, picture.width};
    const std::vector<double> all(start.size(), 1.0);
    note(attempts_.run(view, {start, all, {}, false}), example);
  }

  Shape displaced(const Shape& shape, const Difficulty& difficulty) {
    const double size = std::max(sizeOf(shape), kSmallest);
    const Point middle = middleOf(shape);
    const double grow = 1.0 + difficulty.turn * draws_.around();
    const double turn = difficulty.turn * draws_.around();
    const Point shift{difficulty.shift * size * draws_.around(),
                      difficulty.shift * size * draws_.around()};
    const Affine about{grow, -turn, 0.0, turn, grow, 0.0};
    Shape result;
    for (const Point& p : shape) result.push_back(about(p - middle) + middle + shift);
    return result;
  }

  GreyImage disturbed(const TrainingFrame& example, const Difficulty& difficulty) {
    const ExamplePicture plain(*example.example);
    GreyImage picture = *plain;
    if (difficulty.cover > 0.0) hide(example.shape, *plain, difficulty, picture);
    const double gain = 1.0 + difficulty.light * draws_.around();
    for (unsigned char& pixel : picture.pixels) {
      const double noise = difficulty.noise * (draws_.around() + draws_.around());
      const double level = gain * pixel + noise;
      pixel = static_cast<unsigned char>(std::clamp(level + 0.5, 0.0, 255.0));
    }
    return picture;
  }

  // Covers a square with what the picture shows elsewhere.
  void hide(const Shape& shape, const GreyImage& plain, const Difficulty& difficulty,
            GreyImage& picture) {
    const double size = std::max(sizeOf(shape), kSmallest);
    const Point middle = middleOf(shape);
    const int side = static_cast<int>(difficulty.cover * size) + 1;
    const int left = static_cast<int>(middle.x + size * draws_.around()) - side / 2;
    const int top = static_cast<int>(middle.y + size * draws_.around()) - side / 2;
    const int dx = static_cast<int>(3.0 * size * draws_.around());
    const int dy = static_cast<int>(3.0 * size * draws_.around());
    for (int y = std::max(top, 0); y < std::min(top + side, picture.height); ++y) {
      for (int x = std::max(left, 0); x < std::min(left + side, picture.width); ++x) {
        const int from_x = std::clamp(x + dx, 0, picture.width - 1);
        const int from_y = std::clamp(y + dy, 0, picture.height - 1);
        picture.pixels[index(picture, x, y)] = plain.pixels[index(picture, from_x, from_y)];
      }
    }
  }

  static std::size_t index(const GreyImage& picture, int x, int y) {
    return static_cast<std::size_t>(y) * static_cast<std::size_t>(picture.width) +
           static_cast<std::size_t>(x);
  }

  void note(const Outcome& outcome, const TrainingFrame& example) {
    const Shape& truth = example.shape;
    if (outcome.quality < kBelieved) return;  // the frame would be lost, and say so
    const double close = closeDistance(truth);
    for (std::size_t p = 0; p < truth.size(); ++p) {
      if (!example.isSeen(p)) continue;
      const bool stays = outcome.trust[p] >= kTrusted;
      const Point& place = stays ? outcome.places[p] : outcome.expected[p];
      const bool hit = squaredDistance(place, truth[p]) <= close * close;
      if (stays) samples_.followed.push_back({outcome.trust[p], hit});
      if (!stays) samples_.placed.push_back({outcome.quality, hit});
    }
  }

  static constexpr double kSmallest = 10.0;  // pixels
  const std::vector<const TrainingFrame*>& examples_;
  Attempts attempts_;
  std::vector<Draws> before_;  // each trial
  Draws draws_;
  Samples samples_;
};

void put(const std::vector<Sample>& samples, std::string& bytes) {
  putBytes(bytes, samples.size());
  for (const Sample& sample : samples) {
    putBytes(bytes, sample.score);
    putBytes(bytes, sample.close);
  }
}

void take(std::string_view& bytes, std::vector<Sample>& samples) {
  const auto count = takeBytes<std::size_t>(bytes);
  for (std::size_t i = 0; i < count; ++i) {
    const auto score = takeBytes<double>(bytes);
    samples.push_back({score, takeBytes<bool>(bytes)});
  }
}

Calibration risingCurve(std::vector<Sample> samples) {
  if (samples.empty()) return {{{0.0, 0.5}}};
  std::stable_sort(samples.begin(), samples.end(),
                   [](const Sample& a, const Sample& b) { return a.score < b.score; });
  struct Pool {
    double score, hits, count;
    double share() const { return hits / count; }
  };
  std::vector<Pool> pools;
  const std::size_t bins = std::min(kBins, samples.size());
  for (std::size_t b = 0; b < bins; ++b) {
    Pool pool{0.0, kPriorHits, 1.0};
    const std::size_t first = b * samples.size() / bins;
    const std::size_t last = (b + 1) * samples.size() / bins;
    for (std::size_t i = first; i < last; ++i) {
      pool.score += samples[i].score / static_cast<double>(last - first);
      pool.hits += samples[i].close ? 1.0 : 0.0;
      pool.count += 1.0;
    }
    pools.push_back(pool);
    while (pools.size() > 1 && (pools[pools.size() - 2].share() >= pools.back().share() ||
                                !(pools[pools.size() - 2].score < pools.back().score))) {
      const Pool upper = pools.back();
      pools.pop_back();
      Pool& lower = pools.back();
      const double count = lower.count + upper.count;
      lower.score = (lower.score * lower.count + upper.score * upper.count) / count;
      lower.hits += upper.hits;
      lower.count = count;
    }
  }
  Calibration curve;
  for (const Pool& pool : pools) curve.nodes.emplace_back(pool.score, pool.share());
  return curve;
}

}  // namespace

void calibrate(const std::vector<TrainingFrame>& examples, ModelDescription& model, Stages& stages,
               int jobs) {
  std::vector<const TrainingFrame*> tried;
  const std::size_t every = (examples.size() + kMostExamples - 1) / kMostExamples;
  for (std::size_t i = 0; i < examples.size(); i += every) tried.push_back(&examples[i]);
  Calibrating calibrating(tried, model, stages);
  std::vector<std::string> results(calibrating.count());
  Tasks tasks;
  tasks.count = results.size();
  tasks.run = [&](std::size_t trial) {
    const Samples samples = calibrating.make(trial);
    std::string bytes;
    put(samples.followed, bytes);
    put(samples.placed, bytes);
    return bytes;
  };
  tasks.done = [&](std::size_t trial, const std::string& result) { results[trial] = result; };
  tasks.name = [](std::size_t trial) { return format("trial %zu of the model", trial); };
  doTasks(tasks, jobs);
  Samples all;
  for (std::string_view result : results) {
    take(result, all.followed);
    take(result, all.placed);
  }
  model.following->tracked = risingCurve(std::move(all.followed));
  model.following->hidden = risingCurve(std::move(all.placed));
}

}  // namespace remora
