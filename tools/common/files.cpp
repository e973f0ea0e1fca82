#include "common/files.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <utility>

#include "common/failure.h"

namespace remora::tools {
namespace {

namespace fs = std::filesystem;

std::string reason() { return std::strerror(errno); }

// What an interruption has to remove. It changes only while interruptions wait.
std::set<std::string>& unfinished() {
  static std::set<std::string> paths;
  return paths;
}

constexpr int kInterruptions[] = {SIGINT, SIGTERM, SIGHUP};

class InterruptionsWait {
 public:
  InterruptionsWait() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : kInterruptions) sigaddset(&signals, signal);
    sigprocmask(SIG_BLOCK, &signals, &before_);
  }
  ~InterruptionsWait() { sigprocmask(SIG_SETMASK, &before_, nullptr); }
  InterruptionsWait(const InterruptionsWait&) = delete;
  InterruptionsWait& operator=(const InterruptionsWait&) = delete;

 private:
  sigset_t before_;
};

extern "C" void removeUnfinished(int signal) {
  for (const std::string& path : unfinished()) unlink(path.c_str());
  std::signal(signal, SIG_DFL);
  raise(signal);
}

void removeWhenInterrupted(const std::string& path) {
  const InterruptionsWait wait;
  unfinished().insert(path);
  for (const int signal : kInterruptions) {
    if (std::signal(signal, removeUnfinished) == SIG_IGN) std::signal(signal, SIG_IGN);
  }
}

void keepWhenInterrupted(const std::string& path) {
  const InterruptionsWait wait;
  unfinished().erase(path);
}

std::ifstream openToRead(const std::string& name) {
  std::ifstream in(name, std::ios::binary);
  if (!in) throw Failure("cannot read " + name + ": " + reason());
  if (fs::is_directory(name)) throw Failure("cannot read " + name + ": it is a folder");
  return in;
}

// A device or a pipe: nothing can be put in its place.
bool isSpecial(const std::string& name) { return fs::exists(name) && fs::is_other(name); }

// The file that a symbolic link stands for, or the name itself.
std::string linkedTo(const std::string& name) {
  std::error_code broken;
  const fs::path target = fs::is_symlink(name) ? fs::canonical(name, broken) : fs::path();
  return target.empty() ? name : target.string();
}

}  // namespace

void requireReadable(const std::string& name) { openToRead(name); }

std::string readFile(const std::string& name) {
  std::ifstream in = openToRead(name);
  std::ostringstream content;
  content << in.rdbuf();
  if (in.bad()) throw Failure("cannot read " + name);
  return content.str();
}

NewFile::NewFile(std::string name, const std::string& scratch)
    : name_(std::move(name)), place_(linkedTo(name_)) {
  if (isSpecial(place_)) {
    path_ = std::exchange(place_, {});
    return;
  }
  const bool is_beside = scratch.empty() || place_ != name_;
  const fs::path folder = is_beside ? fs::path(place_).parent_path() : fs::path(scratch);
  path_ =
      folder / (fs::path(place_).filename().string() + ".unfinished-" + std::to_string(getpid()));
  removeWhenInterrupted(path_);
}

NewFile::NewFile(NewFile&& other) noexcept
    : name_(std::move(other.name_)),
      place_(std::exchange(other.place_, {})),
      path_(std::move(other.path_)) {}

NewFile::~NewFile() {
  if (place_.empty()) return;
  std::remove(path_.c_str());
  keepWhenInterrupted(path_);
}

void NewFile::sync() const {
  if (place_.empty()) return;
  if (fs::is_directory(place_)) throw Failure("cannot write " + name_ + ": it is a folder");
  const int file = open(path_.c_str(), O_RDONLY | O_CLOEXEC);
  const bool durable = file >= 0 && fsync(file) == 0;
  if (file >= 0) close(file);
  if (!durable) throw Failure("cannot write " + name_ + ": " + reason());
}

void NewFile::commit() {
  sync();
  commitUnsynced();
}

void NewFile::commitAll(std::vector<NewFile>& files) {
  for (const NewFile& file : files) file.sync();
  const InterruptionsWait wait;
  for (NewFile& file : files) file.commitUnsynced();
}

void NewFile::commitUnsynced() {
  if (place_.empty()) return;
  if (std::rename(path_.c_str(), place_.c_str()) != 0) {
    throw Failure("cannot write " + name_ + ": " + reason());
  }
  keepWhenInterrupted(path_);
  place_.clear();
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
  if (fs::is_directory(name)) throw Failure("cannot write " + name + ": it is a folder");
  if (isSpecial(name)) return;  // whoever waits at the other end of a pipe waits for all of it
  const NewFile probe(name);
  fill(probe, "");
}

void makeFolder(const std::string& name) {
  std::error_code error;
  fs::create_directories(name, error);
  if (error || !fs::is_directory(name)) {
    throw Failure("cannot make folder " + name + ": " +
                  (error ? error.message() : "a file has this name"));
  }
}

FolderLock::FolderLock(const std::string& folder)
    : descriptor_(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
  if (descriptor_ < 0) throw Failure("cannot open folder " + folder + ": " + reason());
  // A file system without locks is no reason not to write.
  if (flock(descriptor_, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK) return;
  close(descriptor_);
  throw Failure("cannot write into folder " + folder + ": another program is writing there");
}

FolderLock::~FolderLock() { close(descriptor_); }

}  // namespace remora::tools
