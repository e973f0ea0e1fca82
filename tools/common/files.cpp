#include "common/files.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <utility>

#include "common/failure.h"

namespace remora::tools {
namespace {

std::string reason() { return std::strerror(errno); }

}  // namespace

void requireReadable(const std::string& name) {
  const std::ifstream in(name);
  if (!in) throw Failure("cannot read " + name + ": " + reason());
  const bool is_folder = std::filesystem::is_directory(name);
  if (is_folder) throw Failure("cannot read " + name + ": it is a folder");
}

std::string readFile(const std::string& name) {
  requireReadable(name);
  std::ifstream in(name, std::ios::binary);
  std::ostringstream content;
  content << in.rdbuf();
  if (in.bad()) throw Failure("cannot read " + name);
  return content.str();
}

NewFile::NewFile(std::string name, const std::string& scratch) : name_(std::move(name)) {
  const std::filesystem::path final_path(name_);
  const std::filesystem::path folder =
      scratch.empty() ? final_path.parent_path() : std::filesystem::path(scratch);
  path_ = folder / (final_path.filename().string() + ".unfinished-" + std::to_string(getpid()));
}

NewFile::NewFile(NewFile&& other) noexcept
    : name_(std::move(other.name_)), path_(std::exchange(other.path_, {})) {}

NewFile::~NewFile() {
  if (!path_.empty()) std::remove(path_.c_str());
}

void NewFile::commit() {
  const int file = open(path_.c_str(), O_RDONLY | O_CLOEXEC);
  const bool durable = file >= 0 && fsync(file) == 0;
  if (file >= 0) close(file);
  if (!durable) throw Failure("cannot write " + name_ + ": " + reason());
  commitUnsynced();
}

void NewFile::commitUnsynced() {
  if (std::rename(path_.c_str(), name_.c_str()) != 0) {
    throw Failure("cannot write " + name_ + ": " + reason());
  }
  path_.clear();
}

void fill(const NewFile& file, const std::string& content) {
  std::ofstream out(file.path(), std::ios::binary);
  out << content;
  out.close();
  if (!out) throw Failure("cannot write " + file.name() + ": " + reason());
}

void writeFile(const std::string& name, const std::string& content) {
  NewFile file(name);
  fill(file, content);
  file.commit();
}

void requireWritable(const std::string& name) {
  const NewFile probe(name);
  fill(probe, "");
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
