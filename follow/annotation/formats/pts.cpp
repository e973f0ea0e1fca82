// .pts: the points of one frame, counted from 1.
//   version: 1
//   n_points: 2
//   {
//   120.5 88.25
//   130 90
//   }

#include <filesystem>
#include <sstream>

#include "follow/annotation/formats/formats_inside.h"
#include "follow/base/text.h"

namespace remora {
namespace {

namespace fs = std::filesystem;

// The image of the same name beside the file, without its folder; empty where there is none.
std::string imageBeside(const std::string& file) {
  for (const char* extension : {".png", ".jpg", ".jpeg", ".bmp", ".pgm", ".ppm"}) {
    std::error_code missing;
    const fs::path image = fs::path(file).replace_extension(extension);
    if (fs::exists(image, missing)) return image.filename().string();
  }
  return "";
}

// Lines that are not empty.
class Lines {
 public:
  Lines(const std::string& file, const std::string& text) : file_(file), in_(text) {}

  Place place() const { return {file_, "line", number_}; }

  const std::vector<std::string>& next(const char* wanted) {
    do {
      ++number_;
      const auto line = nextLine(in_);
      if (!line) place().refuse(std::string("the file ends where ") + wanted + " is expected");
      words_ = words(*line);
    } while (words_.empty());
    return words_;
  }

  bool atEnd() { return (in_ >> std::ws).eof(); }

 private:
  const std::string& file_;
  std::istringstream in_;
  long number_ = 0;
  std::vector<std::string> words_;
};

// The value of "key: value", also without the space.
std::string readHeader(Lines& lines, const std::string& key) {
  const std::vector<std::string>& found = lines.next(key.c_str());
  std::string line;
  for (const std::string& word : found) line += word;
  if (line.rfind(key + ':', 0) != 0) {
    lines.place().refuse(shown(line) + " where " + key + ": is expected");
  }
  return line.substr(key.size() + 1);
}

void readBrace(Lines& lines, const char* brace) {
  const std::vector<std::string>& found = lines.next(brace);
  if (found.size() == 1 && found[0] == brace) return;
  lines.place().refuse(shown(found[0]) + " where " + brace + " is expected");
}

Point readPosition(Lines& lines) {
  const std::vector<std::string>& found = lines.next("a position");
  const auto x = toNumber<double>(found[0]);
  const auto y = found.size() == 2 ? toNumber<double>(found[1]) : std::nullopt;
  if (!x || !y) lines.place().refuse(shown(found[0]) + " begins no line of x and y");
  return {*x - 1.0, *y - 1.0};
}

}  // namespace

void readPts(const std::string& file, const std::string& text, Collector& into) {
  Lines lines(file, text);
  readHeader(lines, "version");
  const std::string count = readHeader(lines, "n_points");
  const auto points = toNumber<int>(count);
  if (!points || *points < 1) lines.place().refuse(shown(count) + " is no number of points");
  readBrace(lines, "{");
  into.newFrame({imageBeside(file), {}, file, {}}, lines.place());
  for (int p = 0; p < *points; ++p) {
    const Point position = readPosition(lines);
    into.set(into.point(std::to_string(p), lines.place()), position, lines.place());
  }
  readBrace(lines, "}");
  if (!lines.atEnd()) lines.place().refuse("the file goes on behind its points");
}

}  // namespace remora
