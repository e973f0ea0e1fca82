// Training, as a verb and as a step of the demonstration.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "follow/footage/frame_choice.h"
#include "follow/footage/sequences.h"
#include "follow/training/training.h"
#include "job_files.h"

namespace remora::tools {

struct TrainRequest {
  std::string config;                        // names the sequences where it is not empty
  std::vector<AnnotatedSequence> sequences;  // otherwise
  std::vector<std::string> annotations;      // tables that name images
  std::string model;
  FrameChoice frames;
  TrainingOptions options;       // but for the points
  std::string points;            // file that lists them; empty: none
  FrameChoice units;             // only these, by their numbers; none: all of them, and the model
  bool help = false;             // then those that are missing elsewhere, too
  std::uint64_t max_memory = 0;  // bytes; 0: not limited
};

void train(const TrainRequest& request);

// Says what training will take.
void forecastTraining(const TrainRequest& request);

// Writes files for another engine into the model folder. `arguments` are those that choose the
// model, but for the folder; `group` is how many units a task has, 0: chosen.
void planTraining(const TrainRequest& request, Engine engine,
                  const std::vector<std::string>& arguments, std::size_t group);

// Makes the model of units that were trained one by one.
void join(const TrainRequest& request);

}  // namespace remora::tools
