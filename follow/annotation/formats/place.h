// Where in a file something is, for messages.
#pragma once

#include <string>

namespace remora {

// Text of a file as a message can show it: quoted, in one line, not too long.
std::string shown(const std::string& text);

// Cheap to make for every record; words are made when something is wrong there.
struct Place {
  const std::string& file;
  const char* unit;                   // what is counted: line, annotation, shape
  long number;                        // with `text`: an offset in it, reported as a line
  const std::string* text = nullptr;  // of the whole file

  [[noreturn]] void refuse(const std::string& why) const;
};

}  // namespace remora
