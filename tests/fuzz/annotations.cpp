// The readers of other programs' annotations: the first byte of an input says whose, the rest is
// the file.
#include "follow/annotation/annotations.h"

#include "follow/annotation/formats/formats.h"
#include "follow/base/text.h"
#include "follow/error.h"
#include "fuzz.h"

namespace {

using namespace remora;

template <class Action>
bool succeeds(const Action& action) {
  try {
    action();
    return true;
  } catch (const Error& failure) {
    const std::string line = failure.what();
    fuzz::require(line.find('\n') == line.npos, "a failure is one line");
    return false;
  }
}

void expectSense(const Annotations& annotations) {
  fuzz::require(!annotations.names.empty() && !annotations.frames.empty(), "something is read");
  for (const AnnotatedFrame& frame : annotations.frames) {
    fuzz::require(frame.points.size() == annotations.names.size(), "every frame has all points");
    for (const Point& p : frame.points) {
      fuzz::require(isSeen(p) || (std::isnan(p.x) && std::isnan(p.y)), "a point is seen or not");
    }
  }
}

// What is read can be written as a table, and comes back.
void expectTableBack(const fuzz::File& file, const Annotations& annotations) {
  const std::string table = formatAnnotations(annotations);
  file.holding(table);
  Annotations back;
  fuzz::require(succeeds([&] { back = readAnnotations(file.name()); }), "a table can be read");
  fuzz::require(formatAnnotations(back) == table, "a table comes back");
}

// Other formats may refuse; what they write is of their own format.
void expectOthersBack(const fuzz::File& file, const Annotations& annotations) {
  for (const FileFormat format :
       {FileFormat::kCoco, FileFormat::kDeepLabCut, FileFormat::kSleap, FileFormat::kShapes}) {
    std::string text;
    if (!succeeds([&] { text = formatPositions(positionsOf(annotations), format); })) continue;
    file.holding(text);
    Annotations back;
    fuzz::require(succeeds([&] { back = importAnnotations({file.name()}, format); }),
                  "what is written can be read");
    fuzz::require(back.frames.size() == annotations.frames.size(), "no frame is lost");
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const fuzz::File file;
  if (size == 0) return 0;
  const std::vector<FileFormat>& formats = readFormats();
  std::optional<FileFormat> format;  // recognised by the content
  if (data[0] % 16U < formats.size()) format = formats[data[0] % 16U];
  file.holding(fuzz::textOf(data + 1, size - 1));
  Annotations annotations;
  if (!succeeds([&] { annotations = importAnnotations({file.name()}, format); })) return 0;
  expectSense(annotations);
  expectTableBack(file, annotations);
  expectOthersBack(file, annotations);
  return 0;
}
