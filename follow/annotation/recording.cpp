#include "follow/annotation/recording.h"

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <utility>

#include "follow/annotation/tracks.h"
#include "follow/base/text.h"
#include "follow/error.h"

namespace remora {
namespace {

namespace fs = std::filesystem;

bool namesBase(const std::string& file, const std::string& base) {
  return file.empty() || file == base || file == fs::path(base).filename();
}

void keepBase(Recording& recording) {
  std::vector<AnnotatedFrame>& frames = recording.annotations.frames;
  const auto isOther = [&recording](const AnnotatedFrame& frame) {
    return !namesBase(frame.file, recording.base);
  };
  frames.erase(std::remove_if(frames.begin(), frames.end(), isOther), frames.end());
  if (frames.empty()) throw Error(recording.source + " has no rows of " + recording.base);
  for (AnnotatedFrame& frame : frames) frame.file.clear();
  normalise(recording.annotations, recording.source);
}

void requireFiles(const Recording& recording) {
  for (const AnnotatedFrame& frame : recording.annotations.frames) {
    if (!frame.file.empty()) continue;
    throw Error(recording.source +
                ": a column file must name the image, or the base of the frames, "
                "of every row");
  }
}

bool isIn(const FrameRange& range, int frame) { return isChosen({range}, frame); }

[[noreturn]] void failToChoose(const Recording& recording, const FrameRange& range) {
  const std::vector<AnnotatedFrame>& frames = recording.annotations.frames;
  throw Error(format("%s has shapes for frames %d to %d, asked for are %d to %d",
                     recording.source.c_str(), frames.front().number, frames.back().number,
                     range.first, range.last));
}

void requireChoice(const Recording& recording, const FrameRange& range) {
  const std::vector<AnnotatedFrame>& frames = recording.annotations.frames;
  if (recording.is_gapless) {
    if (range.first >= frames.front().number && range.last <= frames.back().number) return;
  } else {
    const auto holds = [&range](const AnnotatedFrame& f) { return isIn(range, f.number); };
    if (std::any_of(frames.begin(), frames.end(), holds)) return;
  }
  failToChoose(recording, range);
}

}  // namespace

Recording readRecording(const AnnotatedSequence& sequence) {
  Recording recording{sequence.base, sequence.shape_file, false, {}};
  recording.annotations = readAnnotations(sequence.shape_file, sequence.start);
  recording.is_gapless = recording.annotations.whole_shapes;
  sequence.base.empty() ? requireFiles(recording) : keepBase(recording);
  return recording;
}

Annotations readOneRecording(const std::string& file, int first_frame) {
  Annotations annotations = readAnnotations(file, first_frame);
  for (AnnotatedFrame& frame : annotations.frames) frame.file.clear();
  normalise(annotations, file);
  return annotations;
}

void takeNames(const std::vector<std::string>& names, const std::string& source,
               Annotations& annotations) {
  if (annotations.names == names) return;
  const std::vector<std::string> indices = indexNames(annotations.names.size());
  const bool by_order = annotations.names == indices || names == indexNames(names.size());
  const bool fits = annotations.whole_shapes ? annotations.names.size() == names.size()
                                             : annotations.names.size() <= names.size();
  if (by_order && fits) {
    annotations.names = names;
    for (AnnotatedFrame& frame : annotations.frames) frame.points.resize(names.size(), unseen());
    return;
  }
  if (by_order) {
    throw Error(format("%s: shapes have %zu points, wanted are %zu", source.c_str(),
                       annotations.names.size(), names.size()));
  }
  std::vector<std::size_t> places;
  for (const std::string& name : annotations.names) {
    const auto found = std::find(names.begin(), names.end(), name);
    if (found == names.end()) throw Error(source + ": there is no point " + name + " elsewhere");
    places.push_back(static_cast<std::size_t>(found - names.begin()));
  }
  for (AnnotatedFrame& frame : annotations.frames) {
    Shape shape(names.size(), unseen());
    for (std::size_t p = 0; p < places.size(); ++p) shape[places[p]] = frame.points[p];
    frame.points = std::move(shape);
    for (std::size_t& p : frame.hidden) p = places[p];
    std::sort(frame.hidden.begin(), frame.hidden.end());
  }
  for (auto& [from, to] : annotations.lines) from = places[from], to = places[to];
  annotations.colours.clear();
  annotations.names = names;
}

std::vector<AnnotatedFrame> chosenFrames(const Recording& recording, const FrameChoice& choice) {
  for (const FrameRange& range : choice) requireChoice(recording, range);
  std::vector<AnnotatedFrame> frames;
  for (const AnnotatedFrame& frame : recording.annotations.frames) {
    if (isChosen(choice, frame.number)) frames.push_back(frame);
  }
  return frames;
}

std::string fileOf(const Recording& recording, const AnnotatedFrame& frame) {
  if (frame.file.empty()) {
    const bool is_video = isVideo(recording.base);
    return is_video ? recording.base : existingFrameFile(recording.base, frame.number);
  }
  const std::string beside = fs::path(recording.source).parent_path() / frame.file;
  for (const std::string& whole : {frame.file, beside}) {
    if (fs::is_regular_file(whole)) return whole;
  }
  const std::string numbered = frameFile(beside, frame.number);
  return fs::exists(numbered) ? numbered : existingFrameFile(frame.file, frame.number);
}

}  // namespace remora
