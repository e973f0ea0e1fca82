#include "common/overlay_folder.h"

#include <algorithm>
#include <filesystem>

#include "common/failure.h"
#include "follow/base/files.h"
#include "common/overlay.h"
#include "common/png_files.h"
#include "follow/base/text.h"

namespace remora::tools {

namespace fs = std::filesystem;

std::string OverlayFolder::pictureOf(int frame) const {
  return format("%s/%05d.png", folder_.c_str(), frame);
}

std::vector<std::string> OverlayFolder::earlier() const {
  std::vector<std::string> files;
  std::error_code missing;
  for (const auto& entry : fs::directory_iterator(folder_, missing)) {
    const auto number = toNumber<int>(entry.path().stem().string());
    if (!number || !entry.is_regular_file()) continue;
    const std::string file = pictureOf(*number);
    if (entry.path().filename() == fs::path(file).filename() && isOverlayPng(file)) {
      files.push_back(file);
    }
  }
  return files;
}

void OverlayFolder::requireRoomFor(int frame) const {
  const std::string file = pictureOf(frame);
  if (!fs::exists(file) || isOverlayPng(file)) return;
  throw Failure("cannot write " + file + ": a file is there that is no picture of an earlier run");
}

void OverlayFolder::add(const CImg<float>& picture, const Tracks& tracks) {
  if (!is_open_) {
    makeFolder(folder_);
    for (const std::string& file : earlier()) fs::remove(file);
    is_open_ = true;
  }
  saveOverlayPng(drawOverlay(picture, tracks, tracks.shapes.size() - 1),
                 pictureOf(tracks.frame_numbers.back()));
}

}  // namespace remora::tools
