#include "follow/base/files.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <random>
#include <set>

#include "follow/base/interruptions.h"
#include "follow/base/text.h"
#include "follow/error.h"

namespace remora {
namespace {

namespace fs = std::filesystem;

std::string reason() { return std::strerror(errno); }

struct Closer {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using OpenFile = std::unique_ptr<std::FILE, Closer>;

[[noreturn]] void failToRead(const std::string& name, const std::string& why) {
  throw Error("cannot read " + name + ": " + why);
}

// Never waits, not even for a writer where `name` is a pipe.
OpenFile openToRead(const std::string& name) {
  const int descriptor = open(name.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  OpenFile file(descriptor < 0 ? nullptr : fdopen(descriptor, "rb"));
  if (!file) failToRead(name, reason());
  struct stat status;
  if (fstat(descriptor, &status) != 0) failToRead(name, reason());
  if (S_ISDIR(status.st_mode)) failToRead(name, "it is a folder");
  if (!S_ISREG(status.st_mode)) failToRead(name, "it is not a regular file");
  return file;
}

bool isUnder(const fs::path& path, const char* folder) {
  return path.lexically_normal().string().rfind(folder, 0) == 0;
}

// /dev/stdout, for example, is a link to such a name.
bool namesAnOpenFile(const fs::path& path) {
  return isUnder(path, "/proc/") || isUnder(path, "/dev/fd/");
}

// Where a symbolic link leads, whether a file is there or not; otherwise the name itself.
std::string linkedTo(const std::string& name) {
  constexpr int kMostLinks = 40;
  fs::path path = name;
  for (int i = 0; i < kMostLinks && !namesAnOpenFile(path) && fs::is_symlink(path); ++i) {
    path = path.parent_path() / fs::read_symlink(path);
  }
  return path.string();
}

// Told apart from all others, also of machines that share a folder and number processes alike.
std::string ownSuffix() {
  static const unsigned drawn = std::random_device()();
  return format(".unfinished-%d-%08x", static_cast<int>(getpid()), drawn);
}

// A device, a pipe or the name of an open file: it is written directly, not replaced.
bool isSpecial(const std::string& name) {
  const fs::path path = linkedTo(name);
  std::error_code missing;
  return namesAnOpenFile(path) || fs::is_other(path, missing);
}

}  // namespace

void requireReadable(const std::string& name) { openToRead(name); }

std::string readFile(const std::string& name, std::size_t most_bytes) {
  const OpenFile file = openToRead(name);
  const auto requireAtMost = [&](std::size_t bytes) {
    if (bytes > most_bytes) failToRead(name, format("it has more than %zu bytes", most_bytes));
  };
  struct stat status;
  if (fstat(fileno(file.get()), &status) == 0) {
    requireAtMost(static_cast<std::size_t>(status.st_size));  // of some, more comes than they say
  }
  std::string content;
  char block[65536];
  while (const std::size_t read = std::fread(block, 1, sizeof block, file.get())) {
    content.append(block, read);
    requireAtMost(content.size());
  }
  if (std::ferror(file.get()) != 0) failToRead(name, reason());
  return content;
}

std::string readText(const std::string& name, std::size_t most_bytes) {
  std::string content = readFile(name, most_bytes);
  const auto beginsWith = [&content](const char* mark) { return content.rfind(mark, 0) == 0; };
  if (beginsWith("\xff\xfe") || beginsWith("\xfe\xff")) {
    failToRead(name, "it is UTF-16 text; UTF-8 is wanted");
  }
  if (beginsWith(kByteOrderMark)) content.erase(0, sizeof kByteOrderMark - 1);
  return content;
}

NewFile::NewFile(std::string name, const std::string& scratch)
    : name_(std::move(name)), place_(linkedTo(name_)) {
  if (isSpecial(place_)) {
    path_ = std::exchange(place_, {});
    return;
  }
  const bool is_beside = scratch.empty() || place_ != name_;
  const fs::path folder = is_beside ? fs::path(place_).parent_path() : fs::path(scratch);
  path_ = folder / (fs::path(place_).filename().string() + ownSuffix());
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
  if (fs::is_directory(place_)) throw Error("cannot write " + name_ + ": it is a folder");
  std::error_code ignored;  // without the permissions of its predecessor, then
  if (fs::exists(place_)) fs::permissions(path_, fs::status(place_).permissions(), ignored);
  const int file = open(path_.c_str(), O_RDONLY | O_CLOEXEC);
  const bool durable = file >= 0 && fsync(file) == 0;
  if (file >= 0) close(file);
  if (!durable) throw Error("cannot write " + name_ + ": " + reason());
}

void NewFile::commit() {
  sync();
  commitUnsynced();
}

void NewFile::commitAll(std::vector<NewFile>& files) {
  for (const NewFile& file : files) file.sync();
  const InterruptionsWait wait;
  std::vector<Replaced> replaced;
  for (const NewFile& file : files) replaced.emplace_back(file.place_, file.path_ + ".before");
  try {
    for (NewFile& file : files) file.commitUnsynced();
  } catch (const Error&) {
    for (Replaced& file : replaced) file.putBack();
    throw;
  }
}

void NewFile::commitUnsynced() {
  if (place_.empty()) return;
  if (std::rename(path_.c_str(), place_.c_str()) != 0) {
    throw Error("cannot write " + name_ + ": " + reason());
  }
  keepWhenInterrupted(path_);
  place_.clear();
}

NewFolder::NewFolder(const std::string& name) : name_(name) {
  while (name_.size() > 1 && name_.back() == '/') name_.pop_back();
  place_ = linkedTo(name_);
  std::error_code error;
  const std::string path = place_ + ownSuffix();
  if (!fs::create_directory(path, error) && error) {
    throw Error("cannot make " + name_ + ": " + error.message());
  }
  path_ = path;
}

NewFolder::~NewFolder() {
  std::error_code ignored;
  if (!path_.empty()) fs::remove_all(path_, ignored);
}

void NewFolder::commit() {
  const InterruptionsWait wait;
  const std::string before = path_ + ".before";
  std::error_code error;
  const bool replaces = fs::exists(place_);
  if (replaces) fs::rename(place_, before, error);
  if (!error) fs::rename(path_, place_, error);
  std::error_code ignored;
  if (error && replaces && fs::exists(before)) fs::rename(before, place_, ignored);
  if (error) throw Error("cannot write " + name_ + ": " + error.message());
  path_.clear();
  fs::remove_all(before, ignored);
}

NewFile::Replaced::Replaced(const std::string& place, std::string backup)
    : place_(place), backup_(std::move(backup)) {
  std::error_code error;
  if (!fs::exists(place_)) {
    backup_.clear();
    return;
  }
  removeWhenInterrupted(backup_);
  fs::create_hard_link(place_, backup_, error);
  if (error) fs::copy_file(place_, backup_, error);
  if (error) throw Error("cannot write " + backup_ + ": " + error.message());
}

NewFile::Replaced::Replaced(Replaced&& other) noexcept
    : place_(std::move(other.place_)), backup_(std::exchange(other.backup_, {})) {}

NewFile::Replaced::~Replaced() {
  if (backup_.empty()) return;
  std::remove(backup_.c_str());
  keepWhenInterrupted(backup_);
}

void NewFile::Replaced::putBack() {
  if (backup_.empty()) {
    std::remove(place_.c_str());
  } else {
    std::rename(backup_.c_str(), place_.c_str());
  }
}

void requireApart(const std::vector<std::string>& read, const std::vector<std::string>& written) {
  const auto placeOf = [](const std::string& name) {
    return fs::weakly_canonical(fs::absolute(linkedTo(name)));
  };
  std::set<fs::path> taken;
  for (const std::string& name : read) taken.insert(placeOf(name));
  for (const std::string& name : written) {
    if (isSpecial(name) || taken.insert(placeOf(name)).second) continue;
    throw Error("cannot write " + name + ": it is one of the files to read, or written twice");
  }
}

void fill(const NewFile& file, const std::string& content) {
  std::ofstream out(file.path(), std::ios::binary);
  out << content;
  out.close();
  if (!out) throw Error("cannot write " + file.name() + ": " + reason());
}

void GrowingFile::append(const std::string& text) {
  if (!out_.is_open()) out_.open(name_, std::ios::binary);
  out_ << text << std::flush;
  if (!out_) throw Error("cannot write " + name_ + ": " + reason());
}

void writeFile(const std::string& name, const std::string& content) {
  NewFile file(name);
  fill(file, content);
  file.commit();
}

bool writeFirst(const std::string& name, const std::string& content) {
  NewFile file(name);
  fill(file, content);
  if (link(file.path(), name.c_str()) == 0) return true;
  if (errno == EEXIST) return false;
  // A file system without hard links.
  if (fs::exists(name)) return false;
  file.commit();
  return true;
}

void requireWritable(const std::string& name) {
  if (fs::is_directory(name)) throw Error("cannot write " + name + ": it is a folder");
  if (isSpecial(name)) return;  // a reader of the pipe would take the probe for the output
  const NewFile probe(name);
  fill(probe, "");
}

void makeFolder(const std::string& name) {
  std::error_code error;
  fs::create_directories(name, error);
  if (error || !fs::is_directory(name)) {
    throw Error("cannot make folder " + name + ": " +
                (error ? error.message() : "a file has this name"));
  }
}

FolderLock::FolderLock(const std::string& folder)
    : descriptor_(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
  if (descriptor_ < 0) throw Error("cannot open folder " + folder + ": " + reason());
  // On a file system without locks, go on.
  if (flock(descriptor_, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK) return;
  close(descriptor_);
  throw Error("cannot write into folder " + folder + ": another program is writing there");
}

FolderLock::~FolderLock() { close(descriptor_); }

}  // namespace remora
