#include "tracking/outputs.h"

#include <array>
#include <fstream>
#include <set>
#include <utility>

#include "follow/annotation/shape_files.h"
#include "follow/base/text.h"
#include "follow/report/overlay.h"
#include "output.h"
#include "progress.h"

namespace remora::tools {
namespace {

std::set<std::string> picturesTouched(const TrackRequest& request) {
  if (request.overlay.empty()) return {};
  const OverlayFolder folder(request.overlay);
  const std::vector<std::string> earlier = folder.earlier();
  std::set<std::string> files(earlier.begin(), earlier.end());
  if (request.footage.images() == nullptr) return files;
  for (const Frame& frame : *request.footage.images()) {
    folder.requireRoomFor(frame.number);
    files.insert(folder.pictureOf(frame.number));
  }
  return files;
}

void writeShapes(const TrackRequest& request, const Tracks& tracks) {
  if (request.shapes.empty()) return;
  ShapeFile file(request.shapes);
  for (const TrackedShape& shape : tracks.shapes) file.add(shape);
  file.write();
}

}  // namespace

void checkOutputs(const TrackRequest& request, const Model& model) {
  std::vector<std::string> read = model.files();
  for (const NumberedFile& file : {request.init, request.corrections}) {
    if (!file.name.empty()) read.push_back(file.name);
  }
  for (const std::string& file : request.footage.files()) read.push_back(file);
  const std::set<std::string> pictures = picturesTouched(request);
  std::vector<std::string> written(pictures.begin(), pictures.end());
  for (const std::string& file : {request.csv, request.shapes}) {
    if (file.empty()) continue;
    written.push_back(file);
    requireWritable(file);
  }
  requireApart(read, written);
  if (!request.overlay.empty()) makeFolder(request.overlay);
}

void ShapeFile::add(const TrackedShape& tracked) {
  Shape shape;
  for (const TrackedPoint& point : tracked) shape.push_back({point.x, point.y});
  const std::string text = formatShape(shape);
  shapes_.append(text.data(), text.size());
  ++count_;
}

void ShapeFile::write() {
  NewFile file(name_);
  std::ofstream out(file.path(), std::ios::binary);
  out << format("%zu\n", count_);
  std::array<char, 65536> block;
  for (std::uint64_t at = 0; at < shapes_.size(); at += block.size()) {
    const std::size_t size = std::min<std::uint64_t>(block.size(), shapes_.size() - at);
    shapes_.read(at, block.data(), size);
    out.write(block.data(), static_cast<std::streamsize>(size));
  }
  out.close();
  if (!out) throw Error("cannot write " + name_);
  file.commit();
}

TrackOutputs::TrackOutputs(const TrackRequest& request, std::vector<std::string> names,
                           bool has_times)
    : has_times_(has_times) {
  recent_.names = std::move(names);
  if (!request.csv.empty()) table_.emplace(request.csv);
  if (!request.shapes.empty()) shapes_.emplace(request.shapes);
  if (!request.overlay.empty()) overlay_.emplace(request.overlay);
}

void TrackOutputs::add(const FootageFrame& frame, const TrackedShape& shape) {
  if (recent_.shapes.size() > kTrailFrames) {
    recent_.frame_numbers.erase(recent_.frame_numbers.begin());
    recent_.shapes.erase(recent_.shapes.begin());
    if (has_times_) recent_.times.erase(recent_.times.begin());
  }
  recent_.frame_numbers.push_back(frame.number);
  recent_.shapes.push_back(shape);
  if (has_times_) recent_.times.push_back(frame.time);
  const std::size_t index = recent_.shapes.size() - 1;
  const std::string header = summary_.frames() == 0 ? formatHeader(recent_) : "";
  write(header + formatRows(recent_, index));
  summary_.add(recent_.names, frame.number, shape);
  last_ = frame.name;
  if (shapes_) shapes_->add(shape);
  if (!overlay_) return;
  overlay_->requireRoomFor(frame.number);
  overlay_->add(frame.picture, recent_, index);
}

void TrackOutputs::end() {
  if (shapes_) shapes_->write();
}

void TrackOutputs::print(const std::string& text) { printData(text); }

void writeAll(const TrackRequest& request, const Tracks& tracks) {
  const std::string table = formatTable(tracks);
  request.csv.empty() ? printData(table) : writeFile(request.csv, table);
  writeShapes(request, tracks);
  if (request.overlay.empty()) return;
  OverlayFolder overlay(request.overlay);
  Progress progress("drawing", "frames", static_cast<long>(tracks.shapes.size()));
  const auto reader = request.footage.open();
  FootageFrame frame;
  for (std::size_t i = 0; i < tracks.shapes.size() && reader->next(frame); ++i) {
    overlay.requireRoomFor(frame.number);
    overlay.add(frame.picture, tracks, i);
    progress.advance();
  }
}

}  // namespace remora::tools
