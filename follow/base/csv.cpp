#include "follow/base/csv.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "follow/base/text.h"
#include "follow/error.h"

namespace remora {
namespace {

char separatorOf(const std::string& text) {
  const std::string first = text.substr(0, text.find('\n'));
  char best = ',';
  for (const char candidate : {',', ';', '\t'}) {
    const auto count = [&first](char c) { return std::count(first.begin(), first.end(), c); };
    if (count(candidate) > count(best)) best = candidate;
  }
  return best;
}

class Parser {
 public:
  Parser(const std::string& text, const std::string& file)
      : text_(text), file_(file), separator_(separatorOf(text)) {}

  std::vector<CsvRow> parse() {
    while (at_ < text_.size()) {
      CsvRow row{line_, {}};
      do {
        row.cells.push_back(takeCell());
      } while (take(separator_));
      takeLineEnd();
      if (row.cells.size() > 1 || !row.cells[0].empty()) rows_.push_back(std::move(row));
    }
    return std::move(rows_);
  }

 private:
  bool take(char wanted) {
    if (at_ >= text_.size() || text_[at_] != wanted) return false;
    ++at_;
    if (wanted == '\n') ++line_;
    return true;
  }

  void takeLineEnd() {
    take('\r');
    take('\n');
  }

  bool atCellEnd() const {
    if (at_ >= text_.size()) return true;
    const char c = text_[at_];
    const bool is_line_end =
        c == '\n' || (c == '\r' && (at_ + 1 >= text_.size() || text_[at_ + 1] == '\n'));
    return c == separator_ || is_line_end;
  }

  std::string takeCell() {
    std::string cell;
    if (take('"')) cell = takeQuoted();
    while (!atCellEnd()) cell += text_[at_++];
    return cell;
  }

  std::string takeQuoted() {
    const long first_line = line_;
    std::string cell;
    while (at_ < text_.size()) {
      const char c = text_[at_];
      take(c);
      if (c != '"' || take('"')) {
        cell += c;
      } else {
        return cell;
      }
    }
    throw Error(format("%s, line %ld: a quote does not end", file_.c_str(), first_line));
  }

  const std::string& text_;
  const std::string& file_;
  char separator_;
  std::size_t at_ = 0;
  long line_ = 1;
  std::vector<CsvRow> rows_;
};

}  // namespace

std::vector<CsvRow> parseCsv(const std::string& text, const std::string& file) {
  return Parser(text, file).parse();
}

std::string csvCell(const std::string& text) {
  if (text.find_first_of(",;\t\"\r\n") == std::string::npos) return text;
  std::string quoted = "\"";
  for (const char c : text) quoted += c == '"' ? "\"\"" : std::string(1, c);
  return quoted + '"';
}

}  // namespace remora
