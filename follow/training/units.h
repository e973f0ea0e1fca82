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
};

std::vector<Unit> listUnits(const TrainingPlan& plan);

// As messages call it.
std::string nameOf(const TrainingPlan& plan, const Unit& unit);

// Files of a model folder.
std::string unitsFolder(const std::string& folder);
std::string unitFile(const std::string& folder, const Unit& unit);

// Keeps the finished units of the same plan and the same version of this library, and no others.
void openUnits(const TrainingPlan& plan, const std::string& folder);

// False for a unit that an interruption has left out or a power failure has cut.
bool isTrained(const std::string& file);

void trainUnit(const TrainingPlan& plan, const Unit& unit, const std::string& file);

// Removes only files that a training makes, as the folder may hold the user's own ones. False when
// some of them could not be removed.
bool removeUnits(const std::string& folder);

}  // namespace remora
