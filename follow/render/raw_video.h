// Raw frames and their times in a stream, as Matroska has them: who reads it need not look for
// them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace remora {

// What comes before all frames of red, green and blue. `duration` is what a frame usually lasts, in
// nanoseconds.
std::string rawVideoHeader(int width, int height, std::int64_t duration);

// What comes before a frame of so many bytes that is shown at this time, in microseconds from the
// beginning.
std::string rawFrameHeader(std::int64_t time, std::size_t bytes);

}  // namespace remora
