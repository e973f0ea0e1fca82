#include "named_footage.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <utility>

#include "options.h"
#include "output.h"
#include "progress.h"

namespace remora::tools {
namespace {

Footage footageOfFiles(const std::vector<std::string>& files) {
  const bool all_images = std::all_of(files.begin(), files.end(), isImageFile);
  if (files.size() == 1 && !all_images) return Footage(VideoPart{files[0], 0, {}});
  if (!all_images) throw Misuse("a video stands alone, not among other files");
  std::vector<Frame> images;
  for (std::size_t i = 0; i < files.size(); ++i) {
    images.push_back({static_cast<int>(i), files[i]});
  }
  return Footage(std::move(images));
}

std::vector<Frame> listVideo(const Footage& video) {
  std::vector<Frame> frames;
  const auto reader = video.open();
  Progress progress("counting", "frames", reader->expected().value_or(0));
  for (FootageFrame frame; reader->next(frame);) {
    frames.push_back({frame.number, frame.name});
    progress.advance();
  }
  progress.finish();
  return frames;
}

}  // namespace

void addFootage(CLI::App& verb, NamedFootage& footage) {
  verb.add_option("files", footage.files,
                  "A video; or image files in order, which count as frames 0, 1, 2 ...")
      ->type_name("FILE");
  verb.add_option("--sequence", footage.sequence,
                  "Numbered images, or a part of a video, instead of files; without a count, all "
                  "there are")
      ->type_name("BASE:START[:COUNT]");
}

Footage footageOf(const NamedFootage& footage) {
  if (footage.sequence.empty() && footage.files.empty()) {
    throw CLI::RequiredError("--sequence or files");
  }
  if (!footage.sequence.empty() && !footage.files.empty()) {
    throw Misuse("--sequence and files exclude each other");
  }
  if (footage.sequence.empty()) return footageOfFiles(footage.files);
  return Footage(parseSequence(footage.sequence));
}

ListedFootage list(const NamedFootage& footage) {
  ListedFootage listed;
  listed.footage = footageOf(footage);
  const bool is_video = listed.footage.images() == nullptr;
  listed.is_recording = is_video || !footage.sequence.empty();
  listed.name = footage.sequence.empty() ? footage.files[0] : parseSequence(footage.sequence).base;
  listed.frames = is_video ? listVideo(listed.footage) : *listed.footage.images();
  return listed;
}

}  // namespace remora::tools
