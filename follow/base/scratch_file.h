// A file for what is too much to be kept in memory.
#pragma once

#include <cstdint>
#include <string>

#include "follow/export.h"

namespace remora {

// Without a name: it is gone when this object is, however the program ends. Lies in the folder that
// the environment variable TMPDIR names, or in /var/tmp. All operations throw Error, with the
// reason, when the disk fails or is full.
class REMORA_FOLLOW_EXPORT ScratchFile {
 public:
  ScratchFile();
  ~ScratchFile();
  ScratchFile(const ScratchFile&) = delete;
  ScratchFile& operator=(const ScratchFile&) = delete;

  void append(const void* bytes, std::size_t size);
  // Requires that so many bytes have been written there.
  void read(std::uint64_t place, void* bytes, std::size_t size) const;
  std::uint64_t size() const { return size_; }

 private:
  [[noreturn]] void fail(const std::string& what) const;

  std::string folder_;
  int descriptor_ = -1;
  std::uint64_t size_ = 0;
};

}  // namespace remora
