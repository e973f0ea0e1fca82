// remora frames: pictures of some frames of a video, to be annotated.

#include <CLI/CLI.hpp>
#include <climits>
#include <cmath>
#include <memory>
#include <set>

#include "follow/base/files.h"
#include "follow/base/text.h"
#include "follow/footage/footage.h"
#include "follow/footage/png_files.h"
#include "named_footage.h"
#include "output.h"
#include "verbs.h"

namespace remora::tools {
namespace {

struct FramesRequest {
  std::string video;
  std::string base;
  NamedFrames frames;
};

// Pictures appear one by one; the table, when the last one is there or the video breaks off.
void writeFrames(const FramesRequest& request) {
  const std::string table = request.base + ".csv";
  requireReadable(request.video);
  requireWritable(table);
  requireApart({request.video}, {table});
  const Footage video(VideoPart{request.video, 0, {}});
  const int every = request.frames.every;
  std::set<int> wanted;
  if (!request.frames.at.empty()) wanted = parseNumbers(request.frames.at);
  if (request.frames.count > 0) wanted = variedFrames(video, request.frames.count);
  const int last = wanted.empty() ? INT_MAX : *wanted.rbegin();
  std::string rows = "frame,time\n";
  int written = 0;
  const auto take = [&](const FootageFrame& frame) {
    const bool is_wanted = every > 0 ? frame.number % every == 0 : wanted.erase(frame.number) > 0;
    if (is_wanted) {
      savePng(frame.picture.view(), frameFile(request.base, frame.number));
      rows += format("%d,", frame.number);
      rows += std::isnan(frame.time) ? "\n" : format("%.6f\n", frame.time);
      ++written;
    }
    return frame.number < last;
  };
  try {
    readAll(video, "writing", take);
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
  auto request = std::make_shared<FramesRequest>();
  CLI::App* const verb =
      app.add_subcommand("frames", "Write frames of a video as pictures, to annotate them");
  verb->add_option("video", request->video, "Video file")->required()->type_name("FILE");
  verb->add_option("-o,--output", request->base,
                   "Base of their names, BASE.nnnnn.png, and of a table with their times, BASE.csv")
      ->required()
      ->type_name("BASE");
  addFrameChoice(*verb, request->frames)->require_option(1);
  verb->callback([request] { writeFrames(*request); });
}

}  // namespace remora::tools
