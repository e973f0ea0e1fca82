// The units of a training: one is one stage, one coordinate, one point.
//
// A unit has a seed of its own, derived from the model's seed and its place, so a model is the same
// bytes whichever units were made when, or where. Finished units are kept in a folder of their own
// until the model is complete: a training that breaks off goes on from them.
#pragma once

#include <string>
#include <vector>

#include "follow/training/plan.h"

namespace remora {

constexpr int kCoordinates = 2;

struct Unit {
  std::size_t stage;
  int coordinate;
  std::size_t point;

  friend bool operator==(const Unit& a, const Unit& b) {
    return a.stage == b.stage && a.coordinate == b.coordinate && a.point == b.point;
  }
};

std::vector<Unit> listUnits(const TrainingPlan& plan);

// As messages call it.
std::string nameOf(const TrainingPlan& plan, const Unit& unit);

// Files of a model folder.
std::string unitsFolder(const std::string& folder);
std::string unitFile(const std::string& folder, const Unit& unit);

// Who makes units in a folder.
enum class UnitsOwner {
  kOneProcess,  // units of another plan that one process has left are removed
  kMany         // of any machine that sees the folder
};

// Keeps the finished units of the same plan and the same version of this library, and no others.
// Throws Error where many make those of another plan, and for many where there is another plan.
void openUnits(const TrainingPlan& plan, const std::string& folder, UnitsOwner owner);

// Throws Error unless the folder holds units of this plan.
void requireUnits(const TrainingPlan& plan, const std::string& folder);

enum class UnitState {
  kMissing,  // or cut short, or changed since
  kTrained,
  kForeign  // whole, but not this unit of this plan
};
UnitState stateOf(const TrainingPlan& plan, const Unit& unit, const std::string& folder);

// Why a unit is foreign, naming its file and both sides.
std::string strangenessOf(const TrainingPlan& plan, const Unit& unit, const std::string& folder);

// Writes the file of a unit, whole or not at all. It ends with a line that tells what it was made
// from, and a check sum; readers of bunch files stop before that line.
void trainUnit(const TrainingPlan& plan, const Unit& unit, const std::string& folder);

// Notes that somebody begins a unit; false where somebody has. It is a hint, not a lock: whoever
// began may never end.
bool beginUnit(const Unit& unit, const std::string& folder);

// Removes only files that a training makes, as the folder may hold the user's own ones. False when
// some of them could not be removed.
bool removeUnits(const std::string& folder);

}  // namespace remora
