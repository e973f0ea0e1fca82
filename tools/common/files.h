// Files that appear whole or not at all.
#pragma once

#include <string>

namespace remora::tools {

void requireReadable(const std::string& name);
std::string readFile(const std::string& name);

// A file that is written under another name first: whoever looks sees the old file or the new one,
// and what was not committed leaves no trace.
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

 private:
  std::string name_;
  std::string path_;  // empty once there is nothing to remove
};

// Fills a new file without giving it its name yet.
void fill(const NewFile& file, const std::string& content);

// Writes a whole file.
void writeFile(const std::string& name, const std::string& content);

// Fails when no file of this name could be written.
void requireWritable(const std::string& name);

void makeFolder(const std::string& name);

}  // namespace remora::tools
