#include "follow/render/rendering.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <utility>

#include "follow/base/child.h"
#include "follow/base/files.h"
#include "follow/base/text.h"
#include "follow/error.h"
#include "follow/footage/png_files.h"
#include "follow/render/raw_video.h"

namespace remora {
namespace {

namespace fs = std::filesystem;

// Of seconds; all usual frame rates, and those of 1000/1001, have frames of a whole number of them.
constexpr char kTicks[] = "720000";
constexpr double kMicroseconds = 1e6;
constexpr std::int64_t kSmallestStep = 2;  // microseconds: more than a tick

struct Container {
  const char* extension;
  const char* muxer;
};
constexpr std::array<Container, 4> kContainers = {
    {{".mp4", "mp4"}, {".mov", "mov"}, {".mkv", "matroska"}, {".gif", "gif"}}};

// Lower case, with its point.
std::string extensionOf(const std::string& name) {
  std::string extension = fs::path(name).extension().string();
  for (char& c : extension) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  return extension;
}

const Container* containerOf(const std::string& name) {
  const std::string extension = extensionOf(name);
  const auto found = std::find_if(kContainers.begin(), kContainers.end(),
                                  [&](const Container& one) { return extension == one.extension; });
  return found == kContainers.end() ? nullptr : &*found;
}

// A picture a frame, with a palette of its own, so that none has to wait for the last one. Viewers
// slow down what is shown for less than two hundredths of a second.
std::vector<std::string> animating() {
  return {"-vf",
          "select='isnan(prev_selected_t)+gte(t-prev_selected_t,0.0195)',split[a][b];"
          "[a]palettegen=stats_mode=single[p];[b][p]paletteuse=new=1:dither=sierra2_4a"};
}

// What every player shows, in the colours of high definition; frames come in the order in which
// they are shown.
std::vector<std::string> encoding() {
  return {"-vf",
          "scale=out_color_matrix=bt709:out_range=tv:flags=bicubic+accurate_rnd+full_chroma_int,"
          "format=yuv420p",
          "-colorspace",
          "bt709",
          "-color_primaries",
          "bt709",
          "-color_trc",
          "bt709",
          "-color_range",
          "tv",
          "-enc_time_base",
          std::string("1:") + kTicks,
          "-c:v",
          "libx264",
          "-preset",
          "veryfast",
          "-crf",
          "18",
          "-bf",
          "0"};
}

std::vector<std::string> commandFor(const std::string& path, const Container& container) {
  const std::string muxer = container.muxer;
  std::vector<std::string> words = {
      "ffmpeg",    "-hide_banner", "-loglevel", "error", "-y",    "-protocol_whitelist",
      "file,pipe", "-f",           "matroska",  "-i",    "pipe:0"};
  const std::vector<std::string> how = muxer == "gif" ? animating() : encoding();
  words.insert(words.end(), how.begin(), how.end());
  if (muxer == "mp4" || muxer == "mov") {
    words.insert(words.end(), {"-video_track_timescale", kTicks});
  }
  words.insert(words.end(), {"-fps_mode", "passthrough", "-f", muxer, "file:" + path});
  return words;
}

class VideoRendering : public Rendering {
 public:
  VideoRendering(const std::string& name, double rate)
      : file_(name), container_(*containerOf(name)), rate_(rate) {}

  void add(const Picture& picture, int /*number*/, double time) override {
    const auto at = static_cast<std::int64_t>(std::llround(time * kMicroseconds));
    if (!encoder_ && first_.pixels.empty()) {
      first_ = picture;  // waits for the second one, which tells how long it lasts
      last_ = at;
      return;
    }
    const std::int64_t shown = std::max(at, last_ + kSmallestStep);
    if (!encoder_) begin(shown - last_);
    write(picture, shown);
    last_ = shown;
  }

  void finish() override {
    if (!encoder_) {
      if (first_.pixels.empty()) throw Error("cannot write " + file_.name() + ": it has no frame");
      begin(std::llround(kMicroseconds / rate_));
    }
    if (!encoder_->endsWell()) fail();
    file_.commit();
  }

 private:
  void begin(std::int64_t duration) {
    encoder_.emplace(commandFor(file_.path(), container_),
                     "cannot write " + file_.name() +
                         ": videos need the program ffmpeg (on Debian: apt-get install ffmpeg); "
                         "pictures in a folder do without: -o FOLDER/",
                     Child::Input::kWritten);
    const std::string header = rawVideoHeader(first_.width, first_.height, duration * 1000);
    if (!encoder_->write(header.data(), header.size())) stop();
    write(first_, last_);
    first_ = {};
  }

  void write(const Picture& picture, std::int64_t time) {
    const std::string header = rawFrameHeader(time, picture.pixels.size());
    if (!encoder_->write(header.data(), header.size()) ||
        !encoder_->write(picture.pixels.data(), picture.pixels.size())) {
      stop();
    }
  }

  [[noreturn]] void stop() {
    encoder_->endsWell();
    fail();
  }

  [[noreturn]] void fail() const {
    const std::string why = encoder_->complaint();
    throw Error("cannot write " + file_.name() + ": ffmpeg " +
                (why.empty() ? "ended before the video" : "says: " + why));
  }

  NewFile file_;
  Container container_;
  double rate_;
  Picture first_;
  std::int64_t last_ = 0;  // microseconds
  std::optional<Child> encoder_;
};

class PictureRendering : public Rendering {
 public:
  explicit PictureRendering(const std::string& name) : folder_(name) {
    earlierPictures(folder_.name());
  }

  void add(const Picture& picture, int number, double /*time*/) override {
    savePngOf(kRenderMaker, picture.view(), format("%s/%05d.png", folder_.path().c_str(), number));
    is_empty_ = false;
  }

  void finish() override {
    if (is_empty_) throw Error("cannot write " + folder_.name() + ": it has no frame");
    earlierPictures(folder_.name());  // somebody may have put a file there
    folder_.commit();
  }

 private:
  NewFolder folder_;
  bool is_empty_ = true;
};

}  // namespace

RenderingKind renderingKindOf(const std::string& name) {
  const bool is_folder = (!name.empty() && name.back() == '/') || fs::is_directory(name);
  if (is_folder || extensionOf(name).empty()) return RenderingKind::kPictures;
  const Container* const container = containerOf(name);
  if (container == nullptr) {
    throw Error(name + ": videos are .mp4, .mov, .mkv or .gif, and folders end with a slash");
  }
  return std::string(container->muxer) == "gif" ? RenderingKind::kAnimation : RenderingKind::kVideo;
}

std::vector<std::string> earlierPictures(const std::string& folder) {
  std::vector<std::string> files;
  if (!fs::exists(folder)) return files;
  if (!fs::is_directory(folder)) throw Error("cannot write " + folder + ": it is no folder");
  for (const auto& entry : fs::directory_iterator(folder)) {
    const std::string file = entry.path().string();
    if (!entry.is_regular_file() || !isPngOf(kRenderMaker, file)) {
      throw Error("cannot write " + folder + ": " + file +
                  " is there, which is no picture of an earlier rendering");
    }
    files.push_back(file);
  }
  return files;
}

bool canMakeVideos() {
  try {
    Child version({"ffmpeg", "-version"}, "");
    std::array<char, 65536> said;  // a program that nobody listens to ends badly
    version.read(Child::Pipe::kOutput, said.data(), said.size());
    return version.endsWell();
  } catch (const Error&) {
    return false;
  }
}

std::unique_ptr<Rendering> beginRendering(const std::string& name, double rate) {
  if (renderingKindOf(name) == RenderingKind::kPictures) {
    return std::make_unique<PictureRendering>(name);
  }
  return std::make_unique<VideoRendering>(name, rate);
}

}  // namespace remora
