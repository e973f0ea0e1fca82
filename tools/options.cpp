#include "options.h"

#include <filesystem>
#include <utility>

#include "follow/base/text.h"
#include "follow/training/training.h"
#include "output.h"

namespace remora::tools {
namespace {

// Removes :NUMBER from the end of a text, if it is there, and returns the number.
std::optional<int> takeNumber(std::string& text) {
  const std::size_t colon = text.rfind(':');
  if (colon == std::string::npos) return std::nullopt;
  const auto number = toNumber<int>(std::string_view(text).substr(colon + 1));
  if (number) text.resize(colon);
  return number;
}

// NUMBER or FIRST-LAST; the numbers may be negative.
std::optional<FrameRange> parseEnds(std::string_view text) {
  const std::size_t dash = text.find('-', 1);
  const auto first = toNumber<int>(text.substr(0, dash));
  const auto last = dash == text.npos ? first : toNumber<int>(text.substr(dash + 1));
  if (!first || !last || *last < *first) return std::nullopt;
  return FrameRange{*first, *last};
}

// NUMBER or FIRST-LAST[/STEP]
std::optional<FrameRange> parseRange(std::string_view text) {
  const std::size_t slash = text.find('/');
  auto range = parseEnds(text.substr(0, slash));
  if (!range || slash == text.npos) return range;
  const auto step = toNumber<int>(text.substr(slash + 1));
  if (!step || *step < 1) return std::nullopt;
  range->step = *step;
  return range;
}

}  // namespace

Sequence parseSequence(const std::string& text) {
  Sequence sequence;
  sequence.base = text;
  auto start = takeNumber(sequence.base);
  if (const auto earlier = takeNumber(sequence.base)) {
    sequence.count = std::exchange(start, earlier);
  }
  if (!start || sequence.base.empty() || sequence.count.value_or(1) < 1) {
    throw Misuse("sequence " + text + " is not BASE:START[:COUNT]");
  }
  sequence.start = *start;
  return sequence;
}

AnnotatedSequence parseAnnotatedSequence(const std::string& text) {
  std::optional<AnnotatedSequence> found;
  for (std::size_t colon = text.rfind(':'); colon != text.npos && colon != 0;
       colon = text.rfind(':', colon - 1)) {
    std::string base = text.substr(0, colon);
    const std::string shape_file = text.substr(colon + 1);
    const auto start = takeNumber(base);
    if (!start || base.empty() || shape_file.empty()) continue;
    const bool is_there = std::filesystem::exists(shape_file);
    if (!found || is_there) found = {base, *start, shape_file};
    if (is_there) break;
  }
  if (!found) throw Misuse("sequence " + text + " is not BASE:START:SHAPEFILE");
  return *found;
}

RawFrames parseRawFrames(const std::string& size, const std::string& format) {
  constexpr int kLargestSide = 32767;
  const std::vector<std::string> sides = split(size, 'x');
  RawFrames frames;
  if (sides.size() == 2) {
    frames.width = toNumber<int>(sides[0]).value_or(0);
    frames.height = toNumber<int>(sides[1]).value_or(0);
  }
  const auto fits = [](int side) { return side >= 1 && side <= kLargestSide; };
  if (!fits(frames.width) || !fits(frames.height)) {
    throw Misuse("size " + size + " is not WIDTHxHEIGHT in pixels");
  }
  if (format != "gray" && format != "rgb24") {
    throw Misuse("format " + format + " is neither gray nor rgb24");
  }
  frames.channels = format == "gray" ? 1 : 3;
  return frames;
}

FrameChoice parseFrameChoice(const std::string& text, const char* what) {
  FrameChoice choice;
  if (text.empty()) return choice;
  for (const std::string& piece : split(text, ',')) {
    const auto range = parseRange(piece);
    if (!range)
      throw Misuse(std::string(what) + ' ' + text + ": not numbers and FIRST-LAST[/STEP]");
    choice.push_back(*range);
  }
  return choice;
}

std::vector<std::size_t> chosenUnits(const FrameChoice& choice, std::size_t count,
                                     const char* whose) {
  std::vector<std::size_t> units;
  for (const FrameRange& range : choice) {
    if (static_cast<std::size_t>(range.last) < count) continue;
    throw Error(format("there is no unit %d: %s has units 0 to %zu", range.last, whose, count - 1));
  }
  for (std::size_t unit = 0; unit < count; ++unit) {
    if (isChosen(choice, static_cast<int>(unit))) units.push_back(unit);
  }
  return units;
}

NumberedFile parseNumberedFile(const std::string& text) {
  NumberedFile file{text, std::nullopt};
  if (!std::filesystem::exists(text)) file.number = takeNumber(file.name);
  return file;
}

std::vector<float> parseRadii(const std::string& text) {
  std::vector<float> radii;
  for (const std::string& piece : split(text, ',')) {
    const auto radius = toNumber<float>(piece);
    if (!radius || !(*radius > 0.0F && *radius <= kLargestRadius)) {
      throw Misuse("stages " + text + ": not a list of radii");
    }
    if (!radii.empty() && *radius > radii.back()) {
      throw Misuse("stages " + text + ": radii go from coarse to fine");
    }
    radii.push_back(*radius);
  }
  if (radii.size() > kMostStages) {
    throw Misuse(format("stages %s: more than %zu", text.c_str(), kMostStages));
  }
  return radii;
}

std::vector<int> parseSteps(const std::string& text) {
  std::vector<int> steps;
  for (const std::string& piece : split(text, ',')) {
    steps.push_back(toNumber<int>(piece).value_or(0));
    if (steps.back() >= 1 && steps.back() <= kMostSteps) continue;
    throw Misuse(format("steps %s: not numbers from 1 to %d", text.c_str(), kMostSteps));
  }
  return steps;
}

std::string formatChoice(const std::vector<FileFormat>& formats) {
  std::string choice;
  for (const FileFormat format : formats) {
    choice += (choice.empty() ? "" : "|") + std::string(nameOf(format));
  }
  return choice;
}

FileFormat parseFormat(const std::string& text, const std::vector<FileFormat>& known) {
  std::string names;
  for (const FileFormat format : known) {
    if (text == nameOf(format)) return format;
    names += (names.empty() ? "" : ", ") + std::string(nameOf(format));
  }
  throw Misuse("there is no format " + text + "; the formats are " + names);
}

}  // namespace remora::tools
