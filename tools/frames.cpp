// remora frames: pictures of some frames of a video, to be annotated.

#include <CLI/CLI.hpp>
#include <climits>
#include <cmath>
#include <memory>
#include <optional>
#include <set>

#include "follow/base/files.h"
#include "follow/base/interruptions.h"
#include "follow/base/text.h"
#include "follow/footage/footage.h"
#include "follow/footage/png_files.h"
#include "follow/footage/variety.h"
#include "output.h"
#include "progress.h"
#include "verbs.h"

namespace remora::tools {
namespace {

constexpr int kMostFrames = 10000;

struct FramesRequest {
  std::string video;
  std::string base;
  int every = 0;
  int count = 0;
  std::set<int> at;
};

std::set<int> parseNumbers(const std::string& text) {
  std::set<int> numbers;
  for (const std::string& piece : split(text, ',')) {
    const auto number = toNumber<int>(piece);
    if (!number || *number < 0) throw Misuse("--at " + text + ": not frame numbers");
    numbers.insert(*number);
  }
  return numbers;
}

// Hands every frame of a video to `take`, until that says no.
template <class Take>
void readAll(const std::string& video, const char* what, const Take& take) {
  const auto reader = Footage(VideoPart{video, 0, {}}).open();
  const NotedInterruption interruption;
  Progress progress(what, "frames", reader->expected().value_or(0));
  for (FootageFrame frame; reader->next(frame);) {
    progress.advance();
    if (interruption.signal() != 0) throw Interruption("interrupted", interruption.signal());
    if (!take(frame)) break;
  }
  progress.finish();
}

std::set<int> variedFrames(const FramesRequest& request) {
  VariedFrames varied(static_cast<std::size_t>(request.count));
  readAll(request.video, "looking", [&](const FootageFrame& frame) {
    varied.look(frame.number, frame.picture.view());
    return true;
  });
  const std::vector<int> chosen = varied.choose();
  return {chosen.begin(), chosen.end()};
}

// Pictures appear one by one; the table, when the last one is there or the video breaks off.
void writeFrames(const FramesRequest& request) {
  const std::string table = request.base + ".csv";
  requireReadable(request.video);
  requireWritable(table);
  requireApart({request.video}, {table});
  std::set<int> wanted = request.at;
  if (request.count > 0) wanted = variedFrames(request);
  const int last = wanted.empty() ? INT_MAX : *wanted.rbegin();
  std::string rows = "frame,time\n";
  int written = 0;
  const auto take = [&](const FootageFrame& frame) {
    const bool is_wanted =
        request.every > 0 ? frame.number % request.every == 0 : wanted.erase(frame.number) > 0;
    if (is_wanted) {
      savePng(frame.picture.view(), frameFile(request.base, frame.number));
      rows += format("%d,", frame.number);
      rows += std::isnan(frame.time) ? "\n" : format("%.6f\n", frame.time);
      ++written;
    }
    return frame.number < last;
  };
  try {
    readAll(request.video, "writing", take);
  } catch (const Error&) {
    if (written > 0) writeFile(table, rows);
    throw;
  }
  if (written > 0) writeFile(table, rows);
  if (!wanted.empty())
    throw Error(format("%s has no frame %d", request.video.c_str(), *wanted.begin()));
  say(format("%d frames are %s.nnnnn.png; their times are in %s", written, request.base.c_str(),
             table.c_str()));
}

}  // namespace

void addFrames(CLI::App& app) {
  struct Options {
    FramesRequest request;
    std::string at;
  };
  auto options = std::make_shared<Options>();
  FramesRequest* const request = &options->request;
  CLI::App* const verb =
      app.add_subcommand("frames", "Write frames of a video as pictures, to annotate them");
  verb->add_option("video", request->video, "Video file")->required()->type_name("FILE");
  verb->add_option("-o,--output", request->base,
                   "Base of their names, BASE.nnnnn.png, and of a table with their times, BASE.csv")
      ->required()
      ->type_name("BASE");
  auto* const choice = verb->add_option_group("choice", "Which frames")->require_option(1);
  choice->add_option("--every", request->every, "Every so many frames, from frame 0 on")
      ->check(CLI::Range(1, INT_MAX))
      ->type_name("STEP");
  choice->add_option("--count", request->count, "So many that differ")
      ->check(CLI::Range(1, kMostFrames))
      ->type_name("COUNT");
  choice->add_option("--at", options->at, "Frames of these numbers")->type_name("NUMBER,...");
  verb->callback([options] {
    if (!options->at.empty()) options->request.at = parseNumbers(options->at);
    writeFrames(options->request);
  });
}

}  // namespace remora::tools
