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

// The numbers of a text that was accepted, or `printed` by the library, one after another.
class Numbers {
 public:
  explicit Numbers(std::string_view text, bool printed = false) : text_(text), printed_(printed) {}

  int whole() {
    return static_cast<int>(all([](const char* c, char** end) { return std::strtol(c, end, 10); }));
  }
  void skip() { next(); }
  double real() { return all(std::strtod); }
  float single() { return all(std::strtof); }

  bool atEnd() const { return text_.find_first_not_of(kSpaces, at_) == text_.npos; }

  template <class T>
  void expect(const T* values, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i) {
      if (printed_) {
        require(next() == std::to_string(values[i]), "a number is printed as printf would");
      } else {
        require(same(real(), static_cast<double>(values[i])), "a value is the one in the file");
      }
    }
  }

 private:
  static constexpr const char* kSpaces = " \t\n\v\f\r";

  // What a whole token says.
  template <class Scan>
  auto all(const Scan& scan) -> decltype(scan(nullptr, nullptr)) {
    const std::string token = next();
    char* end = nullptr;
    const auto value = scan(token.c_str(), &end);
    const bool is_whole = std::is_integral_v<decltype(value)>;
    require(*end == '\0', "only numbers are accepted");
    require(is_whole ? value >= INT_MIN && value <= INT_MAX
                     : !std::isinf(value) || token.find_first_of("iI") != token.npos,
            "only numbers in range are accepted");
    return value;
  }

  std::string next() {
    require(!atEnd(), "nothing is accepted that the file does not hold");
    const std::size_t first = text_.find_first_not_of(kSpaces, at_);
    at_ = std::min(text_.find_first_of(kSpaces, first), text_.size());
    return std::string(text_.substr(first, at_ - first));
  }

  std::string_view text_;
  bool printed_;
  std::size_t at_ = 0;
};

}  // namespace fuzz
