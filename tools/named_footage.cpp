#include "named_footage.h"

#include <CLI/CLI.hpp>
#include <filesystem>

#include "options.h"
#include "output.h"

namespace remora::tools {

void addFootage(CLI::App& verb, NamedFootage& footage) {
  verb.add_option("images", footage.images,
                  "Image files, in order; they count as frames 0, 1, 2 ...")
      ->type_name("FILE");
  verb.add_option("--sequence", footage.sequence,
                  "Frames instead of image files; without a count, all there are")
      ->type_name("BASE:START[:COUNT]");
}

ListedFootage list(const NamedFootage& footage) {
  if (footage.sequence.empty() && footage.images.empty()) {
    throw CLI::RequiredError("--sequence or image files");
  }
  if (!footage.sequence.empty() && !footage.images.empty()) {
    throw Misuse("--sequence and image files exclude each other");
  }
  ListedFootage listed;
  if (!footage.sequence.empty()) {
    const Sequence sequence = parseSequence(footage.sequence);
    listed.name = sequence.base;
    listed.is_recording = true;
    listed.frames = listSequence(sequence);
  }
  for (std::size_t i = 0; i < footage.images.size(); ++i) {
    listed.frames.push_back({static_cast<int>(i), footage.images[i]});
  }
  if (listed.name.empty()) listed.name = footage.images[0];
  return listed;
}

}  // namespace remora::tools
