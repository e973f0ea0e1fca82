// What the fuzz targets share. A target is given any bytes; it ends the process when a rule of the
// library does not hold for them.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace fuzz {

inline void require(bool holds, const char* rule) {
  if (holds) return;
  std::fprintf(stderr, "does not hold: %s\n", rule);
  std::abort();
}

inline std::string_view textOf(const std::uint8_t* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

// The same number: a NaN equals any other.
inline bool same(double a, double b) { return a == b || (std::isnan(a) && std::isnan(b)); }

// A file in memory.
class File {
 public:
  File() : file_(memfd_create("input", MFD_CLOEXEC)) { require(file_ >= 0, "there is memory"); }
  ~File() { close(file_); }
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  const std::string& name() const { return name_; }
  const char* holding(std::string_view text) const {
    std::ofstream(name_, std::ios::binary) << text;
    return name_.c_str();
  }
  std::string text() const {
    std::ifstream in(name_, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
  }

 private:
  int file_;
  std::string name_ = "/proc/self/fd/" + std::to_string(file_);
};

// The lines that an action prints. Nothing of a file reaches a terminal but what can be shown.
class Lines {
 public:
  template <class Action>
  explicit Lines(const Action& action) {
    char* printed = nullptr;
    std::size_t size = 0;
    std::FILE* const screen = std::exchange(stdout, open_memstream(&printed, &size));
    action();
    std::fclose(std::exchange(stdout, screen));
    for (const char* c = printed; c != printed + size; ++c) add(*c);
    std::free(printed);
    require(line_.empty(), "the last line ends");
  }

  std::size_t size() const { return lines_.size(); }

  int starting(const std::string& start) const {
    int count = 0;
    for (const std::string& line : lines_) count += line.rfind(start, 0) == 0 ? 1 : 0;
    return count;
  }

  // Whether a file was refused: in one line, or in none.
  bool malformed(const std::string& kind) const {
    const int reports = starting("malformed ");
    require(reports <= 1 && reports == starting("malformed " + kind + ' '),
            "a malformed file is reported once, by its kind");
    return reports == 1;
  }

 private:
  void add(char c) {
    if (c != '\n') {
      require(c >= ' ' && c <= '~', "lines are plain text");
      line_ += c;
      return;
    }
    lines_.push_back(std::exchange(line_, {}));
  }

  std::string line_;
  std::vector<std::string> lines_;
};

}  // namespace fuzz
