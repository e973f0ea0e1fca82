#include "tracking/many.h"

#include <sys/resource.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <sstream>
#include <utility>

#include "follow/base/files.h"
#include "follow/base/interruptions.h"
#include "follow/base/text.h"
#include "follow/base/workers.h"
#include "options.h"
#include "output.h"
#include "progress.h"
#include "tracking/record.h"
#include "follow/tracking/tracker.h"
#include "tracking/run.h"

namespace remora::tools {
namespace {

namespace fs = std::filesystem;

// A video or sequence, and where its table goes.
struct Piece {
  NamedFootage named;
  std::string name;
  std::string table;
};

std::string stemOf(const NamedFootage& named) {
  const std::string base =
      named.sequences.empty() ? named.files[0] : parseSequence(named.sequences[0]).base;
  const bool is_file = named.sequences.empty() || isVideo(base);
  return is_file ? fs::path(base).stem().string() : fs::path(base).filename().string();
}

std::vector<Piece> piecesOf(const ManyRequest& request) {
  std::vector<Piece> pieces;
  std::map<std::string, std::string> names;  // by table
  for (const NamedFootage& named : request.footage) {
    const std::string name = named.sequences.empty() ? named.files[0] : named.sequences[0];
    const std::string table = request.folder + "/" + stemOf(named) + ".csv";
    const auto [other, is_new] = names.emplace(table, name);
    if (!is_new) {
      throw Misuse(table + " cannot be the table of both " + other->second + " and " + name);
    }
    pieces.push_back({named, name, table});
  }
  return pieces;
}

enum class Outcome : char { kTracked = 't', kWasThere = 'w', kFailed = 'f' };

struct Result {
  Outcome outcome = Outcome::kFailed;
  std::string line;
};

class Many {
 public:
  explicit Many(const ManyRequest& request)
      : request_(request),
        pieces_(piecesOf(request)),
        model_(request.each.model, request.each.steps),
        units_(chosenUnits(request.units, pieces_.size(), "this list")) {}

  const std::vector<Piece>& pieces() const { return pieces_; }
  const std::vector<std::size_t>& units() const { return units_; }
  const Model& model() const { return model_; }

  // Everything but the files that are written.
  TrackRequest requestOf(const Piece& piece) const {
    TrackRequest one = request_.each;
    one.footage = footageOf(piece.named);
    one.one_of_many = true;
    return one;
  }

  // The summary of its table, where that is finished. Throws Error for one that was made from
  // something else.
  std::optional<std::string> finished(const Piece& piece, const Origin& origin) const {
    const std::optional<TableRecord> record = readRecord(piece.table);
    if (!record) return {};
    const std::string difference = differenceOf(record->origin, origin);
    if (difference.empty()) return record->summary;
    throw Error(piece.table + " was made from " + difference + "; --force makes it anew");
  }

  void trackAll() {
    makeFolder(request_.folder);
    for (const std::size_t unit : units_) requireWritable(pieces_[unit].table);
    results_.resize(units_.size());
    doAll();
    say();
  }

 private:
  Result track(const Piece& piece) const {
    TrackRequest one = requestOf(piece);
    const Origin origin = originOf(one, model_);
    if (!request_.force) {
      const std::optional<std::string> summary = finished(piece, origin);
      if (summary) return {Outcome::kWasThere, *summary};
    }
    NewFile table(piece.table);
    one.csv = table.path();
    const auto follow = one.both_ways ? followBothWays : one.smooth ? followSmoothly : followOnline;
    const std::string summary = follow(one, model_, {}).text();
    table.commit();
    writeRecord(piece.table, {origin, summary});
    return {Outcome::kTracked, summary};
  }

  Result tried(const Piece& piece) const {
    try {
      return track(piece);
    } catch (const Interruption&) {
      throw;
    } catch (const std::exception& error) {
      return {Outcome::kFailed, error.what()};
    }
  }

  void doAll() {
    const NotedInterruption interruption;
    Progress progress("tracking", "videos", static_cast<long>(units_.size()));
    std::size_t left = units_.size();
    Tasks tasks;
    tasks.count = units_.size();
    tasks.apart = true;  // whatever a file does to the process that reads it
    tasks.run = [&](std::size_t i) {
      const Result result = tried(pieces_[units_[i]]);
      return static_cast<char>(result.outcome) + result.line;
    };
    tasks.done = [&](std::size_t i, const std::string& result) {
      results_[i] = {static_cast<Outcome>(result[0]), result.substr(1)};
      --left;
      progress.advance();
    };
    tasks.failed = [&](std::size_t i, const std::string& reason) {
      results_[i].line = reason;
      --left;
      progress.advance();
    };
    tasks.wait = [&] {
      if (interruption.signal() == 0) return;
      throw Interruption(format("interrupted with %zu of %zu left: the same command goes on from "
                                "there",
                                left, units_.size()),
                         interruption.signal());
    };
    doTasks(tasks, request_.jobs);
  }

  void say() const {
    std::map<Outcome, std::size_t> counts;
    for (std::size_t i = 0; i < results_.size(); ++i) {
      const Result& result = results_[i];
      ++counts[result.outcome];
      const bool failed = result.outcome == Outcome::kFailed;
      tools::say(pieces_[units_[i]].name + ": " + (failed ? "not tracked: " : "") + result.line);
    }
    const std::string total = format("%zu tracked, %zu finished before", counts[Outcome::kTracked],
                                     counts[Outcome::kWasThere]);
    const std::size_t failed = counts[Outcome::kFailed];
    if (failed > 0) {
      throw Error(total + format(", %zu of %zu could not be tracked", failed, results_.size()));
    }
    tools::say(total);
  }

  const ManyRequest& request_;
  std::vector<Piece> pieces_;
  Model model_;
  std::vector<std::size_t> units_;
  std::vector<Result> results_;  // of each unit
};

// Seconds of processors, of this process and of those that it has ended.
double secondsUsed() {
  double seconds = 0.0;
  for (const int who : {RUSAGE_SELF, RUSAGE_CHILDREN}) {
    rusage usage{};
    getrusage(who, &usage);
    for (const timeval& time : {usage.ru_utime, usage.ru_stime}) {
      seconds += static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_usec);
    }
  }
  return seconds;
}

// A program that decodes runs beside this one.
double mostBytes() {
  double bytes = 0.0;
  for (const int who : {RUSAGE_SELF, RUSAGE_CHILDREN}) {
    rusage usage{};
    getrusage(who, &usage);
    bytes += 1024.0 * static_cast<double>(usage.ru_maxrss);
  }
  return bytes;
}

// What tracking will take: seconds a frame from the first frames of some video, frames of videos
// from the sizes of their files.
class TrackingForecast {
 public:
  explicit TrackingForecast(const Many& many) : many_(many) {
    result_.before = secondsUsed();
    const double seconds = secondsOfFrame();
    const double video_frames = framesOfByte();
    result_.units = many.pieces().size();
    for (const Piece& piece : many.pieces()) {
      const double frames = framesOf(piece, video_frames);
      result_.all += seconds * frames;
      result_.longest = std::max(result_.longest, seconds * frames);
    }
    result_.shared = mostBytes();
  }

  Forecast take() const { return result_; }

 private:
  static constexpr int kFrames = 60;
  static constexpr std::size_t kSamples = 20;

  // Of the first that can be read.
  double secondsOfFrame() const {
    std::string reason;
    for (const Piece& piece : many_.pieces()) {
      try {
        return trackSome(many_.requestOf(piece).footage);
      } catch (const Error& error) {
        if (reason.empty()) reason = error.what();
      }
    }
    throw Error("none of these can be tracked: " + reason);
  }

  double trackSome(const Footage& footage) const {
    const double start = secondsUsed();
    int frames = 0;
    {
      const auto reader = footage.open();
      Tracker tracker(many_.model());
      for (FootageFrame frame; frames < kFrames && reader->next(frame); ++frames) {
        tracker.next(frame.picture.view());
      }
    }
    if (frames == 0) throw Error("there is no frame");
    return (secondsUsed() - start) / frames;
  }

  // Of videos; 0 where there is none, or none that tells how many frames it has.
  double framesOfByte() const {
    double frames = 0.0;
    double bytes = 0.0;
    const std::size_t step = std::max<std::size_t>(many_.pieces().size() / kSamples, 1);
    for (std::size_t i = 0; i < many_.pieces().size(); i += step) {
      try {
        const Footage footage = many_.requestOf(many_.pieces()[i]).footage;
        if (footage.video() == nullptr) continue;
        frames += static_cast<double>(footage.open()->expected().value_or(0));
        bytes += static_cast<double>(fs::file_size(footage.video()->file));
      } catch (const std::exception&) {  // its own task will say so
      }
    }
    return bytes > 0.0 ? frames / bytes : 0.0;
  }

  double framesOf(const Piece& piece, double video_frames) const {
    try {
      const Footage footage = many_.requestOf(piece).footage;
      if (footage.images() != nullptr) return static_cast<double>(footage.images()->size());
      return video_frames * static_cast<double>(fs::file_size(footage.video()->file));
    } catch (const std::exception&) {
      return 0.0;
    }
  }

  const Many& many_;
  Forecast result_;
};

}  // namespace

std::vector<NamedFootage> readList(const std::string& file) {
  std::vector<NamedFootage> footage;
  std::istringstream in(readText(file));
  for (auto line = nextLine(in); line; line = nextLine(in)) {
    if (line->empty()) continue;
    NamedFootage named;
    const bool is_sequence = !fs::exists(*line) && line->find(':') != std::string::npos;
    (is_sequence ? named.sequences : named.files).push_back(*line);
    footage.push_back(std::move(named));
  }
  if (footage.empty()) throw Error(file + " names no video");
  return footage;
}

void trackMany(const ManyRequest& request) { Many(request).trackAll(); }

void checkMany(const ManyRequest& request) {
  const Many many(request);
  std::vector<std::size_t> missing;
  for (const std::size_t unit : many.units()) {
    const Piece& piece = many.pieces()[unit];
    try {
      if (many.finished(piece, originOf(many.requestOf(piece), many.model()))) continue;
      say(piece.name + ": not tracked");
    } catch (const Error& error) {
      say(piece.name + ": not tracked: " + error.what());
    }
    missing.push_back(unit);
  }
  const std::size_t all = many.units().size();
  if (!missing.empty()) {
    throw Error(format("%zu of %zu are not finished in %s: %s", missing.size(), all,
                       request.folder.c_str(), rangesOf(missing).c_str()));
  }
  say(format("all %zu are finished", all));
}

void planMany(const ManyRequest& request, Engine engine, const std::vector<std::string>& arguments,
              std::size_t group) {
  const Many many(request);
  const Forecast expected = TrackingForecast(many).take();
  const std::string folder = request.folder + "/plan";
  makeFolder(folder);
  std::string list;
  for (const Piece& piece : many.pieces()) list += piece.name + '\n';
  writeFile(folder + "/videos", list);
  std::vector<std::string> words = {"track"};
  words.insert(words.end(), arguments.begin(), arguments.end());
  const std::string videos = " --list \"$folder/plan/videos\"";
  const std::string start = writeJob(
      {engine,
       request.folder,
       {"Tracks the videos of the numbers that it is given, as 0-9.", words, videos + " --unit"},
       {"Says which are not finished.", words, videos + " --check"},
       expected,
       group});
  say("the job is written; " + start + " starts it");
}

}  // namespace remora::tools
