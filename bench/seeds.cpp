#include "seeds.h"

#include "follow/base/text.h"
#include "output.h"

namespace remora::bench {

std::vector<unsigned> parseSeeds(const std::string& text) {
  std::vector<unsigned> seeds;
  for (const std::string& piece : split(text, ',')) {
    const auto seed = toNumber<int>(piece);
    if (!seed || *seed < 0) {
      throw tools::Misuse("seeds '" + text + "' must be numbers with commas between");
    }
    seeds.push_back(static_cast<unsigned>(*seed));
  }
  return seeds;
}

}  // namespace remora::bench
