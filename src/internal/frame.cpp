#include "internal/frame.h"

#include <fcntl.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>

#include "internal/images/formats.h"
#include "internal/messages.h"
#include "internal/pixel.h"
#include "internal/text_io.h"

namespace remora::internal {

CImgIOException unreadable(const char* name, const char* reason) {
  return CImgIOException("image file '%s' cannot be read: %s", shown(name), reason);
}

namespace {

// Null when the file cannot be opened. Does not wait for a writer where the name is a pipe's.
Stream openWithoutWaiting(const char* name) {
  if (name == nullptr) return nullptr;
  const int descriptor = open(name, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (descriptor < 0) return nullptr;
  Stream stream(fdopen(descriptor, "rb"));
  if (!stream) close(descriptor);
  return stream;
}

std::int64_t fileSize(std::FILE* file) {
  struct stat status;
  return fstat(fileno(file), &status) == 0 && S_ISREG(status.st_mode) ? status.st_size : -1;
}

bool isOneOf(const char* extension, std::initializer_list<const char*> extensions) {
  return std::any_of(extensions.begin(), extensions.end(),
                     [extension](const char* known) { return strcasecmp(extension, known) == 0; });
}

float loadByExtension(const char* name, std::FILE* stream, CImg<float>& image) {
  const ImageFile file{name, stream, fileSize(stream)};
  if (file.size < 0) throw unreadable(name, "it is not a regular file");
  const char* const dot = std::strrchr(name, '.');
  const char* const extension = dot == nullptr ? "" : dot + 1;
  if (isOneOf(extension, {"png"})) {
    return readPng(file, image);
  }
  if (isOneOf(extension, {"bmp"})) {
    return readBmp(file, image);
  }
  if (isOneOf(extension, {"pnm", "ppm", "pgm", "pbm", "pfm"})) {
    return readNetpbm(file, image);
  }
  throw unreadable(name, "images are read from .png, .bmp, .pnm, .ppm, .pgm, .pbm, .pfm files");
}

// What a size argument makes of a width or height.
int resizedTo(int size_argument, int size) {
  if (size_argument >= 0) return size_argument;
  const std::int64_t percent = -std::int64_t{size_argument};
  return static_cast<int>(std::clamp<std::int64_t>(percent * size / 100, 1, INT_MAX));
}

}  // namespace

float loadFrame(const char* name, CImg<float>& image) {
  image.assign();
  const Stream file = openWithoutWaiting(name);
  if (!file) throw unreadable(name, "it cannot be opened");
  try {
    return loadByExtension(name, file.get(), image);
  } catch (const CImgIOException&) {
    image.assign();
    throw;
  } catch (const CImgException& error) {
    image.assign();
    throw unreadable(name, error.what());
  } catch (const std::bad_alloc&) {
    image.assign();
    throw unreadable(name, "there is not enough memory");
  }
}

void blur(CImg<float>& image) {
  constexpr float kSigma = 1.0F;
  constexpr unsigned int kSmooth = 0;
  constexpr unsigned int kEdgeValuesContinue = 1;
  if (image.width() > 1) image.deriche(kSigma, kSmooth, 'x', kEdgeValuesContinue);
  if (image.height() > 1) image.deriche(kSigma, kSmooth, 'y', kEdgeValuesContinue);
  if (image.depth() > 1) image.deriche(kSigma, kSmooth, 'z', kEdgeValuesContinue);
}

int sizeArgument(float scale) { return wholeInt(static_cast<double>(scale) * -100.0); }

void resizeBy(CImg<float>& image, int size_argument) {
  constexpr int kChannels = 3;
  constexpr int kNearest = 1;
  if (size_argument == 0 || image.is_empty()) {
    image.assign();
    return;
  }
  image.resize(resizedTo(size_argument, image.width()), resizedTo(size_argument, image.height()), 1,
               kChannels, kNearest, 0, 0.0F, 0.0F, 0.0F, 0.0F);
}

}  // namespace remora::internal
