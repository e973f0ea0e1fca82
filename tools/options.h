// Parsers of option values. Names may hold colons: numbers are looked for from the end. Each parser
// throws Misuse with the value and the form that is expected.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "follow/annotation/formats/formats.h"
#include "follow/footage/footage.h"
#include "follow/footage/frame_choice.h"
#include "follow/footage/sequences.h"

namespace remora::tools {

// BASE:START[:COUNT]
Sequence parseSequence(const std::string& text);

// BASE:START:SHAPEFILE. Where several numbers could be START, the last one that is followed by the
// name of an existing file is taken; without such a file, the last one.
AnnotatedSequence parseAnnotatedSequence(const std::string& text);

// WIDTHxHEIGHT, and gray or rgb24.
RawFrames parseRawFrames(const std::string& size, const std::string& format);

// Frame numbers and ranges, as 8 or 0-149/10,200-299. An empty text chooses all frames. `what` is
// what messages call them.
FrameChoice parseFrameChoice(const std::string& text, const char* what = "frames");

// The units that are chosen of so many; every number that is named must be one of them. `whose` is
// what messages call what has them.
std::vector<std::size_t> chosenUnits(const FrameChoice& choice, std::size_t count,
                                     const char* whose);

// FILE or FILE:K. Where a file of the whole name exists, there is no number.
struct NumberedFile {
  std::string name;
  std::optional<int> number;
};
NumberedFile parseNumberedFile(const std::string& text);

// Radii of stages, as 30,15,8.
std::vector<float> parseRadii(const std::string& text);

// Prediction steps of stages, as 2,1,1.
std::vector<int> parseSteps(const std::string& text);

// The names of formats as a help text shows them: coco|sleap.
std::string formatChoice(const std::vector<FileFormat>& formats);

// The name of a format, one of those in `known`.
FileFormat parseFormat(const std::string& text, const std::vector<FileFormat>& known);

}  // namespace remora::tools
