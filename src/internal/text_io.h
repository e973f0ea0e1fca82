// The numbers in the library's own text files: read with checks, and written, whatever the locale.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "internal/decimal.h"

namespace remora::internal {

struct StreamCloser {
  void operator()(std::FILE* stream) const { std::fclose(stream); }
};
using Stream = std::unique_ptr<std::FILE, StreamCloser>;

// Null when the file cannot be opened, or cannot hold text (a folder). Prints nothing.
Stream openToRead(const char* name);
Stream openToWrite(const char* name);

// False for pipes and the like, whose content is gone when it has been read.
bool canBeReadAgain(std::FILE* stream);

// Closes a stream that was written to; prints one line when not everything reached the file.
void closeWritten(Stream stream, const char* name);

// Reads white-space separated numbers. The first token that is missing, malformed or out of range
// makes the reader faulty: from then on it reads nothing and yields zeros, so a record can be read
// straight through and judged once, at its end. The stream is left right after the last token.
class TextReader {
 public:
  // `kind` says what is read ("bunch file"), `name` may be null where it is not known.
  TextReader(std::FILE* stream, const char* kind, const char* name = nullptr);

  bool ok() const { return fault_.empty(); }
  // Where and why reading stopped; empty while ok.
  const std::string& fault() const { return fault_; }
  // Makes the reader faulty because values do not fit each other.
  void fail(const char* item, const std::string& reason) { fail(item, -1, reason); }
  void fail(const char* item, long index, const std::string& reason);
  // Prints the fault as one line; returns ok().
  bool report() const;

  int integer(const char* item, long index = -1);
  int count(const char* item, long index = -1);  // an integer that is not negative
  double real(const char* item, long index = -1);
  float single(const char* item, long index = -1);

  // `size` values. Memory grows with the values that arrive; after a fault the list is short.
  std::vector<int> integers(std::size_t size, const char* item);
  std::vector<double> reals(std::size_t size, const char* item);

  // True when nothing but white space is left. False where reading fails: reading the next value
  // then reports why.
  bool atEnd();

  // Names the surrounding item ("predictor 5") in faults found while it lives.
  class Within {
   public:
    Within(TextReader& reader, const char* item, long index);
    ~Within() { reader_.places_.pop_back(); }
    Within(const Within&) = delete;
    Within& operator=(const Within&) = delete;

   private:
    TextReader& reader_;
  };

 private:
  // A token, and its value where it is an ordinary number: digits, with at most one point among
  // them and at most a minus sign before them.
  struct Token {
    static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

    void note(int c, std::size_t at);
    // False for any other token, and for one with more digits than are sure to be exact.
    bool get(double& value) const;
    bool get(int& value) const;

    std::string_view text;
    std::uint64_t digits = 0;
    std::size_t point = kNone;
    bool negative = false;
    bool plain = true;
  };

  template <class Number>
  Number number(const char* item, long index, bool more = false);
  template <class Number>
  std::vector<Number> list(std::size_t size, const char* item);
  int skipWhiteSpace();
  Token token(bool more);

  static constexpr std::size_t kLongestToken = kLongestNumeral + 1;  // which is none

  std::FILE* stream_;
  std::string source_;
  std::vector<std::string> places_;
  std::string fault_;
  char token_[kLongestToken + 1];
};

// Appends text to a stream (to none when it is null). Bytes equal what printf writes in the C
// locale; everything is handed to the stream when the writer is destroyed.
class TextWriter {
 public:
  explicit TextWriter(std::FILE* stream) : stream_(stream) {}
  ~TextWriter() { flush(); }
  TextWriter(const TextWriter&) = delete;
  TextWriter& operator=(const TextWriter&) = delete;

  TextWriter& integer(int value);  // "%d"
  TextWriter& real(double value);  // "%f"
  TextWriter& text(std::string_view value);

  // Every value followed by one blank, then a line end.
  void integerLine(const int* values, std::size_t size);
  void realLine(const double* values, std::size_t size);

 private:
  void blank();
  char* room(std::size_t size);
  void flush();

  std::FILE* stream_;
  char buffer_[4096];
  char* end_ = buffer_;
};

}  // namespace remora::internal
