#include "named_footage.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <climits>
#include <utility>

#include "follow/base/interruptions.h"
#include "follow/base/text.h"
#include "follow/footage/picture.h"
#include "follow/footage/variety.h"
#include "options.h"
#include "output.h"
#include "progress.h"
#include "ranges.h"

namespace remora::tools {
namespace {

constexpr int kMostFrames = 10000;

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

// The same, of images without those that are not wanted.
Footage narrowed(const Footage& footage, const std::set<int>& numbers) {
  if (footage.images() == nullptr) return footage;
  std::vector<Frame> images;
  for (const Frame& image : *footage.images()) {
    if (numbers.count(image.number) != 0) images.push_back(image);
  }
  return Footage(std::move(images));
}

}  // namespace

void addFootage(CLI::App& verb, NamedFootage& footage) {
  verb.add_option("files", footage.files,
                  "A video; or image files in order, which count as frames 0, 1, 2 ...")
      ->type_name("FILE");
  verb.add_option("--sequence", footage.sequences,
                  "Numbered images, or a part of a video, instead of files; without a count, all "
                  "there are")
      ->type_name("BASE:START[:COUNT]")
      ->expected(1)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
}

Footage footageOf(const NamedFootage& footage) {
  if (footage.sequences.size() > 1) throw Misuse("one --sequence at a time");
  if (footage.sequences.empty() == footage.files.empty()) {
    if (footage.files.empty()) throw CLI::RequiredError("--sequence or files");
    throw Misuse("--sequence and files exclude each other");
  }
  if (footage.sequences.empty()) return footageOfFiles(footage.files);
  return Footage(parseSequence(footage.sequences[0]),
                 [](const std::string& gap) { say("warning: " + gap); });
}

std::string recordingOf(const NamedFootage& footage) {
  if (!footage.sequences.empty()) return parseSequence(footage.sequences[0]).base;
  const bool is_video = footage.files.size() == 1 && !isImageFile(footage.files[0]);
  return is_video ? footage.files[0] : "";
}

CLI::Option_group* addFrameChoice(CLI::App& verb, NamedFrames& frames) {
  CLI::Option_group* const choice = verb.add_option_group("choice", "Which frames");
  choice->require_option(0, 1);
  choice->add_option("--every", frames.every, "Every so many frames, from frame 0 on")
      ->check(between(1, INT_MAX))
      ->type_name("STEP");
  choice->add_option("--count", frames.count, "So many that differ")
      ->check(between(1, kMostFrames))
      ->type_name("COUNT");
  choice->add_option("--at", frames.at, "Frames of these numbers")
      ->each([](const std::string& text) { parseNumbers(text); })  // refused before all else
      ->type_name("NUMBER,...");
  return choice;
}

std::set<int> parseNumbers(const std::string& text) {
  std::set<int> numbers;
  for (const std::string& piece : split(text, ',')) {
    const auto number = toNumber<int>(piece);
    if (!number || *number < 0) throw Misuse("--at " + text + ": not frame numbers");
    numbers.insert(*number);
  }
  return numbers;
}

void readAll(const Footage& footage, const char* what, const TakeFrame& take, long most) {
  const auto reader = footage.open();
  const NotedInterruption interruption;
  Progress progress(what, "frames", std::min(reader->expected().value_or(0), most));
  for (FootageFrame frame; reader->next(frame);) {
    progress.advance();
    if (interruption.signal() != 0) throw Interruption("interrupted", interruption.signal());
    if (!take(frame)) break;
  }
  progress.finish();
}

void readThese(const Footage& footage, const std::set<int>& numbers, const std::string& source,
               const char* what, const TakeFrame& take) {
  std::set<int> left = numbers;
  const Footage wanted = narrowed(footage, numbers);
  if (wanted.images() == nullptr || !wanted.images()->empty()) {
    readAll(wanted, what, [&](const FootageFrame& frame) {
      if (left.erase(frame.number) > 0 && !take(frame)) return false;
      return !left.empty();
    });
  }
  if (left.empty()) return;
  throw Error(source + format(": the footage has no frame %d", *left.begin()));
}

std::set<int> variedFrames(const Footage& footage, int count) {
  VariedFrames varied(static_cast<std::size_t>(count));
  readAll(footage, "looking", [&](const FootageFrame& frame) {
    varied.look(frame.number, frame.picture.view());
    return true;
  });
  const std::vector<int> chosen = varied.choose();
  return {chosen.begin(), chosen.end()};
}

}  // namespace remora::tools
