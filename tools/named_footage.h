// Footage as verbs name it: image files, or a sequence.
#pragma once

#include <string>
#include <vector>

#include "follow/footage/sequences.h"

namespace CLI {
class App;
}

namespace remora::tools {

struct NamedFootage {
  std::vector<std::string> images;  // frames 0, 1, 2 ...
  std::string sequence;             // or BASE:START[:COUNT]
};

// Adds the options to a verb; `footage` must outlive it. Throws Misuse at list() where none or both
// are given.
void addFootage(CLI::App& verb, NamedFootage& footage);

struct ListedFootage {
  std::string name;           // the base of the sequence, or that of the first image
  bool is_recording = false;  // frames are told by their numbers, and not by names of images
  std::vector<Frame> frames;
};
ListedFootage list(const NamedFootage& footage);

}  // namespace remora::tools
