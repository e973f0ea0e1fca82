// What a run of tracking writes.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "follow/annotation/tracks.h"
#include "follow/base/files.h"
#include "follow/base/scratch_file.h"
#include "follow/footage/frame_reader.h"
#include "follow/model/model.h"
#include "follow/report/overlay_folder.h"
#include "track.h"

namespace remora::tools {

// Throws Error where one of the files to write cannot be, or is one of those that are read.
void checkOutputs(const TrackRequest& request, const Model& model);

// The shape sequence file of tracks that come one by one. Its first number is how many there are,
// so it is written at their end.
class ShapeFile {
 public:
  explicit ShapeFile(std::string name) : name_(std::move(name)) {}
  void add(const TrackedShape& tracked);
  void write();

 private:
  std::string name_;
  ScratchFile shapes_;
  std::size_t count_ = 0;
};

// Writes frames as they are tracked, and keeps no more of them than their pictures show.
class TrackOutputs {
 public:
  TrackOutputs(const TrackRequest& request, std::vector<std::string> names, bool has_times);

  void add(const FootageFrame& frame, const TrackedShape& shape);
  // At the end of a run, however it ends.
  void end();

  const TracksSummary& summary() const { return summary_; }
  // The name of the last frame.
  const std::string& last() const { return last_; }

 private:
  void write(const std::string& text) { table_ ? table_->append(text) : print(text); }
  static void print(const std::string& text);

  Tracks recent_;
  bool has_times_;
  std::optional<GrowingFile> table_;  // or standard output
  std::optional<ShapeFile> shapes_;
  std::optional<OverlayFolder> overlay_;
  TracksSummary summary_;
  std::string last_;
};

// Writes tracks that are finished, whose frames can be read again.
void writeAll(const TrackRequest& request, const Tracks& tracks);

}  // namespace remora::tools
