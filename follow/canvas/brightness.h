// Brightness: the gain and offset that bring a canvas to the grey levels of the training.
#pragma once

#include <vector>

namespace remora {

struct Brightness {
  float gain = 1.0F;
  float offset = 0.0F;
};

// Robust fit of `wanted` ~ gain * `seen` + offset over pairs of grey levels, by reweighted least
// squares (P. Huber, "Robust Statistics", 1981), so that a passing object does not change it.
// Starts from `before`, and where many pairs disagree with that also from no change and from
// medians and median deviations: even half of the pairs may show something else. The gain stays
// within a factor of 4. Both lists have one size. What has no contrast keeps gain 1. `scratch` may
// hold anything; with room for one list no memory is allocated.
Brightness fitBrightness(const std::vector<float>& seen, const std::vector<float>& wanted,
                         const Brightness& before, std::vector<float>& scratch);

}  // namespace remora
