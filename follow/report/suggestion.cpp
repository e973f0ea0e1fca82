#include "follow/report/suggestion.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <optional>
#include <set>
#include <utility>

#include "follow/annotation/recording.h"
#include "follow/base/csv.h"
#include "follow/base/files.h"
#include "follow/base/text.h"
#include "follow/canvas/pose.h"
#include "follow/error.h"
#include "follow/model/look.h"
#include "follow/report/annotation_page.h"

namespace remora {
namespace {

constexpr double kSpacing = 1.0 / 16.0;  // between samples of a patch, in sizes of the shape
constexpr double kCertain = 0.03;        // even a frame of full confidence gains a little
constexpr std::size_t kGapShare = 4;     // frames apart: the frames by the count, by this
constexpr double kUnknown = std::numeric_limits<double>::quiet_NaN();

// Frames that are compared, of those that are annotated and of those that are not: every point of
// each with every one, within some tens of megabytes.
std::size_t mostLooks(std::size_t points) {
  constexpr double kMostValues = 1.5e6;
  constexpr double kMost = 400.0;
  return static_cast<std::size_t>(
      std::max(std::min(std::sqrt(kMostValues / static_cast<double>(points)), kMost), 50.0));
}

float sampleAt(const GreyImage& picture, const Point& at) {
  const double x = std::clamp(at.x, 0.0, picture.width - 1.0);
  const double y = std::clamp(at.y, 0.0, picture.height - 1.0);
  const int left = std::min(static_cast<int>(x), std::max(picture.width - 2, 0));
  const int top = std::min(static_cast<int>(y), std::max(picture.height - 2, 0));
  const int right = std::min(left + 1, picture.width - 1);
  const int bottom = std::min(top + 1, picture.height - 1);
  const auto pixel = [&picture](int i, int j) {
    return static_cast<double>(
        picture.pixels[static_cast<std::size_t>(j) * static_cast<std::size_t>(picture.width) +
                       static_cast<std::size_t>(i)]);
  };
  const double fx = x - left;
  const double fy = y - top;
  return static_cast<float>((1.0 - fy) * ((1.0 - fx) * pixel(left, top) + fx * pixel(right, top)) +
                            fy * ((1.0 - fx) * pixel(left, bottom) + fx * pixel(right, bottom)));
}

// The neighbourhood of a point of the reference, as the picture shows it at `pose`.
Patch patchAt(const GreyImage& picture, const Affine& pose, const Point& place, double spacing) {
  Patch patch;
  patch.reserve(kPatchSize);
  for (int j = 0; j < kPatchSide; ++j) {
    for (int i = 0; i < kPatchSide; ++i) {
      const Point offset{spacing * (i - kPatchSide / 2), spacing * (j - kPatchSide / 2)};
      patch.push_back(sampleAt(picture, pose(place + offset)));
    }
  }
  normalise(patch);
  return patch;
}

double sizeOrOne(const Shape& shape) { return std::max(sizeOf(shape), 10.0); }

Shape asShape(const TrackedShape& tracked) {
  Shape shape;
  for (const TrackedPoint& point : tracked) shape.push_back({point.x, point.y});
  return shape;
}

bool isWhole(const Shape& shape) { return std::all_of(shape.begin(), shape.end(), isSeen); }

// Of each point, 0 ... 1.
std::vector<double> needOf(const TrackedShape& tracked) {
  std::vector<double> need;
  for (const TrackedPoint& point : tracked) {
    const bool is_sure = point.status != Status::kLost && !std::isnan(point.confidence);
    need.push_back(is_sure ? std::max(1.0 - point.confidence, kCertain) : 1.0);
  }
  return need;
}

double total(const std::vector<double>& values) {
  return std::accumulate(values.begin(), values.end(), 0.0);
}

// The middle one of values that are above 0; 1 where there is none.
double middleOfPositive(std::vector<float> values) {
  values.erase(std::remove_if(values.begin(), values.end(), [](float v) { return !(v > 0.0F); }),
               values.end());
  if (values.empty()) return 1.0;
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return static_cast<double>(*middle);
}

}  // namespace

Suggester::Suggester(const Tracks& tracks, const Annotations& known, const FrameChoice& choice)
    : names_(tracks.names) {
  std::map<int, const Shape*> annotated;
  for (const AnnotatedFrame& frame : known.frames) annotated.emplace(frame.number, &frame.points);
  std::vector<Frame> open;
  std::vector<Frame> given;
  for (std::size_t i = 0; i < tracks.shapes.size(); ++i) {
    const int number = tracks.frame_numbers[i];
    Frame frame{number, &tracks.shapes[i], asShape(tracks.shapes[i]), false,
                needOf(tracks.shapes[i])};
    if (const auto found = annotated.find(number); found != annotated.end()) {
      frame.is_known = true;
      for (std::size_t p = 0; p < frame.shape.size(); ++p) {
        if (isSeen((*found->second)[p])) frame.shape[p] = (*found->second)[p];
      }
    }
    // A point that was never found has no place: nothing can be compared there.
    if (frame.shape.empty() || !isWhole(frame.shape)) continue;
    if (frame.is_known)
      given.push_back(std::move(frame));
    else if (isChosen(choice, number))
      open.push_back(std::move(frame));
  }
  if (open.empty()) throw Error("there is no tracked frame that is not annotated");
  for (std::vector<Frame>* const frames : {&open, &given}) {
    const std::size_t most = mostLooks(names_.size());
    const std::size_t kept = std::min(frames->size(), most);
    for (std::size_t i = 0; i < kept; ++i) {
      Frame& frame = (*frames)[i * frames->size() / kept];
      frames_.emplace(frame.number, std::move(frame));
    }
  }
  const auto surest = std::min_element(
      frames_.begin(), frames_.end(),
      [](const auto& a, const auto& b) { return total(a.second.need) < total(b.second.need); });
  reference_ = surest->second.shape;
}

std::set<int> Suggester::wanted() const {
  std::set<int> numbers;
  for (const auto& [number, frame] : frames_) numbers.insert(number);
  return numbers;
}

void Suggester::look(int number, const GreyImage& picture) {
  const auto found = frames_.find(number);
  if (found == frames_.end()) return;
  Frame& frame = found->second;
  const std::vector<double> weights(reference_.size(), 1.0);
  const Affine pose = fitSimilarity(reference_, frame.shape, weights,
                                    translation(middleOf(frame.shape) - middleOf(reference_)));
  const double size = sizeOrOne(reference_);
  const bool is_flat = !(std::abs(pose.determinant()) > 1e-6);
  const Affine back = is_flat ? Affine{} : pose.inverse();
  frame.looks.clear();
  frame.form.clear();
  for (std::size_t p = 0; p < reference_.size(); ++p) {
    const Point place = is_flat ? reference_[p] : back(frame.shape[p]);
    frame.form.push_back((1.0 / size) * (place - reference_[p]));
    const Patch patch = patchAt(picture, pose, place, kSpacing * size);
    frame.looks.insert(frame.looks.end(), patch.begin(), patch.end());
  }
}

Suggester::Help::Help(const std::vector<const Frame*>& frames, std::size_t points)
    : frames_(frames.size()), points_(points), values_(frames_ * frames_ * points_) {
  std::vector<float> looks(values_.size());
  std::vector<float> forms(values_.size());
  for (std::size_t i = 0; i < frames_; ++i) {
    for (std::size_t k = 0; k < i; ++k) {
      for (std::size_t p = 0; p < points_; ++p) {
        const float* const a = frames[i]->looks.data() + p * kPatchSize;
        const float* const b = frames[k]->looks.data() + p * kPatchSize;
        double agreement = 0.0;
        for (std::size_t s = 0; s < kPatchSize; ++s) {
          agreement += static_cast<double>(a[s]) * static_cast<double>(b[s]);
        }
        looks[at(i, k, p)] = looks[at(k, i, p)] =
            static_cast<float>(std::max(1.0 - agreement, 0.0));
        forms[at(i, k, p)] = forms[at(k, i, p)] =
            static_cast<float>(squaredDistance(frames[i]->form[p], frames[k]->form[p]));
      }
    }
  }
  const double usual_look = middleOfPositive(looks);
  const double usual_form = middleOfPositive(forms);
  for (std::size_t j = 0; j < values_.size(); ++j) {
    const double unlike =
        static_cast<double>(looks[j]) / usual_look + static_cast<double>(forms[j]) / usual_form;
    values_[j] = static_cast<float>(std::exp(-unlike));
  }
}

std::vector<Suggestion> Suggester::pick(std::size_t count) const {
  std::vector<const Frame*> seen;
  for (const auto& [number, frame] : frames_) {
    if (!frame.looks.empty()) seen.push_back(&frame);
  }
  const std::size_t points = reference_.size();
  const Help help(seen, points);
  std::vector<double> given(seen.size() * points, 0.0);  // by annotated and picked frames
  const auto give = [&](std::size_t from) {
    for (std::size_t k = 0; k < seen.size(); ++k) {
      for (std::size_t p = 0; p < points; ++p) {
        double& most = given[k * points + p];
        most = std::max(most, help.of(from, k, p));
      }
    }
  };
  // What the annotation of one frame would add for another.
  const auto added = [&](std::size_t from, std::size_t to) {
    double gain = 0.0;
    for (std::size_t p = 0; p < points; ++p) {
      gain += seen[to]->need[p] * std::max(help.of(from, to, p) - given[to * points + p], 0.0);
    }
    return gain;
  };
  const auto lack = [&](std::size_t frame) {
    double sum = 0.0;
    for (std::size_t p = 0; p < points; ++p) sum += 1.0 - given[frame * points + p];
    return sum;
  };
  std::vector<std::size_t> open;  // frames that are not annotated
  for (std::size_t i = 0; i < seen.size(); ++i) seen[i]->is_known ? give(i) : open.push_back(i);
  std::vector<double> lacked;
  for (const std::size_t i : open) lacked.push_back(lack(i));
  const std::vector<double> before = lacked;
  std::sort(lacked.begin(), lacked.end());

  const std::size_t gap = open.size() / (kGapShare * std::max<std::size_t>(count, 1));
  std::vector<bool> barred(open.size());
  std::vector<Suggestion> result;
  while (result.size() < count) {
    std::optional<std::size_t> best;
    double most = 0.0;
    for (std::size_t i = 0; i < open.size(); ++i) {
      if (barred[i]) continue;
      double gain = 0.0;
      for (const std::size_t k : open) gain += added(open[i], k);
      if (best && !(gain > most)) continue;
      best = i;
      most = gain;
    }
    if (!best) break;
    std::size_t helped = 0;
    for (const std::size_t k : open) helped += 50.0 * added(open[*best], k) > most ? 1 : 0;
    give(open[*best]);
    for (std::size_t i = 0; i < open.size(); ++i) {
      if ((i > *best ? i - *best : *best - i) <= gap) barred[i] = true;
    }
    const auto less = std::lower_bound(lacked.begin(), lacked.end(), before[*best]);
    const double share =
        static_cast<double>(less - lacked.begin()) / static_cast<double>(lacked.size());
    const Frame& frame = *seen[open[*best]];
    result.push_back({frame.number, meanConfidence(*frame.tracked).value_or(kUnknown),
                      reason(frame, share, helped)});
  }
  return result;
}

// `unlike`: the share of frames that are more like an annotated one, above 1/2 worth a word.
std::string Suggester::reason(const Frame& frame, double unlike, std::size_t helped) const {
  std::vector<std::string> reasons;
  if (const auto sure = meanConfidence(*frame.tracked)) {
    const auto least = std::min_element(
        frame.tracked->begin(), frame.tracked->end(),
        [](const TrackedPoint& a, const TrackedPoint& b) { return a.confidence < b.confidence; });
    const auto p = static_cast<std::size_t>(least - frame.tracked->begin());
    reasons.push_back(format("confidence %.2f", *sure) + "; least sure: " + names_[p] +
                      format(" (%.2f)", least->confidence));
  }
  const bool has_known =
      std::any_of(frames_.begin(), frames_.end(), [](const auto& f) { return f.second.is_known; });
  if (has_known && unlike > 0.5) {
    reasons.push_back(format("less like the annotated frames than %.0f %% of all",
                             100.0 * std::min(unlike, 0.99)));
  }
  if (helped > 1) reasons.push_back(format("helps %zu frames like it", helped));
  if (reasons.empty()) reasons.emplace_back("fills a gap between annotated frames");
  std::string text;
  for (const std::string& one : reasons) text += (text.empty() ? "" : "; ") + one;
  return text;
}

std::string formatTable(const std::vector<Suggestion>& suggestions) {
  std::string text = "frame,confidence,why\n";
  for (const Suggestion& one : suggestions) {
    text += format("%d,", one.frame);
    text += std::isnan(one.confidence) ? "" : format("%.3f", one.confidence);
    text += ',' + csvCell(one.why) + '\n';
  }
  return text;
}

std::vector<Suggestion> readSuggestions(const std::string& file) {
  const std::vector<CsvRow> rows = parseCsv(readText(file), file);
  const auto column = [&rows](const char* title) {
    const auto& titles = rows[0].cells;
    return static_cast<std::size_t>(std::find(titles.begin(), titles.end(), title) -
                                    titles.begin());
  };
  if (rows.empty() || column("frame") == rows[0].cells.size()) {
    throw Error(file + ", line 1: a table of suggested frames has a column frame");
  }
  const auto cellOf = [](const CsvRow& row, std::size_t at) {
    return at < row.cells.size() ? row.cells[at] : std::string();
  };
  std::vector<Suggestion> result;
  for (std::size_t i = 1; i < rows.size(); ++i) {
    const auto number = toNumber<int>(cellOf(rows[i], column("frame")));
    if (!number)
      throw Error(format("%s, line %ld: no number of a frame", file.c_str(), rows[i].line));
    result.push_back({*number,
                      toNumber<double>(cellOf(rows[i], column("confidence"))).value_or(kUnknown),
                      cellOf(rows[i], column("why"))});
  }
  if (result.empty()) throw Error(file + " suggests no frames");
  return result;
}

}  // namespace remora
