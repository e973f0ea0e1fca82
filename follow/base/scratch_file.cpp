#include "follow/base/scratch_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "follow/error.h"

namespace remora {
namespace {

std::string scratchFolder() {
  const char* const wanted = std::getenv("TMPDIR");
  return wanted == nullptr || *wanted == '\0' ? "/var/tmp" : wanted;
}

}  // namespace

ScratchFile::ScratchFile() : folder_(scratchFolder()) {
  std::string name = folder_ + "/remora.XXXXXX";
  descriptor_ = mkostemp(name.data(), O_CLOEXEC);
  if (descriptor_ < 0) fail("make");
  unlink(name.c_str());
}

ScratchFile::~ScratchFile() { close(descriptor_); }

void ScratchFile::append(const void* bytes, std::size_t size) {
  const char* at = static_cast<const char*>(bytes);
  while (size > 0) {
    const ssize_t done = ::write(descriptor_, at, size);
    if (done < 0 && errno == EINTR) continue;
    if (done < 0) fail("write");
    at += done;
    size -= static_cast<std::size_t>(done);
    size_ += static_cast<std::uint64_t>(done);
  }
}

void ScratchFile::read(std::uint64_t place, void* bytes, std::size_t size) const {
  char* at = static_cast<char*>(bytes);
  while (size > 0) {
    const ssize_t done = pread(descriptor_, at, size, static_cast<off_t>(place));
    if (done < 0 && errno == EINTR) continue;
    if (done == 0) errno = EIO;
    if (done <= 0) fail("read");
    at += done;
    place += static_cast<std::uint64_t>(done);
    size -= static_cast<std::size_t>(done);
  }
}

void ScratchFile::fail(const std::string& what) const {
  throw Error("cannot " + what + " a temporary file in " + folder_ + ": " + std::strerror(errno));
}

}  // namespace remora
