// What several rooms' tests share.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "cimg/CImg.h"
#include "internal/text_io.h"

using remora::internal::Stream;

// A new folder, removed with the object.
class Folder {
 public:
  Folder();
  ~Folder();
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  std::string operator/(const std::string& name) const { return path_ + '/' + name; }
  // Writes a file and returns its name.
  std::string write(const std::string& name, const std::string& text) const;

 private:
  std::string path_;
};

std::string contentsOf(const std::string& file);
Stream streamOf(const std::string& text);

// What an action puts into a stream, and what it prints to standard output.
template <class Action>
std::string written(Action action) {
  char* text = nullptr;
  std::size_t size = 0;
  std::FILE* const stream = open_memstream(&text, &size);
  action(stream);
  std::fclose(stream);
  const std::string result(text, size);
  std::free(text);
  return result;
}
template <class Action>
std::string said(Action action) {
  testing::internal::CaptureStdout();
  action();
  return testing::internal::GetCapturedStdout();
}
bool isOneLine(const std::string& text, const std::string& start);
int countOf(const std::string& part, const std::string& text);

// The largest block of memory that an action asked for, in bytes.
extern std::size_t largest_block;
template <class Action>
std::size_t largestBlock(Action action) {
  largest_block = 0;
  action();
  return largest_block;
}
constexpr std::size_t kModest = 65536;

// Every copy of a file of numbers that ends before one of its numbers, or has a word in its place.
std::vector<std::string> damaged(const std::string& text);

// Grey noise with structure of about ten pixels, 0 ... 255; shifted, it moves to the right and down.
CImg<float> texture(int width, int height, int shift_x = 0, int shift_y = 0);

// A bunch record: point (x, y), two predictors at offsets (-2.7, 3.9) and (1, 0), one support pixel
// each, at (1, -1) and (-3, 3).
std::string bunchRecord(int x, int y);

// Numbers that look random and are the same everywhere.
class Random {
 public:
  explicit Random(unsigned int seed) : engine_(seed) {}
  std::uint64_t bits() { return engine_(); }
  int whole(int from, int to) {
    return from + static_cast<int>(bits() % static_cast<std::uint64_t>(to - from + 1));
  }
  double real(double from, double to) {
    return from + (to - from) * 0x1p-53 * static_cast<double>(bits() >> 11);
  }

 private:
  std::mt19937_64 engine_;
};
