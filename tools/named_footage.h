// Footage as verbs name it, and which of its frames they take.
#pragma once

#include <functional>
#include <limits>
#include <set>
#include <string>
#include <vector>

#include "follow/footage/footage.h"

namespace CLI {
class App;
class Option_group;
}  // namespace CLI

namespace remora::tools {

struct NamedFootage {
  std::vector<std::string> files;      // a video, or images
  std::vector<std::string> sequences;  // or BASE:START[:COUNT]
};

// Adds the options to a verb; `footage` must outlive it.
void addFootage(CLI::App& verb, NamedFootage& footage);
// Throws Misuse where none or both are given, or a video among other files.
Footage footageOf(const NamedFootage& footage);

// The recording that these are frames of: a video, or the base of a sequence. Empty of images,
// which have names of their own.
std::string recordingOf(const NamedFootage& footage);

struct NamedFrames {
  int every = 0;
  int count = 0;
  std::string at;
};
// Adds --every, --count and --at, of which one may be given.
CLI::Option_group* addFrameChoice(CLI::App& verb, NamedFrames& frames);
// Numbers of frames between commas. Throws Misuse.
std::set<int> parseNumbers(const std::string& text);

// Hands frames to `take` until that says no, which it does after so many at the latest, and shows
// progress under this name.
using TakeFrame = std::function<bool(const FootageFrame&)>;
void readAll(const Footage& footage, const char* what, const TakeFrame& take,
             long most = std::numeric_limits<long>::max());
// The same with frames of these numbers alone, which `source` has named. Throws Error where one of
// them is not there.
void readThese(const Footage& footage, const std::set<int>& numbers, const std::string& source,
               const char* what, const TakeFrame& take);

// The numbers of so many frames that differ.
std::set<int> variedFrames(const Footage& footage, int count);

}  // namespace remora::tools
