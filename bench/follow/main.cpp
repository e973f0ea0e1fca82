// Measures how well remora::follow follows real and rendered sequences, whether it finds shapes,
// and what that costs. See bench/following.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "ahead.h"
#include "bench/seeds.h"
#include "cells.h"
#include "finding.h"
#include "follow/base/text.h"
#include "output.h"
#include "subjects.h"
#include "timing.h"
#include "tracking.h"
#include "trial.h"

namespace {

using namespace remora;
using namespace remora::bench;
using tools::Misuse;
using tools::say;

const char* const kFinding = "finding";
const char* const kTiming = "timing";
const char* const kGrowth = "growth";

struct Options {
  std::string recordings = ".";
  std::string scenes;          // where they are kept; empty: nowhere
  std::set<std::string> only;  // empty: everything
  std::vector<unsigned> seeds = {1, 2, 3, 4, 5};

  bool wants(const std::string& what) const { return only.empty() || only.count(what) != 0; }
};

// The rest of a text that begins with `prefix`.
std::optional<std::string> after(const std::string& prefix, const std::string& text) {
  if (text.rfind(prefix, 0) != 0) return std::nullopt;
  return text.substr(prefix.size());
}

void requireKnown(const std::set<std::string>& wanted) {
  std::set<std::string> known = {kFinding, kTiming, kGrowth};
  for (const Subject& subject : allSubjects("", "")) known.insert(subject.name);
  std::string names;
  for (const std::string& name : known) names += " " + name;
  for (const std::string& name : wanted) {
    if (known.count(name) == 0) throw Misuse("'" + name + "' is none of" + names);
  }
}

Options parse(const std::vector<std::string>& arguments) {
  Options options;
  if (const char* const folder = std::getenv("REMORA_FOOTAGE")) options.recordings = folder;
  for (const std::string& argument : arguments) {
    if (const auto only = after("only=", argument)) {
      const std::vector<std::string> names = split(*only, ',');
      options.only.insert(names.begin(), names.end());
    } else if (const auto seeds = after("seeds=", argument)) {
      options.seeds = parseSeeds(*seeds);
    } else if (const auto scenes = after("scenes=", argument)) {
      options.scenes = *scenes;
    } else if (argument.find('=') != argument.npos || argument.rfind('-', 0) == 0) {
      throw Misuse(
          "usage: remora_following [FOLDER] [only=NAME,...] [seeds=NUMBER,...] [scenes=FOLDER]");
    } else {
      options.recordings = argument;
    }
  }
  requireKnown(options.only);
  return options;
}

// Whether there is footage; says so where there is none.
bool canBeUsed(const Subject& subject) {
  if (isThere(subject)) return true;
  say(subject.name + " is left out: there is no " + subject.folder +
      "/truth.txt; FOLDER or REMORA_FOOTAGE names where to look");
  return false;
}

// Those that are wanted, and whose footage is there.
std::vector<Subject> chooseSubjects(const Options& options) {
  std::vector<Subject> chosen;
  for (const Subject& subject : allSubjects(options.recordings, options.scenes)) {
    const bool wanted = options.wants(subject.name) || options.wants(kFinding);
    if (wanted && canBeUsed(subject)) chosen.push_back(subject);
  }
  return chosen;
}

// A model that is trained and used.
struct Run {
  const Subject* subject;
  unsigned seed;
};

std::vector<Run> listRuns(const std::vector<Subject>& subjects, const Options& options) {
  std::vector<Run> runs;
  for (const Subject& subject : subjects) {
    const std::size_t count = options.wants(subject.name) ? options.seeds.size() : 1;
    for (std::size_t i = 0; i < count; ++i) runs.push_back({&subject, options.seeds[i]});
  }
  return runs;
}

void printTracking(const TrackingTable& table) {
  print(
      "## How well it tracks\n\n"
      "Means over the seeds and, in brackets, the worst seed. Distances in px; lost: farther off\n"
      "than 5 px. LK: pyramidal Lucas-Kanade. Errors and lost are those of visible points; marks,\n"
      "as occluded or lost, and the ROC area are those of all.\n\n" +
      table.text() +
      "\n## What confidence is worth\n\n"
      "Stretches that training has not seen; close: within 5 % of the shape's size.\n\n" +
      table.reliability());
}

// Every model is trained once, follows, and is kept for finding where it is that of the first seed.
std::vector<Exhibit> follow(const std::vector<Subject>& subjects, const Options& options) {
  constexpr int kPictures = 20;
  const std::vector<Run> runs = listRuns(subjects, options);
  std::vector<Ahead<Footage>::Job> jobs;
  for (const Run& run : runs) jobs.push_back([run] { return run.subject->footage(run.seed); });
  Ahead<Footage> footages(jobs);

  TrackingTable table;
  std::vector<Exhibit> exhibits;
  for (const Run& run : runs) {
    const Subject& subject = *run.subject;
    const Footage footage = footages.next();
    say(format("%s, seed %u", subject.name.c_str(), run.seed));
    const Model model = trainedModel(examplesOf(footage, subject.training), run.seed);
    if (options.wants(subject.name)) table.add(subject, footage, model);
    if (run.seed != options.seeds[0] || !options.wants(kFinding)) continue;
    exhibits.push_back({subject, model, excerptOf(footage, kPictures)});
  }
  const auto wanted = [&](const Subject& s) { return options.wants(s.name); };
  if (std::any_of(subjects.begin(), subjects.end(), wanted)) printTracking(table);
  return exhibits;
}

void find(const std::vector<Exhibit>& exhibits) {
  if (exhibits.empty()) return;
  say("finding");
  print(
      "\n## Finding\n\n"
      "Pictures from all of the sequence, each on its own. Found: reported with trust, and the\n"
      "mean error of visible points is below 5 px. Other pictures are those of the other "
      "shapes.\n\n" +
      findingTable(exhibits));
}

void measureTime(const Options& options) {
  if (!options.wants(kTiming)) return;
  print(
      "\n## Time\n\n"
      "Milliseconds of processor a frame of 8-bit grey in memory, medians of interleaved rounds;\n"
      "LK with the pyramid of the new frame. A lost shape is looked for within the work that a\n"
      "frame may take; a search of the whole picture at once is what find() does.\n\n" +
      timingTable());
  print("\nWhere the time of a followed frame of 640 x 480 goes:\n\n" +
        head({"points", "part", "ms"}) + partsTable(12) + partsTable(68));
  for (const Subject& subject : allSubjects(options.recordings, options.scenes)) {
    if (subject.variant || !canBeUsed(subject)) continue;
    const std::size_t frames = examplesOf(subject.footage(1), subject.training).size();
    print(format("\nTraining %s (%zu frames): %.2f s of processor.\n", subject.name.c_str(), frames,
                 trainingTime(subject)));
  }
}

void measureGrowth(const Options& options) {
  if (!options.wants(kGrowth)) return;
  print("\n## Growth\n\nMilliseconds of processor of a followed frame, medians.\n\n" +
        growthTable());
}

void run(const std::vector<std::string>& arguments) {
  const Options options = parse(arguments);
  const std::vector<Subject> subjects = chooseSubjects(options);
  find(follow(subjects, options));
  measureTime(options);
  measureGrowth(options);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    run({argv + 1, argv + argc});
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "remora_following: %s\n", error.what());
    return dynamic_cast<const Misuse*>(&error) == nullptr ? 1 : 2;
  }
}
