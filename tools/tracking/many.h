// Tracking of many videos or sequences: a table each, in one folder.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "follow/footage/frame_choice.h"
#include "job_files.h"
#include "named_footage.h"
#include "track.h"

namespace remora::tools {

struct ManyRequest {
  TrackRequest each;                  // without footage and files to write
  std::vector<NamedFootage> footage;  // one video or sequence each
  std::string folder;                 // of the tables
  int jobs = 1;
  bool force = false;  // also those that are finished, or were made from something else
  FrameChoice units;   // only these, by their numbers; none: all
};

// The videos and sequences that a list names, one a line.
std::vector<NamedFootage> readList(const std::string& file);

// Tracks what is not finished. A video that cannot be tracked does not stop the others; at the end
// each has its line, and Error says how many could not be. Tables are written whole or not at all.
// Throws Misuse where two would have the same table.
void trackMany(const ManyRequest& request);

// Tracks nothing. Throws Error, naming the units that are not finished.
void checkMany(const ManyRequest& request);

// Writes files for another engine into the folder of the tables. `arguments` are those that
// decide how is tracked, after the verb.
void planMany(const ManyRequest& request, Engine engine, const std::vector<std::string>& arguments,
              std::size_t group);

}  // namespace remora::tools
