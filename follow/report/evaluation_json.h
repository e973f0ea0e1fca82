// An evaluation as data for other programs and for pages.
#pragma once

#include <nlohmann/json_fwd.hpp>

#include "follow/report/evaluation.h"

namespace remora {

// An infinite distance is the text "inf", and a share of nothing is null: JSON has no such numbers.
nlohmann::ordered_json toJson(const Evaluation& evaluation);

}  // namespace remora
