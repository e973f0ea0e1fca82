#include "follow/annotation/configuration.h"

#include <sstream>

#include "follow/base/files.h"
#include "follow/base/text.h"
#include "follow/error.h"

namespace remora {
namespace {

class Lines {
 public:
  explicit Lines(const std::string& file) : file_(file), text_(readText(file)) {}

  std::string name(const char* what) {
    std::string line = next();
    if (line.empty()) fail(what);
    return line;
  }

  int number(const char* what) {
    const std::vector<std::string> found = words(next());
    const auto value = found.size() == 1 ? toNumber<int>(found[0]) : std::nullopt;
    if (!value) fail(what);
    return *value;
  }

 private:
  std::string next() {
    ++number_;
    return nextLine(text_).value_or("");
  }

  [[noreturn]] void fail(const char* what) const {
    throw Error(
        format("configuration file %s, line %d: %s is expected", file_.c_str(), number_, what));
  }

  std::string file_;
  std::istringstream text_;
  int number_ = 0;
};

}  // namespace

std::vector<AnnotatedSequence> readConfiguration(const std::string& file) {
  Lines lines(file);
  std::vector<AnnotatedSequence> sequences;
  const int count = lines.number("the number of sequences");
  for (int s = 0; s < count; ++s) {
    AnnotatedSequence sequence;
    sequence.base = lines.name("the base name of frames");
    sequence.start = lines.number("the number of the first frame");
    sequence.shape_file = lines.name("the name of a shape sequence file");
    sequences.push_back(sequence);
  }
  if (sequences.empty()) throw Error("configuration file " + file + " names no sequences");
  return sequences;
}

}  // namespace remora
