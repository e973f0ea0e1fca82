#include "follow/base/origin.h"

#include "follow/base/text.h"

namespace remora {
namespace {

std::string valueIn(const Origin& origin, const std::string& name) {
  for (const OriginPart& part : origin) {
    if (part.name == name) return part.value;
  }
  return "";
}

}  // namespace

std::string formatOrigin(const Origin& origin, char end) {
  std::string text;
  for (const OriginPart& part : origin) text += part.name + ' ' + part.value + end;
  return text;
}

Origin parseOrigin(const std::string& text) {
  const std::vector<std::string> found = words(text);
  Origin origin;
  for (std::size_t i = 0; i + 1 < found.size(); i += 2) {
    origin.push_back({found[i], "", found[i + 1]});
  }
  return origin;
}

std::string differenceOf(const Origin& there, const Origin& here) {
  std::string text;
  for (const OriginPart& part : here) {
    const std::string value = valueIn(there, part.name);
    if (value == part.value) continue;
    text += (text.empty() ? "" : ", ") + part.what + " (" + (value.empty() ? "unknown" : value) +
            " there, " + part.value + " here)";
  }
  return text;
}

}  // namespace remora
