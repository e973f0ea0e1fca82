// Annotation files in JSON: what the annotation page saves. Beside positions they hold which points
// are hidden, lines between points and colours.
#pragma once

#include <string>

#include "follow/annotation/annotations.h"

namespace remora {

constexpr char kAnnotationFormat[] = "remora annotations";
constexpr int kAnnotationVersion = 1;

// Takes the text of such a file apart; docs/formats.md says what it holds. Frames without any
// position are left out. Throws Error, naming `file` and the frame, for a file of another kind or a
// later version, and for what is broken.
Annotations parseAnnotationJson(const std::string& text, const std::string& file);

}  // namespace remora
