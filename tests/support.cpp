#include "support.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <new>

std::size_t largest_block = 0;

void* operator new(std::size_t size) {
  largest_block = std::max(largest_block, size);
  if (void* const block = std::malloc(size)) return block;
  throw std::bad_alloc();
}
void operator delete(void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }

Folder::Folder() : path_((std::filesystem::temp_directory_path() / "remora.XXXXXX").string()) {
  if (mkdtemp(path_.data()) == nullptr) ADD_FAILURE() << "no temporary folder";
}
Folder::~Folder() { std::filesystem::remove_all(path_); }

std::string Folder::write(const std::string& name, const std::string& text) const {
  std::ofstream(*this / name, std::ios::binary) << text;
  return *this / name;
}

std::string contentsOf(const std::string& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

Stream streamOf(const std::string& text) {
  Stream stream(std::tmpfile());
  std::fwrite(text.data(), 1, text.size(), stream.get());
  std::rewind(stream.get());
  return stream;
}

bool isOneLine(const std::string& text, const std::string& start) {
  return text.rfind(start, 0) == 0 && text.find('\n') == text.size() - 1;
}

int countOf(const std::string& part, const std::string& text) {
  int count = 0;
  for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
  return count;
}

std::vector<std::string> damaged(const std::string& text) {
  const std::string space = " \n";
  std::vector<std::string> copies;
  for (auto at = text.find_first_not_of(space); at != std::string::npos;) {
    const auto end = std::min(text.find_first_of(space, at), text.size());
    copies.push_back(text.substr(0, at));
    copies.push_back(text.substr(0, at) + "word" + text.substr(end));
    at = text.find_first_not_of(space, end);
  }
  return copies;
}

namespace {

int grey(int x, int y) {
  auto h = static_cast<unsigned int>(x) * 0x9E3779B1U ^ static_cast<unsigned int>(y) * 0x85EBCA77U;
  h = (h ^ (h >> 15)) * 0x2C1B3C6DU;
  h = (h ^ (h >> 12)) * 0x297A2D39U;
  return static_cast<int>((h ^ (h >> 15)) & 255U);
}

// Grey levels at the corners of square cells, interpolated; whole numbers throughout.
int noise(int x, int y, int cell) {
  const int left = x / cell, top = y / cell, right = x % cell, down = y % cell;
  const int above = grey(left, top) * (cell - right) + grey(left + 1, top) * right;
  const int below = grey(left, top + 1) * (cell - right) + grey(left + 1, top + 1) * right;
  return (above * (cell - down) + below * down) / (cell * cell);
}

}  // namespace

CImg<float> texture(int width, int height, int shift_x, int shift_y) {
  constexpr int kFarFromZero = 1000;
  CImg<float> image(width, height);
  cimg_forXY(image, x, y) {
    const int from_x = x - shift_x + kFarFromZero, from_y = y - shift_y + kFarFromZero;
    const int sum = 3 * noise(from_x, from_y, 14) + noise(from_x, from_y, 6);
    image(x, y) = static_cast<float>(sum / 4);
  }
  return image;
}

std::string bunchRecord(int x, int y) {
  char places[200];
  std::snprintf(places, sizeof places, "2\n%d.000000 %d.000000\n%d.300000 %d.900000 %d.000000 "
                "%d.000000 \n", x, y, x - 3, y + 3, x + 1, y);
  return places + std::string("5 1 3\n1 -1 \n0.500000 \n2 2\n0.250000 1.000000 \n-0.750000 2.000000 "
                              "\n7.000000 8.000000\n6 1 3\n-3 3 \n0.125000 \n2 2\n0.000000 3.000000 "
                              "\n1.500000 -4.000000 \n9.000000 9.500000\n");
}
