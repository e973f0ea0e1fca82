// A model: a folder with one stage per radius, from coarse to fine, and model.json.
#pragma once

#include <string>
#include <vector>

namespace remora::tools {

struct Stage {
  float radius = 0.0F;
  int steps = 1;           // prediction steps per frame
  std::string flat_check;  // of the stage's flat file; empty where it is not known
};

struct Model {
  std::vector<Stage> stages;
  float scale = 1.0F;
  unsigned seed = 1;
  int predictors = 0;
  int generations = 0;
  int training_frames = 0;
  std::vector<std::string> point_names;
  std::string plan_mark;  // check sum of the training plan; empty where it is not known
};

constexpr float kSmallestScale = 0.01F;
constexpr float kLargestScale = 100.0F;
constexpr float kLargestRadius = 1e6F;  // and radius factor
constexpr std::size_t kMostStages = 100;
constexpr int kMostSteps = 1000;          // of a stage, per frame
constexpr int kMostPredictors = 1000000;  // of a point
constexpr int kMostGenerations = 1000000;
constexpr char kCoordinateNames[] = {'x', 'y'};

// Files of a model folder.
std::string modelFile(const std::string& folder);
std::string bunchFile(const std::string& folder, std::size_t stage, int coordinate);
std::string flatFile(const std::string& folder, std::size_t stage);

// Whether tables and model files can hold a point of this name.
bool isPointName(const std::string& name);

// Fails, naming the file and the item, when model.json is missing or makes no sense.
Model readModel(const std::string& folder);
std::string formatModel(const Model& model);

// A check sum of the contents of a file.
std::string checkOf(const std::string& file);

// Steps per stage: 2 for the first, 1 for every further one.
int defaultSteps(std::size_t stage);

}  // namespace remora::tools
