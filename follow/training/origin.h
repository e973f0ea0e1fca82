// Origin: what a training, and each of its units, is made from.
#pragma once

#include <string>
#include <vector>

#include "follow/training/training.h"

namespace remora {

// Check sums of the parts that decide what is trained; equal ones make the same bytes.
struct Origin {
  std::string version;  // of this library
  std::string frames;
  std::string positions;
  std::string options;
};

// requires: completed options
Origin originOf(const std::vector<Example>& examples, const TrainingOptions& options);

// Words, a name and a value for each part; `end` follows each part.
std::string formatOrigin(const Origin& origin, char end);

// The origin whose words come first in a text; parts that are not there stay empty.
Origin parseOrigin(const std::string& text);

// Where two differ, as "other frames (1c there, 5a here)"; empty where they do not.
std::string differenceOf(const Origin& there, const Origin& here);

}  // namespace remora
