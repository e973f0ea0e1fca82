#include "follow/report/overlay_folder.h"

#include <algorithm>
#include <filesystem>

#include "follow/base/files.h"
#include "follow/base/text.h"
#include "follow/error.h"
#include "follow/footage/png_files.h"

namespace remora {

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
    if (entry.path().filename() == fs::path(file).filename() && isPngOf(kOverlayMaker, file)) {
      files.push_back(file);
    }
  }
  return files;
}

void OverlayFolder::requireRoomFor(int frame) const {
  const std::string file = pictureOf(frame);
  if (!fs::exists(file) || isPngOf(kOverlayMaker, file)) return;
  throw Error("cannot write " + file + ": a file is there that is no picture of an earlier run");
}

void OverlayFolder::add(const Picture& picture, const Tracks& tracks, std::size_t index) {
  if (!is_open_) {
    makeFolder(folder_);
    for (const std::string& file : earlier()) fs::remove(file);
    is_open_ = true;
  }
  const Picture overlay = drawing_.draw(picture, tracks, index);
  savePngOf(kOverlayMaker, overlay.view(), pictureOf(tracks.frame_numbers[index]));
}

}  // namespace remora
