// Footage as verbs name it: files, or a sequence.
#pragma once

#include <string>
#include <vector>

#include "follow/footage/footage.h"

namespace CLI {
class App;
}

namespace remora::tools {

struct NamedFootage {
  std::vector<std::string> files;  // a video, or images that are frames 0, 1, 2 ...
  std::string sequence;            // or BASE:START[:COUNT]
};

// Adds the options to a verb; `footage` must outlive it.
void addFootage(CLI::App& verb, NamedFootage& footage);

// Throws Misuse where none or both are given, or a video among other files.
Footage footageOf(const NamedFootage& footage);

struct ListedFootage {
  std::string name;           // the base of the sequence, the video, or the first image
  bool is_recording = false;  // frames are told by their numbers, and not by names of images
  std::vector<Frame> frames;  // of a video, with what they are called in messages
  Footage footage;
};

// The same, with all frames; a video is read for that.
ListedFootage list(const NamedFootage& footage);

}  // namespace remora::tools
