// How well sequences are followed, in tables.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "follow/model/model.h"
#include "follow/report/evaluation.h"
#include "footage.h"
#include "subjects.h"

namespace remora::bench {

// One stretch, followed with one model.
struct Judgement {
  Evaluation all;  // hidden points among them
  ErrorSummary visible;
  std::optional<ErrorSummary> hidden;  // none were
  std::optional<ErrorSummary> peer;    // visible points; none where it was not built in
};

// Rows of stretches, each over the runs of all seeds.
class TrackingTable {
 public:
  // Follows the subject's footage and judges its stretches.
  void add(const Subject& subject, const Footage& footage, const Model& model);

  std::string text() const;

  // What confidence says and what comes of it, over the stretches that training has not seen.
  std::string reliability() const;

 private:
  struct Row {
    Stretch stretch;
    bool recorded;
    std::vector<Judgement> runs;
  };

  Row& rowOf(const Subject& subject, const Stretch& stretch);

  std::vector<Row> rows_;
};

}  // namespace remora::bench
