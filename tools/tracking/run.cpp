#include "tracking/run.h"

#include <functional>
#include <optional>
#include <utility>

#include "follow/base/interruptions.h"
#include "follow/base/text.h"
#include "follow/footage/frame_store.h"
#include "follow/tracking/corrected.h"
#include "follow/tracking/smoothing.h"
#include "output.h"
#include "progress.h"
#include "tracking/outputs.h"

namespace remora::tools {
namespace {

// Rows on a terminal are a sign of progress themselves.
bool showsProgress(const TrackRequest& request) {
  return !request.one_of_many && (!request.csv.empty() || !isTerminal());
}

// Shows how far tracking is, and ends it at an interruption.
class Watch {
 public:
  Watch(const char* what, bool shown, std::optional<long> steps) {
    if (shown) progress_.emplace(what, "frames", steps.value_or(0));
  }

  void tell() {
    if (progress_) progress_->advance();
    if (interruption_.signal() != 0) throw Interruption("interrupted", interruption_.signal());
  }

  void end() {
    if (progress_) progress_->finish();
  }

 private:
  NotedInterruption interruption_;
  std::optional<Progress> progress_;
};

// Says of the first frame how it is not like those that the model was trained on.
class FirstFrame {
 public:
  explicit FirstFrame(const Model& model) : model_(model) {}

  void look(const FootageFrame& frame) {
    if (std::exchange(seen_, true)) return;
    const std::string notice = model_.noticeOf(frame.picture);
    if (!notice.empty()) say("warning: frame " + frame.name + ": " + notice);
  }

 private:
  const Model& model_;
  bool seen_ = false;
};

using TakeTracked = std::function<void(const FootageFrame&, TrackedShape)>;

void follow(FrameReader& reader, const TrackRequest& request, const Model& model,
            const KnownShapes& known, Watch& watch, const TakeTracked& take) {
  CorrectedTracker tracker(model);
  FirstFrame first(model);
  FootageFrame frame;
  while (reader.next(frame)) {
    first.look(frame);
    const Shape* const given = knownIn(known, request, frame);
    TrackedShape shape;
    try {
      shape = tracker.next(frame.picture.view(), given);
    } catch (const Error& error) {
      throw Error("frame " + frame.name + ": " + error.what());
    }
    take(frame, std::move(shape));
    watch.tell();
  }
  watch.end();
}

// The message of a run that ended early.
std::string howFar(const std::string& reason, const TracksSummary& summary, const std::string& last,
                   std::optional<long> expected) {
  const std::string of = expected ? format(" of %ld", *expected) : "";
  return reason +
         format("; %zu%s frames are done, the last one is %s; ", summary.frames(), of.c_str(),
                last.c_str()) +
         summary.text();
}

// The same exception with another message.
[[noreturn]] void throwAgain(const Error& error, const std::string& message) {
  const auto* const interruption = dynamic_cast<const Interruption*>(&error);
  if (interruption != nullptr) throw Interruption(message, interruption->signal);
  throw Error(message);
}

FrameStore storeFrames(const TrackRequest& request) {
  std::optional<Watch> watch;
  return FrameStore(request.footage, [&](std::optional<long> expected) {
    if (!watch) watch.emplace("reading", !request.one_of_many, expected);
    watch->tell();
  });
}

void trackAll(const TrackRequest& request, const Model& model, const KnownShapes& known,
              Tracks& tracks) {
  FrameStore store = storeFrames(request);
  KnownFrames known_at;
  for (std::size_t i = 0; i < store.size(); ++i) {
    tracks.frame_numbers.push_back(store.numberOf(i));
    if (store.tellsTimes()) tracks.times.push_back(store.timeOf(i));
    const auto given = known.find(store.numberOf(i));
    if (given != known.end()) known_at.emplace(i, given->second);
  }
  if (store.size() > 0) requireReached(known, request, store.numberOf(store.size() - 1));
  Watch watch("tracking", !request.one_of_many, static_cast<long>(2 * store.size()));
  const auto tell = [&watch](std::size_t) {
    watch.tell();
    return true;
  };
  FirstFrame first(model);
  const auto load = [&](std::size_t index) {
    FootageFrame frame = store.load(index);
    first.look(frame);
    knownIn(known, request, frame);
    return std::move(frame.picture);
  };
  tracks.shapes = trackBothWays(model, store.size(), known_at, load, tell);
  watch.end();
}

void smoothAndWrite(const TrackRequest& request, Tracks& tracks) {
  if (request.smooth) smooth(tracks);
  writeAll(request, tracks);
}

}  // namespace

TracksSummary followOnline(const TrackRequest& request, const Model& model,
                           const KnownShapes& known) {
  const auto reader = request.footage.open();
  TrackOutputs outputs(request, model.pointNames(), reader->tellsTimes());
  int last = request.footage.first();
  try {
    Watch watch("tracking", showsProgress(request), reader->expected());
    follow(*reader, request, model, known, watch, [&](const FootageFrame& frame, const TrackedShape& shape) {
      outputs.add(frame, shape);
      last = frame.number;
    });
    requireReached(known, request, last);
  } catch (const Error& error) {
    if (outputs.summary().frames() == 0 || request.one_of_many) throw;
    outputs.end();
    throwAgain(error, howFar(error.what(), outputs.summary(), outputs.last(), reader->expected()));
  }
  outputs.end();
  return outputs.summary();
}

TracksSummary followSmoothly(const TrackRequest& request, const Model& model,
                             const KnownShapes& known) {
  const auto reader = request.footage.open();
  Tracks tracks;
  tracks.names = model.pointNames();
  std::string last;
  try {
    Watch watch("tracking", !request.one_of_many, reader->expected());
    follow(*reader, request, model, known, watch, [&](const FootageFrame& frame, TrackedShape shape) {
      tracks.frame_numbers.push_back(frame.number);
      if (reader->tellsTimes()) tracks.times.push_back(frame.time);
      tracks.shapes.push_back(std::move(shape));
      last = frame.name;
    });
    requireReached(known, request, tracks.frame_numbers.back());
  } catch (const Error& error) {
    if (tracks.shapes.empty() || request.one_of_many) throw;
    smoothAndWrite(request, tracks);
    throwAgain(error, howFar(error.what(), TracksSummary(tracks), last, reader->expected()));
  }
  smoothAndWrite(request, tracks);
  return TracksSummary(tracks);
}

TracksSummary followBothWays(const TrackRequest& request, const Model& model,
                             const KnownShapes& known) {
  Tracks tracks;
  tracks.names = model.pointNames();
  try {
    trackAll(request, model, known, tracks);
  } catch (const Error& error) {
    throwAgain(error,
               std::string(error.what()) + "; nothing is written, as --both-ways needs all frames");
  }
  smoothAndWrite(request, tracks);
  return TracksSummary(tracks);
}

}  // namespace remora::tools
