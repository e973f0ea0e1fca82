// Tracks for some minutes and watches the resident memory: prints it, and fails when it grows.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "fast_lp.h"
#include "material.h"

namespace {

using namespace remora::bench;

long residentKilobytes() {
  std::ifstream status("/proc/self/status");
  std::string word;
  while (status >> word && word != "VmRSS:") continue;
  long kilobytes = 0;
  status >> kilobytes;
  return kilobytes;
}

// Steps of every kind from the same places, and a tracker that comes and goes.
void track(FastShapeTracker& tracker, FastShapeTracker& start, const std::string& file) {
  static CImg<float> image = picture(1);
  static std::vector<unsigned char> bytes(3 * kWidth * kHeight, 77);
  double map[] = {1.01, 0.02, 0, -0.02, 0.99, 0, 0, 0, 1};
  constexpr int kFrames = 1000;
  for (int frame = 0; frame < kFrames; ++frame) {
    tracker.Predict(image, &start);
    tracker.Predict(bytes.data(), 3 * kWidth, kWidth, kHeight);
    for (int i = 0; i < tracker.num_points; ++i) tracker.all_flp[i]->Predict(image, map);
  }
  FastShapeTracker(file.c_str()).Predict(image);
}

}  // namespace

int main(int argc, char** argv) {
  using Clock = std::chrono::steady_clock;
  constexpr long kAllowedGrowth = 1024;  // kB
  constexpr int kReports = 10;
  const double minutes = argc > 1 ? std::atof(argv[1]) : 10.0;
  const std::string file = pathTo("soak.flp");
  writeShape(file, kMediumParts);
  FastShapeTracker tracker(file.c_str());
  FastShapeTracker start(file.c_str());
  track(tracker, start, file);
  const long first = residentKilobytes();
  long last = first;
  const auto begin = Clock::now();
  for (int report = 1; report <= kReports; ++report) {
    long steps = 0;
    const std::chrono::duration<double> until(60.0 * minutes * report / kReports);
    for (; Clock::now() - begin < until; ++steps) track(tracker, start, file);
    last = residentKilobytes();
    std::printf("%5.1f min: %ld kB resident, %ld thousand frames\n", until.count() / 60.0, last,
                steps);
    std::fflush(stdout);
  }
  return last > first + kAllowedGrowth ? EXIT_FAILURE : EXIT_SUCCESS;
}
