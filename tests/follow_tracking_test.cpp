// Tracking and training of remora::follow: decisions without pictures, and whole runs on the
// rendered scene.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <functional>
#include <thread>

#include "allocations.h"
#include "follow/annotation/annotations.h"
#include "follow/error.h"
#include "follow/model/model.h"
#include "follow/tracking/following.h"
#include "follow/tracking/tracker.h"
#include "follow/training/suspicions.h"
#include "follow/training/training.h"
#include "scene/scene.h"

namespace {

using namespace remora;
using remora::tools::Scene;
using remora::tools::SceneFrame;
using remora::tools::SceneVariant;

// ---------------------------------------------------------------------------------- decisions

const Shape kPlaces = {{10, 10}, {50, 12}, {30, 40}};

Outcome outcomeOf(const Shape& places, std::vector<double> trust) {
  Outcome outcome;
  outcome.places = places;
  outcome.expected = Shape(places.size(), Point{7, 7});
  outcome.trust = std::move(trust);
  outcome.quality = 0.0;
  for (const double t : outcome.trust) outcome.quality += t / static_cast<double>(places.size());
  return outcome;
}

// Answers as a test says, and notes what was asked.
struct FakeTrials : Trials {
  std::function<Outcome(const Start&)> answer = [](const Start& s) {
    return outcomeOf(s.places, {1, 1, 1});
  };
  Outcome nearby, everywhere;
  int starts = 0, near_searches = 0, wide_searches = 0;
  int most = 0;  // starts; 0: no limit

  void from(const Start& start, Outcome& outcome) override {
    ++starts;
    outcome = answer(start);
  }
  void near(const Start&, double, Outcome& outcome) override {
    ++near_searches;
    outcome = nearby;
  }
  void anywhere(Outcome& outcome) override {
    ++wide_searches;
    outcome = everywhere;
  }
  bool isLimited() const override { return most > 0; }
  bool isOver() const override { return isLimited() && starts >= most; }
};

FrameOutcome nextOf(Following& following, Trials& trials) {
  FrameOutcome frame;
  following.next(trials, 3, frame);
  return frame;
}

TEST(Following, asksNoSecondOpinionOfAGoodOutcome) {
  Following following;
  following.start(kPlaces);
  FakeTrials trials;
  const FrameOutcome frame = nextOf(following, trials);
  EXPECT_EQ(trials.starts, 1);
  EXPECT_EQ(trials.near_searches + trials.wide_searches, 0);
  EXPECT_EQ(frame.points, std::vector<PointOutcome>(3, PointOutcome::kFollowed));
}

TEST(Following, takesTheShapesWordForPointsThatAreNotTrusted) {
  Following following;
  following.start(kPlaces);
  FakeTrials trials;
  trials.answer = [](const Start& s) { return outcomeOf(s.places, {1.0, 0.1, 1.0}); };
  const FrameOutcome frame = nextOf(following, trials);
  EXPECT_EQ(frame.points[1], PointOutcome::kPlacedByShape);
  EXPECT_EQ(frame.places[1].x, 7.0);
  EXPECT_EQ(frame.places[0].x, kPlaces[0].x);
}

TEST(Following, startsFromTheMotionWhereStandingStillFails) {
  Following following;
  following.start(kPlaces);
  FakeTrials trials;
  Shape target;
  for (const Point& p : kPlaces) target.push_back(p + Point{20, 0});
  trials.answer = [&target](const Start&) { return outcomeOf(target, {1, 1, 1}); };
  nextOf(following, trials);
  // Only what starts where the motion leads succeeds now.
  trials.answer = [](const Start& s) {
    const bool ahead = std::abs(s.places[0].x - 50.0) < 1e-6;
    return outcomeOf(s.places, ahead ? std::vector<double>{1, 1, 1} : std::vector<double>{0, 0, 0});
  };
  const FrameOutcome frame = nextOf(following, trials);
  EXPECT_EQ(frame.points[0], PointOutcome::kFollowed);
  EXPECT_NEAR(frame.places[0].x, 50.0, 1e-6);
  EXPECT_EQ(trials.near_searches, 0);
}

TEST(Following, losesSearchesAndFindsAgain) {
  Following following;
  following.start(kPlaces);
  FakeTrials trials;
  trials.answer = [](const Start& s) { return outcomeOf(s.places, {0.1, 0.0, 0.2}); };
  for (int i = 0; i < 4; ++i) {
    const FrameOutcome frame = nextOf(following, trials);
    EXPECT_EQ(frame.points[0], PointOutcome::kLost);
    EXPECT_EQ(frame.places[2].x, kPlaces[2].x);  // where it was last
  }
  EXPECT_EQ(trials.near_searches, 4);
  EXPECT_EQ(trials.wide_searches, 1);
  trials.nearby = outcomeOf({{90, 90}, {91, 90}, {92, 99}}, {0.4, 0.5, 0.4});
  EXPECT_EQ(nextOf(following, trials).points[0], PointOutcome::kLost);  // a loss ends with more
  trials.nearby = outcomeOf({{90, 90}, {91, 90}, {92, 99}}, {0.9, 0.9, 0.4});
  EXPECT_EQ(nextOf(following, trials).places[0].x, 90.0);
}

TEST(Following, believesWhatItFoundAnywhereOnceTheNextFrameAgrees) {
  Following following;
  FakeTrials trials;
  EXPECT_EQ(nextOf(following, trials).points[0], PointOutcome::kLost);
  trials.everywhere = outcomeOf(kPlaces, {0.7, 0.7, 0.7});
  EXPECT_EQ(nextOf(following, trials).points[0], PointOutcome::kLost);
  EXPECT_EQ(nextOf(following, trials).points[0], PointOutcome::kFollowed);

  following.forget();
  EXPECT_EQ(nextOf(following, trials).points[0], PointOutcome::kLost);
  trials.answer = [](const Start& s) { return outcomeOf(s.places, {0.2, 0.2, 0.2}); };
  EXPECT_EQ(nextOf(following, trials).points[0], PointOutcome::kLost);
  EXPECT_FALSE(following.started());
}

TEST(Following, triesThreeStartsAtMostAndSearchesWithinTheWorkOfAFrame) {
  Following following;
  following.start(kPlaces);
  FakeTrials trials;
  trials.most = 3;
  nextOf(following, trials);
  nextOf(following, trials);  // moves now
  trials.starts = 0;
  trials.answer = [](const Start& s) { return outcomeOf(s.places, {0.1, 0.0, 0.2}); };
  nextOf(following, trials);
  EXPECT_EQ(trials.starts, 3);
  EXPECT_EQ(trials.near_searches, 0);
  trials.most = 8;
  for (int frame = 0; frame < 6; ++frame) {
    trials.starts = 0;
    nextOf(following, trials);
    EXPECT_LE(trials.starts, 3);
  }
  EXPECT_EQ(trials.near_searches, 6);
  EXPECT_EQ(trials.wide_searches, 4);  // a part in every frame, after some patience
}

// --------------------------------------------------------------------------------- whole runs

Example exampleOf(const Scene& scene, int frame) {
  SceneFrame rendered = scene.render(frame);
  return {"frame " + std::to_string(frame),
          {rendered.width, rendered.height, std::move(rendered.grey)},
          rendered.points};
}

std::string folder(const std::string& name) {
  return testing::TempDir() + "follow-" + std::to_string(getpid()) + "-" + name;
}

// A small model of the plain scene, trained once.
const std::string& sceneModel() {
  static const std::string path = [] {
    const Scene scene(1);
    std::vector<Example> examples;
    for (int frame = 0; frame < 120; frame += 12) examples.push_back(exampleOf(scene, frame));
    TrainingOptions options;
    options.predictors = 25;
    for (const std::string& name : Scene::pointNames()) options.points.push_back({name});
    train(examples, options, folder("scene"));
    return folder("scene");
  }();
  return path;
}

struct Score {
  double mean = 0.0;  // px, of visible points
  int lost = 0;       // visible points more than 5 px off
  int hidden = 0, marked = 0;
  int visible = 0, false_marks = 0;
};

Score follow(Tracker tracker, const Scene& scene, int first, int last, int step) {
  tracker.start(scene.truth(first).points);
  Score score;
  for (int frame = first + step; frame <= last; frame += step) {
    const SceneFrame rendered = scene.render(frame);
    const TrackedShape shape = tracker.next(
        {rendered.grey.data(), rendered.width, rendered.height, 0, 1, Image::Depth::kByte});
    for (std::size_t p = 0; p < shape.size(); ++p) {
      const bool marked = shape[p].status != Status::kTracked;
      if (rendered.hidden[p]) {
        ++score.hidden;
        score.marked += marked ? 1 : 0;
        continue;
      }
      const double error = std::sqrt(squaredDistance({shape[p].x, shape[p].y}, rendered.points[p]));
      ++score.visible;
      score.mean += error;
      score.lost += error > 5.0 ? 1 : 0;
      score.false_marks += marked ? 1 : 0;
    }
  }
  score.mean /= score.visible;
  return score;
}

TEST(Tracking, holdsOnWhereTrainingHasNotBeen) {
  const Tracker tracker((Model(sceneModel())));
  struct Row {
    SceneVariant variant;
    double mean;
    int first, last, step;
  };
  for (const Row& row :
       {Row{SceneVariant::kTurn, 0.3, 150, 180, 2}, Row{SceneVariant::kZoom, 0.4, 160, 190, 3},
        Row{SceneVariant::kLight, 0.4, 150, 190, 4}, Row{SceneVariant::kNoise, 0.8, 200, 239, 4}}) {
    const Score score = follow(tracker, Scene(1, row.variant), row.first, row.last, row.step);
    const int variant = static_cast<int>(row.variant);
    EXPECT_LT(score.mean, row.mean) << variant;
    EXPECT_LE(score.lost, score.visible / 50) << variant;
  }
}

TEST(Tracking, marksWhatIsHiddenAndLittleElse) {
  const Tracker tracker((Model(sceneModel())));
  const Score score = follow(tracker, Scene(1, SceneVariant::kHide), 124, 180, 2);
  ASSERT_GT(score.hidden, 40);
  EXPECT_GE(score.marked, 9 * score.hidden / 10);
  EXPECT_LE(score.false_marks, score.visible / 12);
  EXPECT_LT(score.mean, 0.8);
}

TEST(Tracking, findsTheShapeAndNothingWhereThereIsNone) {
  const Model model(sceneModel());
  const SceneFrame rendered = Scene(1, SceneVariant::kTurn).render(150);
  const Image picture{rendered.grey.data(), rendered.width, rendered.height, 0, 1,
                      Image::Depth::kByte};
  Tracker tracker(model);
  tracker.find(picture);
  const TrackedShape found = tracker.next(picture);
  for (std::size_t p = 0; p < found.size(); ++p) {
    EXPECT_EQ(found[p].status, Status::kTracked);
    EXPECT_LT(squaredDistance({found[p].x, found[p].y}, rendered.points[p]), 4.0);
  }
  for (const int grey : {0, 130}) {
    const std::vector<unsigned char> blank(320 * 240, static_cast<unsigned char>(grey));
    const Image nothing{blank.data(), 320, 240, 0, 1, Image::Depth::kByte};
    EXPECT_EQ(Tracker(model).find(nothing)[0].status, Status::kLost);
    EXPECT_EQ(tracker.next(nothing)[0].status, Status::kLost);
  }
  EXPECT_EQ(tracker.next(picture)[0].status, Status::kTracked);  // and finds it again
}

// A sweep of the whole picture ends after some frames, the same ones every time; a copy of the
// tracker goes on with it. The first frame is searched at once.
TEST(Tracking, spreadsTheSearchOverFrames) {
  const Model model(sceneModel());
  const SceneFrame rendered = Scene(1).render(130);
  const Image picture{rendered.grey.data(), rendered.width, rendered.height, 0, 1,
                      Image::Depth::kByte};
  EXPECT_NE(Tracker(model).next(picture)[0].status, Status::kLost);
  const std::vector<unsigned char> blank(rendered.grey.size(), 130);
  const auto framesUntilFound = [&](Tracker tracker, bool copied) {
    tracker.next({blank.data(), picture.width, picture.height, 0, 1, Image::Depth::kByte});
    for (int frame = 0; frame < 200; ++frame) {
      const TrackedShape shape = tracker.next(picture);
      if (shape[0].status != Status::kLost) {
        EXPECT_LT(squaredDistance({shape[3].x, shape[3].y}, rendered.points[3]), 4.0);
        return frame;
      }
      if (copied) tracker = Tracker(tracker);
    }
    return -1;
  };
  const int frames = framesUntilFound(Tracker(model), false);
  EXPECT_GT(frames, 2);
  EXPECT_EQ(framesUntilFound(Tracker(model), true), frames);
  const int fewer = framesUntilFound(Tracker(model, {40}), false);
  EXPECT_GT(fewer, -1);
  EXPECT_LT(fewer, frames);
  EXPECT_LE(framesUntilFound(Tracker(model, {0}), false), 1);
  EXPECT_THROW(Tracker(model, {1}), Error);
}

TEST(Tracking, allocatesNothingAfterTheFirstFrame) {
  const Scene scene(1, SceneVariant::kTurn);
  Tracker tracker((Model(sceneModel())));
  tracker.start(scene.truth(120).points);
  std::vector<SceneFrame> frames;
  for (int frame = 121; frame < 128; ++frame) frames.push_back(scene.render(frame));
  TrackedShape shape;
  std::size_t before = 0;
  for (const SceneFrame& f : frames) {
    tracker.next({f.grey.data(), f.width, f.height, 0, 1, Image::Depth::kByte}, shape);
    if (&f == frames.data()) before = allocations();
    EXPECT_NE(shape[0].status, Status::kLost);
  }
  EXPECT_EQ(allocations(), before);
}

TEST(Tracking, ofCopiesSideBySideIsThatOfOneAlone) {
  const Scene scene(1, SceneVariant::kTurn);
  const Tracker tracker((Model(sceneModel())));
  const auto places = [&](Tracker own) {
    own.start(scene.truth(120).points);
    std::vector<double> all;
    for (int frame = 121; frame < 132; ++frame) {
      const SceneFrame f = scene.render(frame);
      for (const TrackedPoint& p :
           own.next({f.grey.data(), f.width, f.height, 0, 1, Image::Depth::kByte})) {
        all.push_back(p.x);
        all.push_back(p.y);
        all.push_back(p.confidence);
      }
    }
    return all;
  };
  const std::vector<double> alone = places(tracker);
  std::vector<double> beside[2];
  std::thread first([&] { beside[0] = places(tracker); });
  std::thread second([&] { beside[1] = places(tracker); });
  first.join();
  second.join();
  EXPECT_EQ(beside[0], alone);
  EXPECT_EQ(beside[1], alone);
}

// What is drawn of a frame is drawn over the last one: nothing of that may be looked at.
TEST(Tracking, doesNotSeeEarlierPictures) {
  const Scene scene(1, SceneVariant::kTurn);
  const Tracker fresh((Model(sceneModel())));
  Tracker used = fresh;
  const std::vector<unsigned char> white(320 * 240, 255);
  for (int frame = 121; frame < 161; ++frame) {
    const SceneFrame f = scene.render(frame);
    Shape start = f.points;
    for (Point& point : start) point = point + Point{12.0, -9.0};
    Tracker other = fresh;
    used.find({white.data(), 320, 240, 0, 1, Image::Depth::kByte});
    used.start(f.points);
    used.next({white.data(), 320, 240, 0, 1, Image::Depth::kByte});
    for (Tracker* const tracker : {&used, &other}) tracker->start(start);
    const Image picture{f.grey.data(), f.width, f.height, 0, 1, Image::Depth::kByte};
    const TrackedShape places = used.next(picture);
    const TrackedShape wanted = other.next(picture);
    for (std::size_t p = 0; p < places.size(); ++p) {
      EXPECT_EQ(places[p].x, wanted[p].x) << frame << ' ' << p;
      EXPECT_EQ(places[p].y, wanted[p].y) << frame << ' ' << p;
      EXPECT_EQ(places[p].confidence, wanted[p].confidence) << frame << ' ' << p;
    }
  }
}

TEST(Tracking, survivesOddPicturesAndRefusesWhatCannotBe) {
  const Model model(sceneModel());
  Tracker tracker(model);
  tracker.start(Scene(1).truth(0).points);
  const std::vector<unsigned char> pixels(64, 7);
  for (const auto& [width, height] : {std::pair(1, 1), {8, 8}, {64, 1}, {1, 64}}) {
    const TrackedShape shape =
        tracker.next({pixels.data(), width, height, 0, 1, Image::Depth::kByte});
    EXPECT_EQ(shape[0].status, Status::kLost);
    EXPECT_TRUE(std::isfinite(shape[0].x));
  }
  EXPECT_THROW(tracker.next({}), Error);
  EXPECT_THROW(tracker.start({{1, 2}}), Error);
  EXPECT_THROW(tracker.start(Shape(10, Point{std::nan(""), 0})), Error);
  EXPECT_THROW(tracker.correct(10, 0, 0), Error);
  EXPECT_THROW(Tracker(model).correct(0, 1, 1), Error);
  tracker.start(Shape(10, Point{1e300, -1e300}));
  EXPECT_EQ(tracker.next({pixels.data(), 8, 8, 0, 1, Image::Depth::kByte})[0].status,
            Status::kLost);
}

// A plain model of the scene.
std::string plainModel() {
  TrainingOptions options;
  options.plain = true;
  options.scale = 0.8;
  options.radii = {20.0F, 8.0F};
  options.generations = 1;
  options.predictors = 30;
  std::vector<Example> examples;
  for (int frame = 0; frame < 60; frame += 12) examples.push_back(exampleOf(Scene(1), frame));
  train(examples, options, folder("plain"));
  return folder("plain");
}

TEST(Tracking, runsPlainModelsWithoutConfidence) {
  const Model model(plainModel());
  EXPECT_TRUE(model.isPlain());
  const Scene scene(1);
  Tracker tracker(model);
  const Example first = exampleOf(scene, 0);
  EXPECT_THROW(tracker.find(first.image.view()), Error);
  const TrackedShape started = Tracker(tracker).next(first.image.view());
  for (std::size_t p = 0; p < started.size(); ++p) {
    EXPECT_LT(squaredDistance({started[p].x, started[p].y}, first.shape[p]), 25.0);
  }
  const std::vector<unsigned char> small(64, 7);
  EXPECT_THROW(Tracker(tracker).next({small.data(), 8, 8}), Error);
  tracker.start(first.shape);
  double sum = 0.0;
  for (int frame = 1; frame < 8; ++frame) {
    const Example next = exampleOf(scene, frame);
    const TrackedShape shape = tracker.next(next.image.view());
    for (std::size_t p = 0; p < shape.size(); ++p) {
      sum += std::sqrt(squaredDistance({shape[p].x, shape[p].y}, next.shape[p]));
      EXPECT_TRUE(std::isnan(shape[p].confidence));
    }
  }
  EXPECT_LT(sum / (7.0 * 10.0), 1.5);
}

// ----------------------------------------------------------------------------------- training

std::string contentsOf(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

std::vector<Example> fewExamples(std::size_t points) {
  std::vector<Example> examples;
  for (const int frame : {0, 20, 40}) {
    examples.push_back(exampleOf(Scene(2), frame));
    examples.back().shape.resize(points);
  }
  return examples;
}

TrainingOptions quick() {
  TrainingOptions options;
  options.predictors = 12;
  options.radii = {45.0F, 15.0F};
  options.steps = {2, 2};
  return options;
}

// The files of two model folders are the same.
void expectSameFiles(const std::string& one, const std::string& other, std::size_t count) {
  std::size_t files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(one)) {
    const std::string name = entry.path().filename();
    EXPECT_EQ(contentsOf(entry.path()), contentsOf(other + "/" + name)) << name;
    ++files;
  }
  EXPECT_EQ(files, count);
}

TEST(Training, givesTheSameBytesAndGoesOnWhereItWasStopped) {
  const std::vector<Example> examples = fewExamples(4);
  constexpr std::size_t kFiles = 9;  // two stages of three files, model, canvas and looks
  train(examples, quick(), folder("a"));
  train(examples, quick(), folder("b"));
  expectSameFiles(folder("a"), folder("b"), kFiles);
  EXPECT_TRUE(train(examples, quick(), folder("b")).was_there);

  TrainingOptions other = quick();
  other.seed = 2;
  EXPECT_THROW(train(examples, other, folder("b")), HoldsOtherModel);
  other.force = true;
  const auto stopAtFive = [](std::size_t done, std::size_t) { return done < 5; };
  EXPECT_THROW(train(examples, other, folder("b"), stopAtFive), Error);
  EXPECT_EQ(Model(folder("b")).pointNames(), (std::vector<std::string>{"0", "1", "2", "3"}));
  std::filesystem::remove_all(folder("b") + "/units/stage1.x.point0.lpb");
  EXPECT_EQ(contentsOf(folder("a") + "/model.json"), contentsOf(folder("b") + "/model.json"));

  std::size_t told = 5;
  train(examples, other, folder("b"), [&told](std::size_t done, std::size_t total) {
    EXPECT_EQ(total, 16U);
    EXPECT_EQ(done, told++);
    return true;
  });
  EXPECT_EQ(told, 17U);
  train(examples, other, folder("c"));
  expectSameFiles(folder("c"), folder("b"), kFiles);
}

TEST(Training, onPicturesThatWaitInAFileGivesTheSameBytes) {
  std::vector<Example> examples = fewExamples(4);
  TrainingOptions options = quick();
  train(examples, options, folder("in-memory"));
  {
    ExampleStore store(2 * examples[0].image.pixels.size());
    for (Example& example : examples) store.keep(example);
  }
  EXPECT_FALSE(examples[1].load);
  EXPECT_TRUE(examples[2].image.pixels.empty());
  options.jobs = 2;
  train(examples, options, folder("in-file"));
  expectSameFiles(folder("in-memory"), folder("in-file"), 9);
  EXPECT_TRUE(train(examples, options, folder("in-memory")).was_there);
}

TEST(Training, followsOneAndTwoPoints) {
  for (const std::size_t points : {1U, 2U}) {
    const std::string path = folder("few" + std::to_string(points));
    std::vector<Example> examples = fewExamples(points);
    train(examples, quick(), path);
    Tracker tracker((Model(path)));
    tracker.start(examples[0].shape);
    for (int frame = 1; frame < 12; ++frame) {
      const Example next = exampleOf(Scene(2), frame);
      const TrackedShape shape = tracker.next(next.image.view());
      for (std::size_t p = 0; p < points; ++p) {
        EXPECT_LT(squaredDistance({shape[p].x, shape[p].y}, next.shape[p]), 2.25) << frame;
      }
    }
  }
}

TEST(Training, namesTheAnnotationThatAllOthersSpeakAgainst) {
  std::vector<Example> examples;
  for (int frame = 0; frame < 120; frame += 12) examples.push_back(exampleOf(Scene(1), frame));
  TrainingOptions options;
  options.predictors = 25;
  options.force = true;
  const TrainingResult right = train(examples, options, folder("review"));
  EXPECT_TRUE(right.review.disagreements.empty());
  ASSERT_EQ(right.review.residuals.size(), 10U);
  for (const double residual : right.review.residuals) EXPECT_LT(residual, 0.5);

  examples[4].shape[3] = examples[4].shape[3] + Point{-5.0, 6.2};
  const TrainingResult wrong = train(examples, options, folder("review"));
  ASSERT_EQ(wrong.review.disagreements.size(), 1U);
  EXPECT_EQ(wrong.review.disagreements[0].frame, examples[4].name);
  EXPECT_EQ(wrong.review.disagreements[0].point, 3U);
  EXPECT_NEAR(wrong.review.disagreements[0].distance, 8.0, 1.5);
}

std::vector<FrameReading> readingsOf(const std::vector<Point>& offsets) {
  std::vector<FrameReading> readings;
  for (const Point& offset : offsets) {
    readings.push_back({"f" + std::to_string(readings.size()), offset, 0.2});
  }
  return readings;
}

TEST(Review, namesFramesThatCountFromOne) {
  const std::vector<std::string> found = sharedFaults(
      readingsOf({{0.3, 0.4}, {-0.4, -0.3}, {0.5, 0.4}, {-0.3, -0.5}, {0.2, 0.3}, {-0.45, -0.4}}));
  ASSERT_EQ(found.size(), 1U);
  EXPECT_NE(found[0].find("3 of 6 frames, from f1 to f5,"), std::string::npos) << found[0];
  EXPECT_NE(found[0].find("counted from 1"), std::string::npos);
  // Scatter, a shift along one axis, one frame alone, more than a pixel.
  for (const auto& offsets : {std::vector<Point>{{0.3, 0.3}, {0.1, 0.2}, {-0.2, 0.0}, {-0.3, -0.4}},
                              {{0.5, 0.0}, {0.4, 0.1}, {-0.5, 0.0}, {-0.4, 0.0}},
                              {{0.1, 0.1}, {0.0, 0.1}, {0.0, 0.0}, {-1.0, -1.0}},
                              {{1.5, 1.5}, {1.4, 1.5}, {-1.5, -1.4}, {-1.4, -1.5}}}) {
    EXPECT_TRUE(sharedFaults(readingsOf(offsets)).empty());
  }
}

TEST(Review, namesPositionsOfOtherFrames) {
  std::vector<FrameReading> readings = readingsOf(std::vector<Point>(12));
  for (FrameReading& reading : readings) reading.before = reading.after = 3.0;
  EXPECT_TRUE(sharedFaults(readings).empty());
  for (std::size_t i = 4; i < 9; ++i) readings[i].distance = 4.0;  // off, but not the neighbour's
  EXPECT_TRUE(sharedFaults(readings).empty());
  for (std::size_t i = 4; i < 9; ++i) readings[i].after = 1.0;
  readings[6].after = FrameReading::kUnknown;
  const std::vector<std::string> found = sharedFaults(readings);
  ASSERT_EQ(found.size(), 1U);
  EXPECT_NE(found[0].find("f4 to f8"), std::string::npos) << found[0];
  EXPECT_NE(found[0].find("behind"), std::string::npos) << found[0];
}

TEST(Review, namesWhatIsTooLittleToLearnFrom) {
  const auto warnings = [](const std::vector<Example>& examples, TrainingOptions options) {
    options.predictors = 10;
    options.force = true;
    std::string all;
    const Review said = train(examples, options, folder("poor")).review;
    for (const std::string& line : said.warnings) all += line + '\n';
    EXPECT_EQ(Model(folder("poor")).review().warnings, said.warnings);
    return all;
  };
  std::vector<Example> examples;
  for (int frame = 0; frame < 120; frame += 12) examples.push_back(exampleOf(Scene(1), frame));
  EXPECT_EQ(warnings(examples, {}), "");
  TrainingOptions wide;
  wide.radii = {400.0F, 11.0F};
  wide.steps = {1, 1};
  wide.scale = 1.0;
  EXPECT_NE(warnings(examples, wide).find("radius 400"), std::string::npos);
  const std::vector<Example> same(3, examples[0]);
  const std::string said = warnings(same, {});
  EXPECT_NE(said.find("3 training frames are few"), std::string::npos) << said;
  EXPECT_NE(said.find("alike"), std::string::npos) << said;
  examples[3].shape[2] = examples[4].shape[2] = {0.0, 0.0};
  const std::string at_zero = warnings(examples, {});
  EXPECT_NE(at_zero.find("at exactly 0, 0 in 2 of 10 frames, first in frame 36"), at_zero.npos)
      << at_zero;
}

TEST(Training, usesFramesForThePointsTheyShow) {
  // A third of the positions is missing; the point that most frames lack is in two of them.
  std::vector<Example> examples;
  for (int frame = 0; frame < 100; frame += 10) examples.push_back(exampleOf(Scene(1), frame));
  for (std::size_t i = 0; i < examples.size(); ++i) {
    for (std::size_t p = 0; p < 10; ++p) {
      if ((i + p) % 3 == 0 || (p == 5 && i > 2)) examples[i].shape[p] = unseen();
    }
  }
  TrainingOptions options;
  options.predictors = 25;
  train(examples, options, folder("sparse"));
  const Score score = follow(Tracker(Model(folder("sparse"))), Scene(1), 0, 60, 4);
  EXPECT_EQ(score.lost, 0);
  EXPECT_LT(score.mean, 0.5);

  options.plain = true;
  train(examples, options, folder("sparse-plain"));
  Tracker plain(Model(folder("sparse-plain")));
  plain.start(Scene(1).truth(0).points);
  const Example next = exampleOf(Scene(1), 1);
  const TrackedShape shape = plain.next(next.image.view());
  int close = 0;
  for (std::size_t p = 0; p < 10; ++p) {
    if (squaredDistance({shape[p].x, shape[p].y}, next.shape[p]) < 4.0) ++close;
  }
  EXPECT_GE(close, 8);
}

TEST(Training, refusesWhatCannotBeTrained) {
  const auto refusal =
      [](const std::function<void(std::vector<Example>&, TrainingOptions&)>& spoil) {
        std::vector<Example> examples = fewExamples(4);
        TrainingOptions options = quick();
        spoil(examples, options);
        try {
          train(examples, options, folder("never"));
        } catch (const Error& error) {
          return std::string(error.what());
        }
        return std::string();
      };
  using Examples = std::vector<Example>;
  using Options = TrainingOptions;
  EXPECT_NE(refusal([](Examples& e, Options&) { e[1].shape[2].x = -4; }).find("point 2 (2) at"),
            std::string::npos);
  EXPECT_NE(refusal([](Examples& e, Options&) { e[2].shape.pop_back(); }).find("frame 40 has 3"),
            std::string::npos);
  EXPECT_NE(refusal([](Examples& e, Options&) { e[0].shape[0].y = HUGE_VAL; }), "");
  EXPECT_NE(refusal([](Examples& e, Options&) {
              for (Example& example : e) example.shape[1] = unseen();
            }).find("point 1 (1) is seen in no"),
            std::string::npos);
  EXPECT_NE(refusal([](Examples& e, Options&) {
              e[1].shape.assign(4, unseen());
            }).find("frame 20 shows none"),
            std::string::npos);
  EXPECT_NE(refusal([](Examples& e, Options&) { e.clear(); }), "");
  EXPECT_NE(refusal([](Examples& e, Options&) {
              for (Example& example : e) {
                for (Point& p : example.shape) p = {p.x / 400.0, p.y / 300.0};
              }
            }).find("shares of width"),
            std::string::npos);
  EXPECT_NE(refusal([](Examples& e, Options&) {
              for (Point& p : e[1].shape) p = {p.y, p.x + 100.0};
            }).find("swapped"),
            std::string::npos);
  EXPECT_NE(refusal([](Examples& e, Options&) { e[0].image.pixels.pop_back(); }), "");
  EXPECT_NE(refusal([](Examples&, Options& o) { o.radii = {10, 20}; }), "");
  EXPECT_NE(refusal([](Examples&, Options& o) { o.steps = {1}; }), "");
  EXPECT_NE(refusal([](Examples&, Options& o) { o.points = {{"a"}, {"b"}, {"a"}, {"c"}}; }), "");
  EXPECT_FALSE(std::filesystem::exists(folder("never")));
}

TEST(Models, thatAreDamagedAreRefusedInOneLine) {
  const std::string path = folder("damaged");
  std::filesystem::copy(sceneModel(), path);
  const auto refusalWith = [&path](const std::string& file, const std::string& content) {
    const std::string before = contentsOf(path + "/" + file);
    std::ofstream(path + "/" + file, std::ios::binary) << content;
    std::string refusal;
    try {
      const Model model(path);
    } catch (const Error& error) {
      refusal = error.what();
    }
    std::ofstream(path + "/" + file, std::ios::binary) << before;
    EXPECT_EQ(refusal.find('\n'), std::string::npos);
    return refusal;
  };
  const auto changed = [&path](const std::string& file, const std::string& from,
                               const std::string& to) {
    std::string text = contentsOf(path + "/" + file);
    const std::size_t at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    return text.replace(at, from.size(), to);
  };
  for (const char* const file : {"canvas.pgm", "looks.pgm", "stage1.flp"}) {
    std::string content = contentsOf(path + "/" + file);
    const std::string cut = content.substr(0, content.size() / 2);
    content[content.size() - 5] = static_cast<char>(content[content.size() - 5] == '0' ? '1' : '0');
    EXPECT_NE(refusalWith(file, content).find(file), std::string::npos);
    EXPECT_NE(refusalWith(file, cut).find(file), std::string::npos);
    EXPECT_NE(refusalWith(file, ""), "");
  }
  EXPECT_NE(refusalWith("model.json", changed("model.json", "\"version\": 5", "\"version\": 9"))
                .find("version is 9"),
            std::string::npos);
  EXPECT_NE(refusalWith("model.json", changed("model.json", "\"seed\"", "\"sead\"")), "");
  EXPECT_NE(refusalWith("model.json", changed("model.json", "\"steps\": 3", "\"steps\": 1e9")), "");
  EXPECT_NE(refusalWith("model.json", changed("model.json", "\"width\": ", "\"width\": 9")), "");
  EXPECT_NE(refusalWith("model.json", std::string(100000, '[')), "");
  EXPECT_THROW(Model(folder("nowhere")), Error);
}

}  // namespace
