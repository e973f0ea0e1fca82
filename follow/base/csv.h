// Tables as text: rows of cells between commas, semicolons or tabs (RFC 4180).
#pragma once

#include <string>
#include <vector>

namespace remora {

struct CsvRow {
  long line = 0;  // of its beginning, counted from 1
  std::vector<std::string> cells;
};

// All rows of a text but for empty ones. Cells may be quoted; a doubled quote in them is one, and
// line ends are kept. The separator is the one that the first line has most of. `file` is for the
// message of the Error that is thrown for a quote that does not end.
std::vector<CsvRow> parseCsv(const std::string& text, const std::string& file);

// A cell, quoted where it must be.
std::string csvCell(const std::string& text);

}  // namespace remora
