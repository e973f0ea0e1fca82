#include "internal/text_io.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <type_traits>

#include "internal/decimal.h"
#include "internal/messages.h"

namespace remora::internal {
namespace {

bool isSpace(int c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

bool isFolder(std::FILE* stream) {
  struct stat status;
  return fstat(fileno(stream), &status) == 0 && S_ISDIR(status.st_mode);
}

Stream open(const char* name, const char* mode) {
  if (name == nullptr) return nullptr;
  Stream stream(std::fopen(name, mode));
  if (stream && isFolder(stream.get())) stream.reset();
  return stream;
}

std::string numbered(const char* item, long index) {
  return index < 0 ? std::string(item) : std::string(item) + ' ' + std::to_string(index);
}

// Bytes of a hostile file must not reach a terminal as they are.
std::string quoted(std::string_view token) {
  constexpr std::size_t kShown = 24;
  std::string shown = "\"";
  for (const char c : token.substr(0, kShown)) shown += c >= ' ' && c <= '~' ? c : '?';
  return shown + (token.size() > kShown ? "...\"" : "\"");
}

}  // namespace

Stream openToRead(const char* name) { return open(name, "r"); }

Stream openToWrite(const char* name) { return open(name, "w"); }

bool canBeReadAgain(std::FILE* stream) { return std::ftell(stream) >= 0; }

void closeWritten(Stream stream, const char* name) {
  // The reason of an earlier failure is still there unless a later call succeeded in between.
  const int earlier = std::ferror(stream.get()) != 0 ? errno : 0;
  const bool written = std::ferror(stream.get()) == 0;
  const bool closed = std::fclose(stream.release()) == 0;
  if (written && closed) return;
  say(text::kWriteFailed, name, std::strerror(written ? errno : earlier));
}

TextReader::TextReader(std::FILE* stream, const char* kind, const char* name)
    : stream_(stream), source_(name == nullptr ? kind : std::string(kind) + ' ' + name) {
  if (stream == nullptr) fault_ = source_ + ": no stream";
}

bool TextReader::report() const {
  if (!ok()) say(text::kMalformed, fault_.c_str());
  return ok();
}

TextReader::Within::Within(TextReader& reader, const char* item, long index) : reader_(reader) {
  reader_.places_.push_back(numbered(item, index));
}

int TextReader::skipWhiteSpace() {
  int c = getc_unlocked(stream_);
  while (isSpace(c)) c = getc_unlocked(stream_);
  return c;
}

// The next token, empty at the end of the file; one that is too long for a number is cut. The white
// space after it stays in the stream unless another token will be asked for.
TextReader::Token TextReader::token(bool more) {
  Token token;
  std::size_t size = 0;
  int c = skipWhiteSpace();
  for (; c != EOF && size < kLongestToken; c = getc_unlocked(stream_)) {
    const auto digit = static_cast<unsigned>(c - '0');
    if (digit <= 9) {
      token.digits = 10 * token.digits + digit;
    } else if (isSpace(c)) {
      break;
    } else {
      token.note(c, size);
    }
    token_[size++] = static_cast<char>(c);
  }
  if (c != EOF && !(more && isSpace(c))) std::ungetc(c, stream_);
  token_[size] = '\0';
  token.text = {token_, size};
  return token;
}

// A character that is no digit.
void TextReader::Token::note(int c, std::size_t at) {
  if (c == '-' && at == 0) {
    negative = true;
  } else if (c == '.' && point == kNone) {
    point = at;
  } else {
    plain = false;
  }
}

bool TextReader::Token::get(double& value) const {
  const std::size_t decimals = point == kNone ? 0 : text.size() - point - 1;
  const std::size_t count = text.size() - (negative ? 1 : 0) - (point == kNone ? 0 : 1);
  if (!plain || count == 0 || count > kMostShortDigits) return false;
  const double magnitude = shortReal(digits, decimals);
  value = negative ? -magnitude : magnitude;
  return true;
}

bool TextReader::Token::get(int& value) const {
  constexpr std::size_t kSafeDigits = 9;
  const std::size_t count = text.size() - (negative ? 1 : 0);
  if (!plain || point != kNone || count == 0 || count > kSafeDigits) return false;
  const int magnitude = static_cast<int>(digits);
  value = negative ? -magnitude : magnitude;
  return true;
}

bool TextReader::atEnd() {
  if (!ok()) return true;
  const int c = skipWhiteSpace();
  if (c != EOF) std::ungetc(c, stream_);
  return c == EOF && std::ferror(stream_) == 0;
}

void TextReader::fail(const char* item, long index, const std::string& reason) {
  fault_ = source_ + ": ";
  for (const std::string& place : places_) fault_ += place + ", ";
  fault_ += numbered(item, index) + ": " + reason;
}

template <class Number>
Number TextReader::number(const char* item, long index, bool more) {
  if (!ok()) return 0;
  const Token next = token(more);
  const std::string_view found = next.text;
  if (found.empty()) {
    fail(item, index, std::ferror(stream_) != 0 ? "the file cannot be read" : "the file ends here");
    return 0;
  }
  Number value = 0;
  if constexpr (!std::is_same_v<Number, float>) {
    if (next.get(value)) return value;
  }
  const Numeral numeral = readNumeral(found, value);
  if (numeral == Numeral::kNumber) return value;
  const bool is_large = numeral == Numeral::kOutOfRange;
  fail(item, index, quoted(found) + (is_large ? " is out of range" : " is not a number"));
  return 0;
}

int TextReader::integer(const char* item, long index) { return number<int>(item, index); }

int TextReader::count(const char* item, long index) {
  const int value = number<int>(item, index);
  if (value >= 0) return value;
  fail(item, index, std::to_string(value) + " is negative");
  return 0;
}

double TextReader::real(const char* item, long index) { return number<double>(item, index); }

float TextReader::single(const char* item, long index) { return number<float>(item, index); }

template <class Number>
std::vector<Number> TextReader::list(std::size_t size, const char* item) {
  constexpr std::size_t kReserved = 1024;  // values that have memory before they are read
  std::vector<Number> values;
  values.reserve(std::min(size, kReserved));
  for (std::size_t i = 0; i < size && ok(); ++i) {
    values.push_back(number<Number>(item, static_cast<long>(i), i + 1 < size));
  }
  return values;
}

std::vector<int> TextReader::integers(std::size_t size, const char* item) {
  return list<int>(size, item);
}

std::vector<double> TextReader::reals(std::size_t size, const char* item) {
  return list<double>(size, item);
}

TextWriter& TextWriter::integer(int value) {
  end_ = writeInteger(room(kLongestReal), value);
  return *this;
}

TextWriter& TextWriter::real(double value) {
  end_ = writeReal(room(kLongestReal), value);
  return *this;
}

TextWriter& TextWriter::text(std::string_view value) {
  while (!value.empty()) {
    char* const to = room(1);
    const std::size_t fits =
        std::min(value.size(), static_cast<std::size_t>(buffer_ + sizeof buffer_ - to));
    std::memcpy(to, value.data(), fits);
    end_ = to + fits;
    value.remove_prefix(fits);
  }
  return *this;
}

void TextWriter::integerLine(const int* values, std::size_t size) {
  for (std::size_t i = 0; i < size; ++i) integer(values[i]).blank();
  text("\n");
}

void TextWriter::realLine(const double* values, std::size_t size) {
  for (std::size_t i = 0; i < size; ++i) real(values[i]).blank();
  text("\n");
}

void TextWriter::blank() {
  *room(1) = ' ';
  ++end_;
}

// Where so many characters may be written.
char* TextWriter::room(std::size_t size) {
  if (static_cast<std::size_t>(buffer_ + sizeof buffer_ - end_) < size) flush();
  return end_;
}

void TextWriter::flush() {
  if (stream_ != nullptr) {
    std::fwrite(buffer_, 1, static_cast<std::size_t>(end_ - buffer_), stream_);
  }
  end_ = buffer_;
}

}  // namespace remora::internal
