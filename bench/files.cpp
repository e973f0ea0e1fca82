// Rows 9 and 10: files.
#include <cstdlib>
#include <memory>
#include <string>

#include "material.h"
#include "rows.h"
#include "shape_lp_track.h"
#include "straight.h"
#include "training_set.h"

namespace remora::bench {
namespace {

constexpr int kRounds = 9;

// A tracker of many points, read from files of one that was trained.
std::unique_ptr<ShapeLPTracker> manyPoints() {
  constexpr int kBunchPoints = 20;
  TrainingSet set(2);
  const std::string one = pathTo("one.lpb");
  set.train(100)->SaveToFile(one.c_str());
  const std::vector<const char*> names(kBunchPoints, one.c_str());
  return std::make_unique<ShapeLPTracker>(names.data(), kBunchPoints);
}

}  // namespace

void measureFiles(Rows& rows) {
  const std::unique_ptr<ShapeLPTracker> tracker = manyPoints();
  const std::string name = pathTo("bunches.lpb");
  const std::string load = "20 points, 100 predictors each";
  rows.add("9 writing a bunch file", load,
           inRounds({{"straightforward", [&] { straightSave(*tracker, name); }},
                     {"any", [&] { tracker->SaveToFile(name.c_str()); }}},
                    kRounds),
           {4.0});
  rows.add("9 reading it", load,
           inRounds({{"straightforward", [&] { straightRead(name); }},
                     {"any", [&] { ShapeLPTracker(name.c_str(), nullptr); }}},
                    kRounds),
           {3.5});
  const std::string flat = pathTo("large.flp");
  writeShape(flat, kFileParts);
  rows.add("10 loading a flat LP file",
           std::to_string(kPoints) + " points, " + kFileParts.name + " a part",
           inRounds({{"straightforward", [&] { straightLoad(flat); }},
                     {"any", [&] { FastShapeTracker(flat.c_str()).GetPos(0); }}},
                    5),
           {5.0});
}

}  // namespace remora::bench
