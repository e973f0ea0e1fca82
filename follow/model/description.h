// What model.json says of a model: how it was made, and how it is run.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "follow/model/following_model.h"
#include "follow/model/model.h"
#include "follow/model/review.h"

namespace remora {

struct Stage {
  float radius = 0.0F;  // canvas pixels; of a plain model pixels of the scaled frame
  int steps = 1;        // prediction steps a frame
  std::string check;    // of the flat file; empty where it is not known
  int level = kFine;    // of the canvas that it is trained and run on
};

// Between what limits something lay in all training frames.
struct Limits {
  double least = 0.0;
  double most = 0.0;
};

// What the training frames were.
struct FrameKind {
  Limits width;   // pixels
  Limits height;  // pixels
  Limits white;   // the largest value that the depth of their files allows
};

// "400 x 300 px, 0 is black and 255 white"; with two ends where they differ.
std::string describe(const FrameKind& frames);

struct ModelDescription {
  std::string mark;           // check sum of the training; empty where it is not known
  std::vector<Stage> stages;  // from coarse to fine
  float scale = 1.0F;         // canvas pixels a pixel of the training frames, about
  unsigned seed = 1;
  int predictors = 0;
  int generations = 0;
  int training_frames = 0;
  std::vector<std::string> point_names;
  std::optional<FrameKind> frames;  // not known of older models
  Review review;
  // What a model that follows its shape has besides; a plain model predicts in frame coordinates.
  std::optional<FollowingModel> following;
};

// The canvas level that a stage of this radius is trained and run on, in a new model: the coarse
// one from this radius on.
constexpr float kCoarseRadius = 20.0F;
int levelOfRadius(float radius);

// Files of a model folder.
std::string modelFile(const std::string& folder);
std::string bunchFile(const std::string& folder, std::size_t stage, int coordinate);
std::string flatFile(const std::string& folder, std::size_t stage);
std::string canvasFile(const std::string& folder);  // the mean canvas, PGM
std::string looksFile(const std::string& folder);   // a row for each patch of a point, PGM

// Tells the contents of a file from any other.
std::string checkOf(const std::string& content);
// Whether a check is of this content. Those of earlier versions are recognised.
bool isOfCheck(const std::string& content, const std::string& check);

// The check sum of the training of a model; empty where there is none, or no model that can be
// read.
std::string readMark(const std::string& folder);

// Reads and checks model.json and the pictures it names. Throws Error, naming file and item.
ModelDescription readDescription(const std::string& folder);

// The texts of model.json and of the two pictures.
struct DescriptionFiles {
  std::string json, canvas, looks;
};
DescriptionFiles formatDescription(const ModelDescription& description);

}  // namespace remora
