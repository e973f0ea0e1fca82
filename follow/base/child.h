// Another program at work, what it is told and what it says.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string>
#include <vector>

namespace remora {

// A program that was started and is ended at the latest when this object is. It is apart from the
// terminal: its standard input is what is written to it, if anything, and an interruption at the
// keyboard does not reach it.
class Child {
 public:
  enum class Pipe { kOutput, kSide };  // what it writes to descriptors 1 and 3
  enum class Input { kNone, kWritten };

  // Starts the program command[0], which is looked for where the shell does; `missing` is the whole
  // message of the Error that is thrown where there is none.
  Child(const std::vector<std::string>& command, const std::string& missing,
        Input input = Input::kNone);
  // Kills the program where it still runs.
  ~Child();
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  // Reads `size` bytes; fewer only where there are no more. Throws Error when the program has been
  // silent for two minutes.
  std::size_t read(Pipe pipe, void* bytes, std::size_t size);
  // The next line without its end; empty where there is none.
  std::string line(Pipe pipe);

  // Writes to its standard input; false where it reads no more. Throws Error when the program has
  // taken nothing for two minutes.
  bool write(const void* bytes, std::size_t size);

  // Waits until the program has ended; whether it ended well. Its input ends, its output is lost
  // from here on.
  bool endsWell();
  // The first line that it wrote to standard error, without where in the program that came from;
  // empty where there is none. Complete after endsWell().
  std::string complaint() const;

 private:
  struct Stream {
    int descriptor = -1;
    std::string waiting;  // was read, but not asked for yet
  };

  Stream& streamOf(Pipe pipe) { return pipe == Pipe::kOutput ? output_ : side_; }
  // Waits until one of the streams has something, or input is taken where none is wanted; keeps
  // what the others have.
  void waitFor(const Stream* wanted);
  void keep(Stream& stream);
  void close();

  std::string program_;
  pid_t id_ = -1;
  int input_ = -1;
  Stream output_;
  Stream side_;
  Stream errors_;
};

}  // namespace remora
