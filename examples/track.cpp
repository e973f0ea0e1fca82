// Follows the points of a model through image files, and says which of them to trust.
//
//   track MODEL IMAGE...
//
// The shape is looked for until an image shows it; Tracker::start() would say where it is.
#include <cstdio>

#include <follow/error.h>
#include <follow/footage/picture.h>
#include <follow/tracking/tracker.h>

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: track MODEL IMAGE...\n");
    return 2;
  }
  try {
    const remora::Model model(argv[1]);
    remora::Tracker tracker(model);
    for (int i = 2; i < argc; ++i) {
      const remora::Picture picture = remora::loadPicture(argv[i]);
      const remora::TrackedShape shape = tracker.next(picture.view());
      for (std::size_t p = 0; p < shape.size(); ++p) {
        std::printf("%s %s %.2f %.2f %.3f %s\n", argv[i], model.pointNames()[p].c_str(), shape[p].x,
                    shape[p].y, shape[p].confidence, remora::nameOf(shape[p].status));
      }
    }
  } catch (const remora::Error& error) {
    std::fprintf(stderr, "track: %s\n", error.what());
    return 1;
  }
}
