#include "tracking/known.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "follow/annotation/recording.h"
#include "follow/base/text.h"
#include "follow/error.h"

namespace remora::tools {
namespace {

KnownShapes knownShapes(const std::string& file, int first, const std::vector<std::string>& names) {
  Annotations annotations = readOneRecording(file, first);
  takeNames(names, file, annotations);
  KnownShapes shapes;
  for (AnnotatedFrame& frame : annotations.frames) {
    shapes.emplace(frame.number, std::move(frame.points));
  }
  return shapes;
}

// Nothing is known of a frame that shows no point.
void dropUnknown(KnownShapes& shapes) {
  for (auto next = shapes.begin(); next != shapes.end();) {
    const Shape& points = next->second;
    const bool any = std::any_of(points.begin(), points.end(), isSeen);
    next = any ? std::next(next) : shapes.erase(next);
  }
}

// The shape that the user gives for the first frame: shape k of a shape sequence file, or frame k
// of a table.
Shape givenStart(const NumberedFile& file, int first_frame, const std::vector<std::string>& names) {
  const bool is_table = hasFrameNumbers(file.name);
  const KnownShapes shapes = knownShapes(file.name, 0, names);
  const int number = file.number.value_or(is_table ? first_frame : 0);
  const auto found = shapes.find(number);
  if (found != shapes.end()) return found->second;
  throw Error(is_table ? format("%s has no positions for frame %d", file.name.c_str(), number)
                       : format("%s has no shape %d, it has %zu", file.name.c_str(), number,
                                shapes.size()));
}

[[noreturn]] void refuse(const TrackRequest& request, int frame, const std::string& range) {
  throw Error(format("%s: frame %d is not among those to track, ", request.corrections.name.c_str(),
                     frame) +
              range);
}

void requireFrames(const KnownShapes& shapes, const TrackRequest& request) {
  const int first = request.footage.first();
  const std::vector<Frame>* const images = request.footage.images();
  for (const auto& known : shapes) {
    if (images == nullptr) {
      if (known.first < first) refuse(request, known.first, format("which begin with %d", first));
      continue;
    }
    const auto is = [&known](const Frame& frame) { return frame.number == known.first; };
    if (std::any_of(images->begin(), images->end(), is)) continue;
    refuse(request, known.first, format("%d to %d", first, images->back().number));
  }
}

}  // namespace

KnownShapes readKnown(const TrackRequest& request, const Model& model) {
  KnownShapes known;
  if (!request.corrections.name.empty()) {
    const NumberedFile& file = request.corrections;
    known = knownShapes(file.name, file.number.value_or(0), model.pointNames());
    dropUnknown(known);
    requireFrames(known, request);
  }
  if (!request.init.name.empty()) {
    const int first = request.footage.first();
    known.insert_or_assign(first, givenStart(request.init, first, model.pointNames()));
  }
  return known;
}

const Shape* knownIn(const KnownShapes& known, const TrackRequest& request,
                     const FootageFrame& frame) {
  const auto found = known.find(frame.number);
  if (found == known.end()) return nullptr;
  const Shape& shape = found->second;
  const Picture& picture = frame.picture;
  for (std::size_t p = 0; p < shape.size(); ++p) {
    const Point& point = shape[p];
    const bool inside =
        point.x >= 0.0 && point.x < picture.width && point.y >= 0.0 && point.y < picture.height;
    if (inside || !isSeen(point)) continue;
    const bool is_start = !request.init.name.empty() && frame.number == request.footage.first();
    const std::string& file = is_start ? request.init.name : request.corrections.name;
    throw Error(format("%s: point %zu is at (%.2f, %.2f), outside frame %s, %d x %d", file.c_str(),
                       p, point.x, point.y, frame.name.c_str(), picture.width, picture.height));
  }
  return &shape;
}

void requireReached(const KnownShapes& known, const TrackRequest& request, int last_frame) {
  if (known.empty() || known.rbegin()->first <= last_frame) return;
  refuse(request, known.rbegin()->first, format("%d to %d", request.footage.first(), last_frame));
}

}  // namespace remora::tools
