// Trains a model on annotated frames.
//
//   train MODEL SHAPES IMAGE...
//
// SHAPES is a shape sequence file with a shape for every image.
#include <cstdio>
#include <vector>

#include <follow/annotation/shape_files.h>
#include <follow/error.h>
#include <follow/footage/picture.h>
#include <follow/training/training.h>

int main(int argc, char** argv) {
  if (argc < 4) {
    std::fprintf(stderr, "usage: train MODEL SHAPES IMAGE...\n");
    return 2;
  }
  try {
    const std::vector<remora::Shape> shapes = remora::readShapes(argv[2]);
    std::vector<remora::Example> examples;
    for (std::size_t i = 0; i < shapes.size() && argv[3 + i] != nullptr; ++i) {
      const remora::Picture picture = remora::loadPicture(argv[3 + i]);
      examples.push_back({argv[3 + i], remora::toGrey(picture.view()), shapes[i]});
    }
    remora::train(examples, {}, argv[1], [](std::size_t done, std::size_t total) {
      std::fprintf(stderr, "\r%zu of %zu", done, total);
      return true;  // false would stop it; the next call goes on from there
    });
    std::fprintf(stderr, "\n");
  } catch (const remora::Error& error) {
    std::fprintf(stderr, "train: %s\n", error.what());
    return 1;
  }
}
