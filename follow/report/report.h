// The report: one HTML page that shows how tracks went.
#pragma once

#include <memory>
#include <optional>
#include <set>
#include <string>

#include "follow/annotation/tracks.h"
#include "follow/export.h"
#include "follow/footage/frame_choice.h"
#include "follow/footage/picture.h"
#include "follow/report/evaluation.h"

namespace remora {

// What a report is about.
struct ReportMatter {
  std::string title;                   // what the tracks are of
  Tracks tracks;                       // at least one frame
  std::optional<Truth> truth;          // known positions, if there are any
  double lost_limit = 5.0;             // pixels
  FrameChoice judged;                  // the frames whose truth is looked at
  std::optional<FrameChoice> trained;  // the frames that the model has learnt from, if known
};

// A page of its own: figures, curves and pictures are in it, and it asks nothing of a network. With
// truth: errors over time, their distribution, confidence against error, percentiles of each point,
// training frames against others, the worst frames. Without: status, confidence and motion over
// time, the frames that are least sure. The same matter gives the same bytes. The page grows with
// the points, and from 600 frames on not with the frames.
class REMORA_FOLLOW_EXPORT Report {
 public:
  // Throws Error where the truth has none of the tracks' frames, or points that they lack.
  explicit Report(ReportMatter matter);
  ~Report();
  Report(Report&&) noexcept;
  Report& operator=(Report&&) noexcept;

  // The numbers of the frames whose pictures the page can show. It does without those that are not
  // added.
  std::set<int> wantedFrames() const;
  // `picture` is encoded and can go.
  void add(int frame, const Picture& picture);

  // Throws Error for a name that is not UTF-8.
  std::string text() const;

 private:
  struct Content;
  std::unique_ptr<Content> content_;
};

}  // namespace remora
