// Files that appear whole or not at all.
#pragma once

#include <string>

namespace remora::tools {

void requireReadable(const std::string& name);
std::string readFile(const std::string& name);

// Writes beside the file, makes it durable and renames it: whoever looks sees the old file or the
// new one.
void writeFile(const std::string& name, const std::string& content);

// A name beside `name` for a file that is being written.
std::string unfinishedName(const std::string& name);

// Makes a file written under unfinishedName(name) durable and gives it its name.
void finishFile(const std::string& name);

void makeFolder(const std::string& name);

}  // namespace remora::tools
