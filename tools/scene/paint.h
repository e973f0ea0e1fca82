// What a thing in the picture lays over the things behind it.
#pragma once

namespace remora::tools::scene {

struct Paint {
  double cover;  // 0: transparent, 1: opaque
  double grey;   // before the light of the frame

  double over(double behind) const { return behind + (grey - behind) * cover; }
};

}  // namespace remora::tools::scene
