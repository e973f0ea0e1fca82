// Positions on their way out.

#include <cmath>
#include <limits>

#include "follow/annotation/annotation_table.h"
#include "follow/annotation/formats/cells.h"
#include "follow/annotation/formats/formats_inside.h"
#include "follow/annotation/shape_files.h"
#include "follow/base/files.h"
#include "follow/base/text.h"
#include "follow/error.h"

namespace remora {
namespace {

constexpr double kUnknown = std::numeric_limits<double>::quiet_NaN();

Shape shapeOf(const Positions::Frame& frame) {
  Shape shape;
  for (const TrackedPoint& point : frame.points) shape.push_back({point.x, point.y});
  return shape;
}

Tracks tracksOf(const Positions& positions) {
  Tracks tracks;
  tracks.names = positions.names;
  for (const Positions::Frame* const frame : framesByNumber(positions, "a table of tracks")) {
    tracks.frame_numbers.push_back(frame->number);
    tracks.shapes.push_back(frame->points);
  }
  return tracks;
}

// Shape k is that of frame START + k: nothing may be missing.
std::string formatComplete(const Positions& positions) {
  std::vector<Shape> shapes;
  const Positions::Frame* last = nullptr;
  for (const Positions::Frame* const frame : framesByNumber(positions, "a shape sequence file")) {
    if (last != nullptr && last->number + 1L != frame->number) {
      throw Error(format("frame %d follows frame %d: a shape sequence file has no gaps",
                         frame->number, last->number));
    }
    last = frame;
    for (std::size_t p = 0; p < frame->points.size(); ++p) {
      if (isSeen(frame->points[p])) continue;
      throw Error(format("frame %d, point %s has no position: a shape sequence file needs them all",
                         frame->number, positions.names[p].c_str()));
    }
    shapes.push_back(shapeOf(*frame));
  }
  return formatShapes(shapes);
}

}  // namespace

Positions positionsOf(const Annotations& annotations) {
  Positions positions;
  positions.names = annotations.names;
  for (const AnnotatedFrame& frame : annotations.frames) {
    positions.frames.push_back({frame.number, frame.file, asKnown(frame.points)});
    for (TrackedPoint& point : positions.frames.back().points) {
      point.confidence = kUnknown;
      point.status = isSeen(point) ? Status::kTracked : Status::kLost;
    }
    for (const std::size_t p : frame.hidden) {
      positions.frames.back().points[p].status = Status::kOccluded;
    }
  }
  return positions;
}

Positions positionsOf(const Tracks& tracks) {
  Positions positions;
  positions.are_tracks = true;
  positions.names = tracks.names;
  for (std::size_t i = 0; i < tracks.shapes.size(); ++i) {
    positions.frames.push_back({tracks.frame_numbers[i], "", tracks.shapes[i]});
  }
  framesByNumber(positions, "a table of tracks");
  return positions;
}

Annotations annotationsOf(const Positions& positions) {
  Annotations annotations;
  annotations.names = positions.names;
  for (const Positions::Frame& frame : positions.frames) {
    annotations.frames.push_back({frame.number, frame.file, shapeOf(frame)});
    for (std::size_t p = 0; p < frame.points.size(); ++p) {
      if (frame.points[p].status != Status::kTracked) {
        annotations.frames.back().points[p] = unseen();
      }
    }
  }
  normalise(annotations, "the tracks");
  return annotations;
}

Positions readPositions(const std::string& file, int first_frame) {
  if (beginsTracks(readText(file))) return positionsOf(readTracks(file, first_frame));
  return positionsOf(readAnnotations(file, first_frame));
}

std::string formatPositions(const Positions& positions, FileFormat to) {
  if (positions.frames.empty()) throw Error("there are no positions to write");
  switch (to) {
    case FileFormat::kAnnotations:
      return formatAnnotations(annotationsOf(positions));
    case FileFormat::kTracks:
      return formatTable(tracksOf(positions));
    case FileFormat::kShapes:
      return formatComplete(positions);
    case FileFormat::kCoco:
      return formatCoco(positions);
    case FileFormat::kDeepLabCut:
      return formatDeepLabCut(positions);
    case FileFormat::kSleap:
      return formatSleap(positions);
    default:
      throw Error(std::string("files of the format ") + nameOf(to) + " are read, but not written");
  }
}

}  // namespace remora
