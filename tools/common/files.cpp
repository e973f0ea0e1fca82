#include "common/files.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "common/failure.h"

namespace remora::tools {
namespace {

std::string reason() { return std::strerror(errno); }

}  // namespace

void requireReadable(const std::string& name) {
  const std::ifstream in(name);
  if (!in) throw Failure("cannot read " + name + ": " + reason());
  if (std::filesystem::is_directory(name)) throw Failure("cannot read " + name + ": it is a folder");
}

std::string readFile(const std::string& name) {
  requireReadable(name);
  std::ifstream in(name, std::ios::binary);
  std::ostringstream content;
  content << in.rdbuf();
  if (in.bad()) throw Failure("cannot read " + name);
  return content.str();
}

std::string unfinishedName(const std::string& name) {
  return name + ".unfinished-" + std::to_string(getpid());
}

void finishFile(const std::string& name) {
  const std::string unfinished = unfinishedName(name);
  const int file = open(unfinished.c_str(), O_RDONLY | O_CLOEXEC);
  const bool durable = file >= 0 && fsync(file) == 0;
  if (file >= 0) close(file);
  if (durable && std::rename(unfinished.c_str(), name.c_str()) == 0) return;
  const std::string why = reason();
  std::remove(unfinished.c_str());
  throw Failure("cannot write " + name + ": " + why);
}

void writeFile(const std::string& name, const std::string& content) {
  const std::string unfinished = unfinishedName(name);
  std::ofstream out(unfinished, std::ios::binary);
  out << content;
  out.close();
  if (!out) {
    const std::string why = reason();
    std::remove(unfinished.c_str());
    throw Failure("cannot write " + name + ": " + why);
  }
  finishFile(name);
}

void makeFolder(const std::string& name) {
  std::error_code error;
  std::filesystem::create_directories(name, error);
  if (error || !std::filesystem::is_directory(name)) {
    throw Failure("cannot make folder " + name + ": " +
                  (error ? error.message() : "a file has this name"));
  }
}

}  // namespace remora::tools
