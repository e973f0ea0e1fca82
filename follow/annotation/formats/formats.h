// Annotations and tracks in the files of other programs.
//
// Where a program puts (0, 0) decides what is added to its positions, so that they become those of
// annotation/shape.h, where (0, 0) is the middle of the top left pixel:
//   .pts                       counts pixels from 1: 1 is subtracted
//   COCO, CVAT, labelme        (0, 0) is the corner of the picture: 0.5 is subtracted. The canvas
//   of
//                              labelme has its origin there, and places of clicks are stored
//   imglab, DeepLabCut, SLEAP  (0, 0) is the middle of the top left pixel: taken as they are. The
//                              first stores whole pixels, the others train on positions as
//                              indices into the array of pixels
// Writing is the reverse.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "follow/annotation/annotations.h"
#include "follow/annotation/tracks.h"
#include "follow/export.h"

namespace remora {

enum class FileFormat {
  kAnnotations,  // the table of annotation/annotations.h
  kTracks,       // the table of annotation/tracks.h
  kShapes,       // a shape sequence file
  kPts,          // a .pts file for each frame
  kImglab,       // XML of images, boxes and parts
  kCvat,         // XML 1.1 of images or of tracks, points or skeletons
  kCoco,         // JSON with keypoints
  kDeepLabCut,   // CSV of labelled images or of an analysed video, of one individual
  kSleap,        // analysis CSV of one track
  kLabelme,      // a JSON file for each frame, shapes that are points
};

// "annotations", "tracks", "shapes", "pts", "imglab", "cvat", "coco", "deeplabcut", "sleap",
// "labelme".
REMORA_FOLLOW_EXPORT const char* nameOf(FileFormat format);
REMORA_FOLLOW_EXPORT std::optional<FileFormat> formatNamed(const std::string& name);
// The formats that can be read as annotations, and those that can be written.
REMORA_FOLLOW_EXPORT const std::vector<FileFormat>& readFormats();
REMORA_FOLLOW_EXPORT const std::vector<FileFormat>& writtenFormats();

// What DeepLabCut itself believes and shows.
constexpr double kUsualLikelihood = 0.6;

// Reads files of one or several formats into one set of annotations; points of the same name are
// the same. A folder stands for its .pts files or for its .json files. The format is recognised by
// what a file holds; with `format`, all files must be of it. Frames carry the numbers that the file
// gives them, or else the last digits in the names of their images; where one image has none, all
// such frames count from first_frame in the order of the files.
//
// Throws Error, naming file and place, for what is broken, is not of the format, holds a name that
// is none, a point or a frame twice, more than one shape in a frame, or a point outside of its
// image.
//
// A position of a DeepLabCut table with a likelihood below `least_likelihood` is a point that is
// not seen: that program guesses one for every point of every frame.
REMORA_FOLLOW_EXPORT Annotations importAnnotations(const std::vector<std::string>& files,
                                                   std::optional<FileFormat> format = {},
                                                   int first_frame = 0,
                                                   double least_likelihood = kUsualLikelihood);

// What is written: positions that are known or tracked.
struct Positions {
  struct Frame {
    int number = 0;
    std::string file;     // its image or recording; may be empty
    TrackedShape points;  // not seen: x and y are no numbers
  };
  std::vector<std::string> names;
  std::vector<Frame> frames;
  bool are_tracks = false;
};

// Annotations have no confidence. A point of tracks that is occluded or lost keeps its position
// here; as an annotation it is one that is not seen.
REMORA_FOLLOW_EXPORT Positions positionsOf(const Annotations& annotations);
REMORA_FOLLOW_EXPORT Positions positionsOf(const Tracks& tracks);
REMORA_FOLLOW_EXPORT Annotations annotationsOf(const Positions& positions);

// Reads a table of annotations or tracks, or a shape sequence file whose first shape is of frame
// first_frame. Throws Error for anything else.
REMORA_FOLLOW_EXPORT Positions readPositions(const std::string& file, int first_frame = 0);

// The format that a new file has by its name: .json is COCO, .txt a shape sequence, .csv
// DeepLabCut's where DLC or CollectedData is in the name, SLEAP's where it ends in .analysis.csv,
// and else a table of annotations. Nothing where the name does not tell.
REMORA_FOLLOW_EXPORT std::optional<FileFormat> formatByName(const std::string& file);

// The text of a file of a format that can be written. Throws Error, naming frame and point, where
// the format cannot hold the positions: a shape sequence must be complete and without gaps, and
// tracks, DeepLabCut and SLEAP know frames by their numbers alone, but DeepLabCut images, too.
REMORA_FOLLOW_EXPORT std::string formatPositions(const Positions& positions, FileFormat format);

}  // namespace remora
