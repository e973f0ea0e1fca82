// Seeds on a command line.
#pragma once

#include <string>
#include <vector>

namespace remora::bench {

// Numbers from 0 on with commas between, as 1,2,5. Throws tools::Misuse.
std::vector<unsigned> parseSeeds(const std::string& text);

}  // namespace remora::bench
