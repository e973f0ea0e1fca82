// Recordings: frames and the positions that are known in some of them.
#pragma once

#include <string>
#include <vector>

#include "follow/annotation/annotations.h"
#include "follow/export.h"
#include "follow/footage/frame_choice.h"
#include "follow/footage/sequences.h"

namespace remora {

struct Recording {
  // A video, or the base of its frames, BASE.nnnnn.png; empty where the annotations name images.
  std::string base;
  std::string source;       // the file that the annotations are from
  bool is_gapless = false;  // a shape for each frame of a range
  Annotations annotations;
};

// Reads the annotations of a sequence. Of a table with a column `file`, the rows that name this
// base. With an empty base, a table whose column `file` names images, or the base of each sequence.
// Throws Error, naming file and line.
REMORA_FOLLOW_EXPORT Recording readRecording(const AnnotatedSequence& sequence);

// Reads the annotations of one recording, whose frame numbers alone tell its frames. Throws Error
// where two rows of a table name the same frame of different files.
REMORA_FOLLOW_EXPORT Annotations readOneRecording(const std::string& file, int first_frame = 0);

// Brings annotations to these points: by names, or by their order where one of both has no names of
// its own and both have as many. A point that the annotations lack is not seen. Throws Error,
// naming `source`, for points that are not among the names.
REMORA_FOLLOW_EXPORT void takeNames(const std::vector<std::string>& names,
                                    const std::string& source, Annotations& annotations);

// The frames that are chosen. Throws Error where a range of the choice holds no annotated frame.
REMORA_FOLLOW_EXPORT std::vector<AnnotatedFrame> chosenFrames(const Recording& recording,
                                                              const FrameChoice& choice);

// The file that shows an annotated frame: its image, or the video that it is a frame of. Throws
// Error when there is none.
REMORA_FOLLOW_EXPORT std::string fileOf(const Recording& recording, const AnnotatedFrame& frame);

}  // namespace remora
