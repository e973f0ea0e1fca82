// remora render: tracks drawn on their footage, as a video or pictures.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <climits>
#include <cmath>
#include <map>
#include <memory>
#include <optional>
#include <utility>

#include "follow/annotation/recording.h"
#include "follow/base/files.h"
#include "follow/base/text.h"
#include "follow/render/rendering.h"
#include "follow/render/tracks_drawing.h"
#include "named_footage.h"
#include "options.h"
#include "output.h"
#include "ranges.h"
#include "render.h"
#include "verbs.h"

namespace remora::tools {
namespace {

// When frames are shown, in seconds from the first one.
class FrameTimes {
 public:
  explicit FrameTimes(double rate) : rate_(rate) {}

  double of(const FootageFrame& frame) {
    const bool is_first = !std::exchange(begun_, true);
    if (!std::isnan(frame.time)) {
      if (is_first) start_ = frame.time;
      last_ = frame.time - start_;
    } else if (!is_first) {
      last_ += (frame.number - number_) / rate_;
    }
    number_ = frame.number;
    return last_;
  }

 private:
  double rate_;
  bool begun_ = false;
  double start_ = 0.0;
  double last_ = 0.0;
  int number_ = 0;
};

std::string captionOf(const FootageFrame& frame) {
  const std::string number = format("frame %d", frame.number);
  return std::isnan(frame.time) ? number : number + format("   %.2f s", frame.time);
}

// The chosen ones of images; a video is read up to the last that is chosen.
Footage chosenOf(const Footage& footage, const FrameChoice& choice) {
  if (footage.images() == nullptr) return footage;
  std::vector<Frame> images;
  for (const Frame& image : *footage.images()) {
    if (isChosen(choice, image.number)) images.push_back(image);
  }
  return Footage(std::move(images));
}

int lastOf(const FrameChoice& choice) {
  int last = choice.empty() ? INT_MAX : 0;
  for (const FrameRange& range : choice) last = std::max(last, range.last);
  return last;
}

void requireKind(const std::string& output) {
  try {
    renderingKindOf(output);
  } catch (const Error& unknown) {
    throw Misuse(std::string("--output ") + unknown.what());
  }
}

void requireRoom(const RenderRequest& request) {
  std::vector<std::string> read = request.footage.files();
  read.push_back(request.tracks);
  if (!request.annotations.empty()) read.push_back(request.annotations);
  if (renderingKindOf(request.output) == RenderingKind::kPictures) {
    requireApart(read, earlierPictures(request.output));
  } else {
    requireApart(read, {request.output});
    requireWritable(request.output);
  }
}

}  // namespace

PointLines parseLines(const std::string& text, const std::vector<std::string>& names) {
  PointLines lines;
  const auto find = [&names](const std::string& name) {
    return static_cast<std::size_t>(std::find(names.begin(), names.end(), name) - names.begin());
  };
  for (const std::string& piece : split(text, ',')) {
    const std::size_t before = lines.size();
    // Names may hold the sign themselves.
    for (std::size_t at = piece.find('-'); at != std::string::npos; at = piece.find('-', at + 1)) {
      const std::size_t from = find(piece.substr(0, at));
      const std::size_t to = find(piece.substr(at + 1));
      if (from == names.size() || to == names.size()) continue;
      lines.emplace_back(from, to);
      break;
    }
    if (lines.size() == before) {
      throw Misuse("--lines " + piece + ": not two names of points with a - between them");
    }
  }
  return lines;
}

Crop parseCrop(const std::string& text) {
  std::string spaced = text;
  std::replace_if(
      spaced.begin(), spaced.end(), [](char c) { return c == 'x' || c == '+'; }, ' ');
  const std::vector<std::string> fields = words(spaced);
  std::vector<int> numbers;
  for (const std::string& field : fields) {
    if (const auto number = toNumber<int>(field)) numbers.push_back(*number);
  }
  const bool is_crop = fields.size() == 4 && numbers.size() == 4 && numbers[0] > 0 &&
                       numbers[1] > 0 && numbers[2] >= 0 && numbers[3] >= 0;
  if (is_crop) return {numbers[2], numbers[3], numbers[0], numbers[1]};
  throw Misuse("--crop " + text + ": it must be WIDTHxHEIGHT+LEFT+TOP");
}

void render(const RenderRequest& request) {
  requireRoom(request);
  const Tracks tracks = readTracks(request.tracks, request.footage.first());
  DrawingStyle style = request.style;
  style.even = renderingKindOf(request.output) == RenderingKind::kVideo;
  if (!request.lines.empty()) style.lines = parseLines(request.lines, tracks.names);
  if (!request.annotations.empty()) {
    Annotations known = readOneRecording(request.annotations);
    takeNames(tracks.names, request.annotations, known);
    style.lines.insert(style.lines.end(), known.lines.begin(), known.lines.end());
  }
  std::map<int, std::size_t> indices;  // of frames
  for (std::size_t i = 0; i < tracks.frame_numbers.size(); ++i) {
    indices[tracks.frame_numbers[i]] = i;
  }
  TracksDrawing drawing(style);
  FrameTimes times(request.rate);
  const auto rendering = beginRendering(request.output, request.rate);
  const int last = lastOf(request.frames);
  std::size_t drawn = 0;
  std::size_t tracked = 0;
  const auto add = [&](const FootageFrame& frame) {
    if (isChosen(request.frames, frame.number)) {
      const auto found = indices.find(frame.number);
      std::optional<std::size_t> index;
      if (found != indices.end()) index = found->second, ++tracked;
      const Picture picture =
          drawing.draw(frame.picture, tracks, index, request.numbers ? captionOf(frame) : "");
      rendering->add(picture, frame.number, times.of(frame) * request.slow);
      ++drawn;
    }
    return frame.number < last;
  };
  const long most = std::max(static_cast<long>(last) - request.footage.first() + 1, 1L);
  readAll(chosenOf(request.footage, request.frames), "rendering", add, most);
  if (drawn == 0) throw Error("none of the frames is chosen");
  if (tracked == 0) throw Error(request.tracks + " tracks none of the frames");
  rendering->finish();
  say(format("%s: %zu frames, %zu of them tracked", request.output.c_str(), drawn, tracked));
}

void addRender(CLI::App& app) {
  struct Options {
    RenderRequest request;
    NamedFootage footage;
    std::string frames;
    std::string crop;
    bool no_names = false;
    bool no_numbers = false;
  };
  auto options = std::make_shared<Options>();
  RenderRequest& request = options->request;
  CLI::App* const verb = app.add_subcommand("render", "Draw tracks on their footage");
  verb->add_option("tracks", request.tracks, "Table of remora track")
      ->required()
      ->type_name("TRACKS");
  addFootage(*verb, options->footage);
  verb->add_option("-o,--output", request.output,
                   "What to write: a video (.mp4, .mov, .mkv: H.264), an animation (.gif), both by "
                   "the program ffmpeg, or a folder of pictures, FOLDER/")
      ->required()
      ->type_name("FILE");
  verb->add_option("--frames", options->frames, "Only frames of these numbers, at their times")
      ->type_name("FIRST-LAST/STEP,...");
  verb->add_option("--slow", request.slow, "So many times slower than the footage")
      ->check(between(0.001, 1000.0))
      ->type_name("FACTOR");
  verb->add_option("--rate", request.rate, "Frames a second of footage that tells no times")
      ->capture_default_str()
      ->check(between(0.001, 1000.0))
      ->type_name("NUMBER");
  verb->add_option("--crop", options->crop, "Only this part of the frames, in pixels")
      ->type_name("WIDTHxHEIGHT+LEFT+TOP");
  verb->add_option("--enlarge", request.style.enlargement,
                   "Pixels of the drawing for each of a frame's sides (default: as many as small "
                   "frames need to have a side of 640)")
      ->check(between(1, 64))
      ->type_name("FACTOR");
  verb->add_option("--lines", request.lines, "Draw lines between these points")
      ->type_name("NAME-NAME,...");
  verb->add_option("--annotations", request.annotations,
                   "Draw the lines that this annotation file has")
      ->type_name("FILE");
  verb->add_option("--trail", request.style.trail, "Show where points were in so many frames")
      ->capture_default_str()
      ->check(between(0, 10000))
      ->type_name("COUNT");
  verb->add_flag("--no-names", options->no_names, "Without names of points");
  verb->add_flag("--no-numbers", options->no_numbers, "Without numbers and times of frames");
  verb->callback([options] {
    RenderRequest& asked = options->request;
    requireKind(asked.output);
    if (std::isnan(asked.slow) || std::isnan(asked.rate)) {
      throw Misuse("--slow and --rate want numbers");
    }
    asked.footage = footageOf(options->footage);
    asked.frames = parseFrameChoice(options->frames);
    if (!options->crop.empty()) asked.style.crop = parseCrop(options->crop);
    asked.style.names = !options->no_names;
    asked.numbers = !options->no_numbers;
    render(asked);
  });
}

}  // namespace remora::tools
