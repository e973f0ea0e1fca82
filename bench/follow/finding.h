// Whether a shape is found in pictures that show it, and in none that do not.
#pragma once

#include <string>
#include <vector>

#include "follow/model/model.h"
#include "footage.h"
#include "subjects.h"

namespace remora::bench {

// A model and pictures that show its shape.
struct Exhibit {
  Subject subject;
  Model model;
  Footage pictures;
};

// Every model looks for its shape in its own pictures and in those of all other shapes.
std::string findingTable(const std::vector<Exhibit>& exhibits);

}  // namespace remora::bench
