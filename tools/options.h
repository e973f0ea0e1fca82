// What the texts of options stand for. Names may hold colons: numbers are looked for from the end.
// All of these throw a Misuse that shows the text and the form it should have.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "common/frame_choice.h"
#include "common/sequences.h"

namespace remora::tools {

// BASE:START[:COUNT]
Sequence parseSequence(const std::string& text);

// BASE:START:SHAPEFILE. Where several numbers could be START, the last one that leaves the name of
// a file that is there.
AnnotatedSequence parseAnnotatedSequence(const std::string& text);

// Frame numbers and ranges, as 8 or 0-149/10,200-299; nothing stands for all frames.
FrameChoice parseFrameChoice(const std::string& text);

// FILE or FILE:K, where K is a number that belongs to the file. A file of the whole name comes
// first.
struct NumberedFile {
  std::string name;
  std::optional<int> number;
};
NumberedFile parseNumberedFile(const std::string& text);

// Radii of stages, as 30,15,8.
std::vector<float> parseRadii(const std::string& text);

// Prediction steps of stages, as 2,1,1.
std::vector<int> parseSteps(const std::string& text);

}  // namespace remora::tools
