#include "follow/annotation/formats/formats.h"

#include <array>
#include <filesystem>

namespace remora {
namespace {

// In the order of FileFormat.
constexpr std::array kNames = {"annotations", "tracks", "shapes",     "pts",   "imglab",
                               "cvat",        "coco",   "deeplabcut", "sleap", "labelme"};

bool endsWith(const std::string& text, const std::string& end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

}  // namespace

const char* nameOf(FileFormat format) { return kNames[static_cast<std::size_t>(format)]; }

std::optional<FileFormat> formatNamed(const std::string& name) {
  for (std::size_t i = 0; i < kNames.size(); ++i) {
    if (name == kNames[i]) return static_cast<FileFormat>(i);
  }
  return std::nullopt;
}

const std::vector<FileFormat>& readFormats() {
  static const std::vector<FileFormat> formats = {
      FileFormat::kAnnotations, FileFormat::kTracks,  FileFormat::kShapes, FileFormat::kPts,
      FileFormat::kImglab,      FileFormat::kCvat,    FileFormat::kCoco,   FileFormat::kDeepLabCut,
      FileFormat::kSleap,       FileFormat::kLabelme,
  };
  return formats;
}

const std::vector<FileFormat>& writtenFormats() {
  static const std::vector<FileFormat> formats = {
      FileFormat::kAnnotations, FileFormat::kTracks,     FileFormat::kShapes,
      FileFormat::kCoco,        FileFormat::kDeepLabCut, FileFormat::kSleap,
  };
  return formats;
}

std::optional<FileFormat> formatByName(const std::string& file) {
  const std::string name = std::filesystem::path(file).filename().string();
  if (endsWith(name, ".json")) return FileFormat::kCoco;
  if (endsWith(name, ".txt")) return FileFormat::kShapes;
  if (!endsWith(name, ".csv")) return std::nullopt;
  if (endsWith(name, ".analysis.csv")) return FileFormat::kSleap;
  const bool is_deeplabcut =
      name.find("DLC") != std::string::npos || name.find("CollectedData") != std::string::npos;
  return is_deeplabcut ? FileFormat::kDeepLabCut : FileFormat::kAnnotations;
}

}  // namespace remora
