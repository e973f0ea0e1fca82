// Rows 5 to 7: a training generation.
#include "training_set.h"

#include <algorithm>
#include <cstdlib>
#include <string>

#include "internal/draws.h"
#include "internal/kernels/kernels.h"
#include "material.h"
#include "rows.h"
#include "straight.h"

namespace remora::bench {
namespace {

constexpr int kRounds = 9;
constexpr int kImages = 20;

// What a host does that calls the bunch's operations itself.
void trainByHand(TrainingSet& set, int predictors) {
  const std::unique_ptr<LP_Bunch> bunch = set.bunch(predictors);
  bunch->ZeroLP_BunchSPVals();
  bunch->ResetTrainData();
  for (int j = 0; j < set.count(); ++j) {
    bunch->AddLP_Bunch_SPVals(*set.images()[j], set.positions()[j][0], 1.0 / set.count());
  }
  for (int j = 0; j < set.count(); ++j) {
    float* const previous = set.positions()[std::max(j - 1, 0)][0];
    bunch->AddOneImgTrainData(*set.images()[j], previous, *set.images()[j], set.positions()[j][0]);
  }
  const std::unique_ptr<double[]> errors(bunch->TrainFromMultiImgs(0));
}

void compare(Rows& rows, const std::string& what, int predictors, const Targets& targets,
             void (*train)(TrainingSet& set, int predictors)) {
  TrainingSet set(kImages);
  std::vector<Candidate> candidates;
  candidates.push_back({"straightforward", [&] {
                          const std::unique_ptr<LP_Bunch> bunch = set.bunch(predictors);
                          straightGeneration(*bunch, set.images(), set.count(), set.positions(), 0,
                                             0);
                        }});
  const internal::KernelChoices& choices = internal::kernelChoices();
  for (int i = 0; i < choices.count; ++i) {
    candidates.push_back({choices.sets[i]->name, [&, i] {
                            internal::useKernels(*choices.sets[i]);
                            train(set, predictors);
                          }});
  }
  const std::string load =
      std::to_string(kImages) + " images, " + std::to_string(predictors) + " predictors";
  rows.add(what, load, inRounds(candidates, kRounds), targets);
  internal::useKernels(*choices.sets[choices.count - 1]);
}

// The numbers that every way of training a generation draws for its examples.
void compareWithDraws(Rows& rows, int predictors) {
  constexpr int kDrawsPerImage = 2 * 85;
  const int parts = predictors * kImages;
  TrainingSet set(kImages);
  const Candidate driver = {"", [&] { set.train(predictors); }};
  const Candidate draws = {"as the library draws", [=] {
                             for (int i = 0; i < parts; ++i) {
                               internal::Draws taken;
                               for (int k = 0; k < kDrawsPerImage; ++k) taken.next();
                             }
                           }};
  const Candidate calls = {"calls of `rand()`", [=] {
                             for (int i = 0; i < parts * kDrawsPerImage; ++i) std::rand();
                           }};
  rows.add("5 the generation against its draws alone",
           std::to_string(kImages) + " images, " + std::to_string(predictors) + " predictors",
           inRounds({driver, draws, calls}, kRounds), {0.0, 0.0});
}

// Time per predictor and image, relative to the first of some loads.
void compareGrowth(Rows& rows) {
  constexpr int kLoads[][2] = {{20, 20},  {5, 20},   {5, 300}, {10, 100},
                               {20, 100}, {20, 300}, {40, 100}};
  std::vector<std::unique_ptr<TrainingSet>> sets;
  std::vector<Candidate> candidates;
  for (const auto& load : kLoads) {
    sets.push_back(std::make_unique<TrainingSet>(load[0]));
    candidates.push_back(
        {"", [&set = *sets.back(), predictors = load[1]] { set.train(predictors); }});
  }
  const std::vector<Result> results = inRounds(candidates, kRounds);
  std::vector<double> times;
  for (std::size_t i = 0; i < results.size(); ++i) {
    times.push_back(results[i].seconds / (kLoads[i][0] * kLoads[i][1]));
  }
  const double most = *std::max_element(times.begin(), times.end());
  const double least = *std::min_element(times.begin(), times.end());
  for (std::size_t i = 0; i < results.size(); ++i) {
    char measured[64];
    std::snprintf(measured, sizeof measured, "%.2f us each", times[i] * 1e6);
    rows.add(
        "7 time per predictor and image",
        std::to_string(kLoads[i][0]) + " images, " + std::to_string(kLoads[i][1]) + " predictors",
        internal::kernels().name, measured, times[0] / times[i], 0.0);
  }
  rows.add("7 least time by most", "all of these", internal::kernels().name, "", least / most,
           1.0 / 1.3);
}

}  // namespace

void measureTraining(Rows& rows) {
  for (const int predictors : {20, 100}) {
    compare(rows, "5 generation by `InitMultiImgs`", predictors, {4.5, 7.5, 9.0},
            [](TrainingSet& set, int count) { set.train(count); });
  }
  compareWithDraws(rows, 100);
  for (const int predictors : {20, 100}) {
    compare(rows, "6 generation by the bunch's operations", predictors, {3.5, 3.5, 3.5},
            trainByHand);
  }
  compareGrowth(rows);
}

}  // namespace remora::bench
