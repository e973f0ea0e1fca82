// Files that appear whole or not at all.
#pragma once

#include <fstream>
#include <string>
#include <utility>
#include <vector>

namespace remora::tools {

// Both fail, with the reason, where `name` is no regular file that can be read.
void requireReadable(const std::string& name);
constexpr std::size_t kMostBytes = std::size_t{1} << 30;
std::string readFile(const std::string& name, std::size_t most_bytes = kMostBytes);

// A file that people edit; a byte order mark at its beginning is left out.
std::string readText(const std::string& name);
constexpr char kByteOrderMark[] = "\xef\xbb\xbf";

// A file that is written under another name first: whoever looks sees the old file or the new one,
// and what was not committed leaves no trace, even when the user interrupts the program. Symbolic
// links stay what they are. A device or a pipe is written as it is.
class NewFile {
 public:
  // Written in the folder `scratch`, on the same file system; by default beside its final place.
  explicit NewFile(std::string name, const std::string& scratch = "");
  ~NewFile();
  NewFile(NewFile&& other) noexcept;
  NewFile& operator=(NewFile&&) = delete;

  const std::string& name() const { return name_; }
  // Write here, and close.
  const char* path() const { return path_.c_str(); }
  // Makes what was written durable and gives the file its name.
  void commit();
  // Only gives the file its name: after a power failure it may be cut, and a reader must notice.
  void commitUnsynced();
  // Files that belong together: all are durable before the first one gets its name, and an
  // interruption waits until the last one has it. Where one cannot be put in its place, the files
  // that were there before are put back.
  static void commitAll(std::vector<NewFile>& files);

 private:
  // What is about to be replaced, kept beside its successor meanwhile.
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

// A file that grows while work goes on: what is there when it breaks off, stays. An earlier file of
// this name is replaced when the first text comes.
class GrowingFile {
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
void fill(const NewFile& file, const std::string& content);

// Writes a whole file.
void writeFile(const std::string& name, const std::string& content);

// Fails when no file of this name could be written.
void requireWritable(const std::string& name);

// Fails when a file to be written is also read, or written otherwise.
void requireApart(const std::vector<std::string>& read, const std::vector<std::string>& written);

void makeFolder(const std::string& name);

}  // namespace remora::tools
