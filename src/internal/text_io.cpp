#include "internal/text_io.h"

#include <locale.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <cerrno>
#include <charconv>
#include <cstring>
#include <limits>
#include <type_traits>

#include "internal/messages.h"

namespace remora::internal {
namespace {

constexpr std::size_t kFlushAt = std::size_t{1} << 16;

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

// What scanning gives for a number that is out of range: zero, or the nearest subnormal number, for
// one that is too small; infinity for one that is too large.
template <class Number>
Number unrepresentable(const char* token) {
  static const locale_t c_locale = newlocale(LC_ALL_MASK, "C", nullptr);
  if constexpr (std::is_same_v<Number, float>) return strtof_l(token, nullptr, c_locale);
  if constexpr (std::is_same_v<Number, double>) return strtod_l(token, nullptr, c_locale);
  return std::numeric_limits<Number>::max();
}

template <class Number>
bool isTiny(Number value) {
  return value > -1 && value < 1;
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

// The next token, empty at the end of the file; one that is too long for a number is cut.
std::string_view TextReader::token() {
  std::size_t size = 0;
  int c = skipWhiteSpace();
  while (c != EOF && !isSpace(c) && size < kLongestToken) {
    token_[size++] = static_cast<char>(c);
    c = getc_unlocked(stream_);
  }
  if (c != EOF) std::ungetc(c, stream_);
  token_[size] = '\0';
  return {token_, size};
}

bool TextReader::atEnd() {
  if (!ok()) return true;
  const int c = skipWhiteSpace();
  if (c != EOF) std::ungetc(c, stream_);
  return c == EOF;
}

void TextReader::fail(const char* item, long index, const std::string& reason) {
  fault_ = source_ + ": ";
  for (const std::string& place : places_) fault_ += place + ", ";
  fault_ += numbered(item, index) + ": " + reason;
}

template <class Number>
Number TextReader::number(const char* item, long index) {
  if (!ok()) return 0;
  const std::string_view found = token();
  if (found.empty()) {
    fail(item, index, std::ferror(stream_) != 0 ? "the file cannot be read" : "the file ends here");
    return 0;
  }
  const char* const end = found.data() + found.size();
  const bool plus = found.size() > 1 && found[0] == '+' && found[1] != '-';
  Number value = 0;
  const auto [stop, error] = std::from_chars(found.data() + (plus ? 1 : 0), end, value);
  if (error == std::errc::result_out_of_range) value = unrepresentable<Number>(found.data());
  if (error == std::errc::result_out_of_range && !isTiny(value)) {
    fail(item, index, quoted(found) + " is out of range");
  } else if (error == std::errc::invalid_argument || stop != end || found.size() == kLongestToken) {
    fail(item, index, quoted(found) + " is not a number");
  }
  return ok() ? value : 0;
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

std::vector<int> TextReader::integers(std::size_t size, const char* item) {
  std::vector<int> values;
  for (std::size_t i = 0; i < size && ok(); ++i) {
    values.push_back(integer(item, static_cast<long>(i)));
  }
  return values;
}

std::vector<double> TextReader::reals(std::size_t size, const char* item) {
  std::vector<double> values;
  for (std::size_t i = 0; i < size && ok(); ++i) {
    values.push_back(real(item, static_cast<long>(i)));
  }
  return values;
}

TextWriter& TextWriter::integer(int value) {
  char digits[16];
  const auto [end, error] = std::to_chars(digits, digits + sizeof digits, value);
  static_cast<void>(error);
  return text({digits, static_cast<std::size_t>(end - digits)});
}

TextWriter& TextWriter::real(double value) {
  constexpr int kDecimals = 6;
  char digits[400];
  const auto [end, error] =
      std::to_chars(digits, digits + sizeof digits, value, std::chars_format::fixed, kDecimals);
  static_cast<void>(error);
  return text({digits, static_cast<std::size_t>(end - digits)});
}

TextWriter& TextWriter::text(std::string_view value) {
  buffer_ += value;
  if (buffer_.size() >= kFlushAt) flush();
  return *this;
}

void TextWriter::integerLine(const int* values, std::size_t size) {
  for (std::size_t i = 0; i < size; ++i) integer(values[i]).text(" ");
  text("\n");
}

void TextWriter::realLine(const double* values, std::size_t size) {
  for (std::size_t i = 0; i < size; ++i) real(values[i]).text(" ");
  text("\n");
}

void TextWriter::flush() {
  if (stream_ != nullptr) std::fwrite(buffer_.data(), 1, buffer_.size(), stream_);
  buffer_.clear();
}

}  // namespace remora::internal
