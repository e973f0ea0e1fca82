// What the tests of several rooms share.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <functional>
#include <random>
#include <sstream>

#include <gtest/gtest.h>

#include "cimg/CImg.h"
#include "internal/kernels/kernels.h"
#include "internal/text_io.h"

using remora::internal::Stream;
using Reals = std::vector<double>;
using Ints = std::vector<int>;

// A name in a folder that lasts as long as the process; a file of that name; what a file holds.
inline std::string pathTo(const std::string& name) {
  struct Folder {
    Folder() { path = mkdtemp(path.data()); }
    ~Folder() {
      if (getpid() == owner) std::filesystem::remove_all(path);
    }  // not in a death test
    const pid_t owner = getpid();
    std::string path = testing::TempDir() + "remora.XXXXXX";
  };
  static const Folder folder;
  return folder.path + '/' + name;
}
inline std::string file(const std::string& name, const std::string& text) {
  std::ofstream(pathTo(name), std::ios::binary) << text;
  return pathTo(name);
}
inline std::string contentsOf(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}
inline Stream streamOf(const std::string& text) {
  Stream stream(std::tmpfile());
  std::fputs(text.c_str(), stream.get());
  std::rewind(stream.get());
  return stream;
}

// What an action writes to a stream, or prints to standard output.
inline std::string written(const std::function<void(std::FILE*)>& action) {
  action(remora::internal::openToWrite(pathTo("written").c_str()).get());
  return contentsOf(pathTo("written"));
}
inline std::string said(const std::function<void()>& action) {
  testing::internal::CaptureStdout();
  action();
  return testing::internal::GetCapturedStdout();
}
inline int countOf(const std::string& part, const std::string& text) {
  int count = 0;
  for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
  return count;
}
inline bool isOneLine(const std::string& text, const std::string& start) {
  return text.rfind(start, 0) == 0 && text.find('\n') == text.size() - 1;
}

inline std::size_t largest_block = 0;  // of memory asked for since it was set, in bytes
inline long live_blocks = 0;           // of memory not given back
inline int nextDescriptor() {
  const int descriptor = dup(0);
  close(descriptor);
  return descriptor;
}

// Memory behind which there is none: who reads on ends the process.
template <class T>
class Fenced {
 public:
  explicit Fenced(std::size_t size) {
    const auto page = static_cast<std::size_t>(getpagesize());
    const std::size_t pages = (size * sizeof(T) + page - 1) / page;
    mapped_ = (pages + 1) * page;
    memory_ = static_cast<char*>(
        mmap(nullptr, mapped_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    EXPECT_EQ(mprotect(memory_ + pages * page, page, PROT_NONE), 0);
    begin_ = reinterpret_cast<T*>(memory_ + pages * page) - size;
  }
  ~Fenced() { munmap(memory_, mapped_); }
  Fenced(const Fenced&) = delete;
  Fenced& operator=(const Fenced&) = delete;
  T* begin() { return begin_; }

 private:
  std::size_t mapped_;
  char* memory_;
  T* begin_;
};

// Reads every copy of a file of numbers that ends before one of them, or after a word or a count in
// its place. Each must be reported once and cost no memory.
inline void expectRefused(const std::string& text, const std::string& report,
                          const std::function<void(const char*)>& read) {
  std::istringstream in(text.substr(0, text.find_last_not_of(" \n") + 1));
  std::string before;
  for (std::string token; in >> token; before += token + ' ') {
    for (const std::string damage : {"", "word", "2147483647"}) {
      if (damage[0] == '2' && in.eof()) continue;  // as good as any number
      const std::string name = file("damaged", before + damage);
      largest_block = 0;
      EXPECT_EQ(countOf(report, said([&] { read(name.c_str()); })), 1) << before << damage;
      EXPECT_LT(largest_block, 65536U) << before << damage;
    }
  }
}

// Grey noise, 0 ... 255; shifted, it moves to the right and down. Whole numbers throughout.
inline CImg<float> texture(int width, int height, int shift_x = 0, int shift_y = 0) {
  constexpr int kCell = 9;
  const auto grey = [](int x, int y) {
    const auto h = static_cast<unsigned>(x) * 0x9E3779B1U ^ static_cast<unsigned>(y) * 0x85EBCA77U;
    return static_cast<int>(((h ^ (h >> 15)) * 0x2C1B3C6DU) >> 24);
  };
  CImg<float> image(width, height);
  cimg_forXY(image, x, y) {
    const int u = x - shift_x + 900, left = u / kCell, right = u % kCell;
    const int v = y - shift_y + 900, top = v / kCell, down = v % kCell;
    const int above = grey(left, top) * (kCell - right) + grey(left + 1, top) * right;
    const int below = grey(left, top + 1) * (kCell - right) + grey(left + 1, top + 1) * right;
    image(x, y) = static_cast<float>((above * (kCell - down) + below * down) / (kCell * kCell));
  }
  return image;
}

// Two images that differ by a shift of (4, -3), and two points, the second close to the border.
struct Material {
  CImg<float> first = texture(100, 90), second = texture(100, 90, 4, -3);
  CImg<float>* images[2] = {&first, &second};
  float places[4][2] = {{50, 45}, {31.5F, 40.25F}, {54, 42}, {35.5F, 37.25F}};
  float* points[4] = {places[0], places[1], places[2], places[3]};
  float** shapes[2] = {points, points + 2};
};

// The record of a bunch at (50, 40): predictors of one support pixel at offsets (-2.7, 3.9), (1, 0)
const std::string kBunch =
    "2\n50.000000 40.000000\n47.300000 43.900000 51.000000 40.000000 \n"
    "5 1 3\n1 -1 \n0.500000 \n2 2\n0.250000 1.000000 \n-0.750000 2.000000 \n7.000000 8.000000\n"
    "6 1 3\n-3 3 \n0.125000 \n2 2\n0.000000 3.000000 \n1.500000 -4.000000 \n9.000000 9.500000\n";

// Tests that run with each set of kernels: plain, AVX2 and AVX-512, as far as the processor has
// them.
class WithKernels : public testing::TestWithParam<int> {
 protected:
  void SetUp() override {
    if (GetParam() >= remora::internal::kernelChoices().count)
      GTEST_SKIP() << "not on this machine";
    remora::internal::useKernels(*remora::internal::kernelChoices().sets[GetParam()]);
  }
  void TearDown() override { remora::internal::useKernels(widest_); }

 private:
  const remora::internal::Kernels& widest_ = remora::internal::kernels();
};
inline std::string nameOfSet(const testing::TestParamInfo<int>& set) {
  const char* const names[] = {"plain", "AVX2", "AVX512"};
  return names[set.param];
}

// The same numbers everywhere.
struct Random {
  double real(double from, double to) {
    return from + (to - from) * 0x1p-53 * static_cast<double>(bits() >> 11);
  }
  int whole(int from, int to) { return static_cast<int>(std::floor(real(from, to + 1))); }
  std::mt19937_64 bits{11};
};
