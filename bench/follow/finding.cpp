#include "finding.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "ahead.h"
#include "cells.h"
#include "follow/base/text.h"
#include "follow/tracking/tracker.h"
#include "trial.h"

namespace remora::bench {
namespace {

// Looks for the shape, and again in the same picture, as what is found in doubt is only reported
// when a second look agrees.
TrackedShape findTwice(const Model& model, const GreyImage& picture) {
  Tracker tracker(model);
  TrackedShape found = tracker.find(picture.view());
  if (std::isnan(found[0].x)) return found;  // nothing to look at again
  return tracker.next(picture.view());
}

bool isTrusted(const TrackedShape& shape) {
  return std::any_of(shape.begin(), shape.end(),
                     [](const TrackedPoint& p) { return p.status != Status::kLost; });
}

// Of some pictures.
struct Finds {
  int pictures = 0;
  int right = 0;      // trusted, and the mean error within the limit
  int elsewhere = 0;  // trusted, but farther off

  std::string of(int count) const { return format("%d of %d", count, pictures); }
};

Finds& operator+=(Finds& sum, const Finds& more) {
  sum.pictures += more.pictures;
  sum.right += more.right;
  sum.elsewhere += more.elsewhere;
  return sum;
}

double meanError(const TrackedShape& shape, const Truth& truth, int frame) {
  const Tracks tracks{indexNames(shape.size()), {frame}, {shape}};
  const auto errors = errorsOf(Kind::kVisible, tracks, truth, {});
  return errors ? errors->mean : 0.0;
}

Finds findOwn(const Exhibit& exhibit) {
  Finds finds;
  const Footage& pictures = exhibit.pictures;
  for (int i = 0; i < pictures.numFrames(); ++i) {
    const TrackedShape found = findTwice(exhibit.model, pictures.frame(i));
    ++finds.pictures;
    if (!isTrusted(found)) continue;
    ++(meanError(found, pictures.truth, i) < kLostLimit ? finds.right : finds.elsewhere);
  }
  return finds;
}

Finds findAmongOthers(const Exhibit& exhibit, const std::vector<Exhibit>& exhibits) {
  Finds finds;
  for (const Exhibit& other : exhibits) {
    if (other.subject.shape == exhibit.subject.shape) continue;
    for (const GreyImage& picture : other.pictures.frames) {
      ++finds.pictures;
      if (isTrusted(findTwice(exhibit.model, picture))) ++finds.elsewhere;
    }
  }
  return finds;
}

std::string formatRow(const std::string& name, const Finds& own, const Finds& others) {
  return row({name, own.of(own.right), own.of(own.elsewhere),
              own.of(own.pictures - own.right - own.elsewhere),
              others.pictures == 0 ? "-" : others.of(others.elsewhere)});
}

}  // namespace

std::string findingTable(const std::vector<Exhibit>& exhibits) {
  using Pair = std::pair<Finds, Finds>;
  std::vector<Ahead<Pair>::Job> jobs;
  for (const Exhibit& exhibit : exhibits) {
    jobs.push_back([&] { return Pair(findOwn(exhibit), findAmongOthers(exhibit, exhibits)); });
  }
  Ahead<Pair> results(jobs);
  std::string text =
      head({"model", "found", "found elsewhere", "not found", "taken for it in other pictures"});
  Pair sum;
  for (const Exhibit& exhibit : exhibits) {
    const Pair each = results.next();
    text += formatRow(exhibit.subject.name, each.first, each.second);
    sum.first += each.first;
    sum.second += each.second;
  }
  return text + formatRow("all", sum.first, sum.second);
}

}  // namespace remora::bench
