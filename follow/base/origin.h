// Origin: what something was made from, part by part, as it is written beside it.
#pragma once

#include <string>
#include <vector>

#include "follow/export.h"

namespace remora {

struct OriginPart {
  std::string name;   // a word
  std::string what;   // in messages: "other frames"
  std::string value;  // a word; equal ones make the same bytes
};
using Origin = std::vector<OriginPart>;

// Words, a name and a value for each part; `end` follows each part.
REMORA_FOLLOW_EXPORT std::string formatOrigin(const Origin& origin, char end);

// The parts that a text holds, by name alone, up to the first word that has none beside it.
REMORA_FOLLOW_EXPORT Origin parseOrigin(const std::string& text);

// Where two differ in the parts of `here`, as "other frames (1c there, 5a here)"; empty where they
// do not.
REMORA_FOLLOW_EXPORT std::string differenceOf(const Origin& there, const Origin& here);

}  // namespace remora
