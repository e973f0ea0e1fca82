// Files that appear whole or not at all. What is exported serves the program of this tree.
#pragma once

#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "follow/export.h"

namespace remora {

// Both fail with the reason unless `name` is a regular file that can be read.
REMORA_FOLLOW_EXPORT void requireReadable(const std::string& name);
constexpr std::size_t kMostBytes = std::size_t{1} << 30;
REMORA_FOLLOW_EXPORT std::string readFile(const std::string& name,
                                          std::size_t most_bytes = kMostBytes);

// For files that people edit: a byte order mark at the beginning is left out, UTF-16 is refused.
REMORA_FOLLOW_EXPORT std::string readText(const std::string& name,
                                          std::size_t most_bytes = kMostBytes);
constexpr char kByteOrderMark[] = "\xef\xbb\xbf";

// A file that is written under a temporary name and renamed when it is complete: readers see the
// old file or the new one. Without commit() the temporary file is removed, also when the user
// interrupts the program. Symbolic links are followed. A device or a pipe is written directly.
class REMORA_FOLLOW_EXPORT NewFile {
 public:
  // Written in the folder `scratch`, on the same file system; by default beside its final place.
  explicit NewFile(std::string name, const std::string& scratch = "");
  ~NewFile();
  NewFile(NewFile&& other) noexcept;
  NewFile& operator=(NewFile&&) = delete;

  const std::string& name() const { return name_; }
  // The temporary name: write and close this file before commit().
  const char* path() const { return path_.c_str(); }
  // Syncs the file to disk and renames it.
  void commit();
  // Only renames it: after a power failure it may be cut short, so readers must check it.
  void commitUnsynced();
  // Commits files that belong together: all are synced before the first one is renamed, signals are
  // blocked until the last one is, and where one cannot be renamed the earlier files are restored.
  static void commitAll(std::vector<NewFile>& files);

 private:
  // A backup of a file that is about to be replaced, until its successor is in place.
  class Replaced {
   public:
    Replaced(const std::string& place, std::string backup);
    ~Replaced();
    Replaced(Replaced&& other) noexcept;
    Replaced& operator=(Replaced&&) = delete;
    void putBack();

   private:
    std::string place_;
    std::string backup_;  // empty where nothing was there
  };

  void sync() const;

  std::string name_;
  std::string place_;  // where the file will be; empty once it is there
  std::string path_;
};

// A folder that is filled under a temporary name, and renamed when it is complete. Without commit()
// it is removed with all that is in it.
class NewFolder {
 public:
  // Throws Error where the folder that it is to be in is not there.
  explicit NewFolder(const std::string& name);
  ~NewFolder();
  NewFolder(const NewFolder&) = delete;
  NewFolder& operator=(const NewFolder&) = delete;

  // The final name, without slashes at its end, and the temporary one.
  const std::string& name() const { return name_; }
  const std::string& path() const { return path_; }
  // Replaces a folder of this name, with all that is in it: who calls it has looked.
  void commit();

 private:
  std::string name_;
  std::string place_;
  std::string path_;
};

// A file that grows while work goes on: what is there when it breaks off, stays. An earlier file of
// this name is replaced when the first text comes.
class REMORA_FOLLOW_EXPORT GrowingFile {
 public:
  explicit GrowingFile(std::string name) : name_(std::move(name)) {}
  void append(const std::string& text);

 private:
  std::string name_;
  std::ofstream out_;
};

// Keeps other processes from writing into a folder while it lives.
class FolderLock {
 public:
  explicit FolderLock(const std::string& folder);
  ~FolderLock();
  FolderLock(const FolderLock&) = delete;
  FolderLock& operator=(const FolderLock&) = delete;

 private:
  int descriptor_;
};

// Fills a new file without giving it its name yet.
REMORA_FOLLOW_EXPORT void fill(const NewFile& file, const std::string& content);

// Writes a whole file.
REMORA_FOLLOW_EXPORT void writeFile(const std::string& name, const std::string& content);

// Writes a whole file where there is none; false, and nothing is written, where there is one, also
// when another process, or another machine, makes it at the same time.
bool writeFirst(const std::string& name, const std::string& content);

// Fails when no file of this name could be written.
REMORA_FOLLOW_EXPORT void requireWritable(const std::string& name);

// Fails when a file would be both read and written, or written twice.
REMORA_FOLLOW_EXPORT void requireApart(const std::vector<std::string>& read,
                                       const std::vector<std::string>& written);

REMORA_FOLLOW_EXPORT void makeFolder(const std::string& name);

}  // namespace remora
