#include "follow/footage/frame_store.h"

#include <cstdint>
#include <utility>

#include "follow/base/scratch_file.h"

namespace remora {

FrameStore::FrameStore(const Footage& footage, const Tell& tell) {
  if (footage.images() != nullptr) {
    for (const Frame& image : *footage.images()) {
      frames_.emplace_back();
      frames_.back().number = image.number;
      frames_.back().name = image.file;
    }
    return;
  }
  const auto reader = footage.open();
  tells_times_ = reader->tellsTimes();
  stored_ = std::make_unique<ScratchFile>();
  for (FootageFrame frame; reader->next(frame);) {
    size_.require(frame);
    const GreyImage grey = toGrey(frame.picture.view());
    stored_->append(grey.pixels.data(), grey.pixels.size());
    frame.picture = {};
    frames_.push_back(std::move(frame));
    tell(reader->expected());
  }
}

FrameStore::~FrameStore() = default;

FootageFrame FrameStore::load(std::size_t index) {
  FootageFrame frame = frames_[index];
  if (stored_) {
    const std::uint64_t bytes = stored_->size() / frames_.size();
    frame.picture = {size_.width(), size_.height(), 1, {}};
    frame.picture.pixels.resize(bytes);
    stored_->read(index * bytes, frame.picture.pixels.data(), bytes);
  } else {
    frame.picture = loadPicture(frame.name);
    size_.require(frame);
  }
  return frame;
}

}  // namespace remora
