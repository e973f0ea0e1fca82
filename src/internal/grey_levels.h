// The scale of samples.
#pragma once

namespace remora::internal {

constexpr double kGreyLevels = 255.0;  // a sample is a grey level divided by this

}  // namespace remora::internal
