#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "internal/arrays.h"
#include "internal/frame.h"
#include "internal/messages.h"
#include "internal/shape_store.h"
#include "internal/text_io.h"
#include "shape_lp_track.h"

using remora::internal::openToRead;
using remora::internal::say;
using remora::internal::shown;
using remora::internal::Stream;
namespace text = remora::internal::text;

namespace {

constexpr std::size_t kLongestName = 499;
constexpr std::size_t kLongestLine = 4096;

// The leading integer of a line as atoi reads it, limited to what an int holds.
int leadingInteger(const std::string& line) {
  const long value = std::strtol(line.c_str(), nullptr, 10);
  return static_cast<int>(std::min<long>(std::max<long>(value, INT_MIN), INT_MAX));
}

// The lines of a configuration file; reports the first one that cannot be used.
class ConfigLines {
 public:
  explicit ConfigLines(const char* fname) : name_(shown(fname)), file_(openToRead(fname)) {}

  bool isOpen() const { return file_ != nullptr; }
  bool ok() const { return ok_; }

  int integer() { return leadingInteger(line()); }

  // A line without its last character.
  std::string name() {
    std::string value = line();
    if (!value.empty()) value.pop_back();
    if (value.empty()) fail("a name is missing");
    if (value.size() > kLongestName) fail("the name is too long");
    if (std::any_of(value.begin(), value.end(), isControl)) fail("the name is not text");
    return value;
  }

  void fail(const char* reason) {
    if (ok_) say(text::kConfigBad, name_.c_str(), number_, reason);
    ok_ = false;
  }

 private:
  static bool isControl(char c) {
    return (static_cast<unsigned char>(c) < ' ' && c != '\t') || c == '\x7f';
  }

  std::string line() {
    std::string value;
    ++number_;
    for (int c = std::getc(file_.get()); c != EOF && c != '\n'; c = std::getc(file_.get())) {
      value += static_cast<char>(c);
      if (value.size() <= kLongestLine) continue;
      fail("the line is too long");
      break;
    }
    return value;
  }

  std::string name_;
  Stream file_;
  int number_ = 0;
  bool ok_ = true;
};

// One image sequence with its shapes.
struct SequenceInput {
  std::unique_ptr<ImgFnames> frames;
  float*** shapes = nullptr;
  int num_shapes = 0;
  int num_points = 0;

  SequenceInput() = default;
  SequenceInput(SequenceInput&& other) noexcept { *this = std::move(other); }
  SequenceInput& operator=(SequenceInput&& other) noexcept {
    std::swap(frames, other.frames);
    std::swap(shapes, other.shapes);
    std::swap(num_shapes, other.num_shapes);
    std::swap(num_points, other.num_points);
    return *this;
  }
  ~SequenceInput() { remora::internal::releaseShapes(shapes, num_shapes); }
};

std::vector<SequenceInput> readSequences(ConfigLines& lines, float scale) {
  std::vector<SequenceInput> sequences;
  const int announced = lines.integer();
  if (announced <= 0) lines.fail("no image sequences");
  for (int s = 0; s < announced && lines.ok(); ++s) {
    const std::string base = lines.name();
    const int start = lines.integer();
    const std::string shape_file = lines.name();
    if (!lines.ok()) break;
    SequenceInput sequence;
    sequence.shapes =
        ReadShapeFileSeq(shape_file.c_str(), scale, &sequence.num_points, &sequence.num_shapes);
    sequence.frames = std::make_unique<ImgFnames>(base.c_str(), start);
    sequences.push_back(std::move(sequence));
  }
  return sequences;
}

CImg<float> loadPrepared(const char* name, float scale) {
  CImg<float> image;
  remora::internal::loadFrame(name, image);
  remora::internal::blur(image);
  remora::internal::resizeBy(image, remora::internal::sizeArgument(scale));
  return image;
}

}  // namespace

SLT_Cfg::SLT_Cfg(const char* fname, float img_scale) {
  ConfigLines lines(fname);
  if (!lines.isOpen()) {
    say(text::kConfigUnreadable);
    return;
  }
  std::vector<SequenceInput> sequences = readSequences(lines, img_scale);
  if (!lines.ok()) return;

  const std::unique_ptr<char[]> first_name(sequences[0].frames->GetNextFname());
  const CImg<float> first_frame = loadPrepared(first_name.get(), img_scale);

  const std::size_t count = sequences.size();
  auto frames = std::make_unique<ImgFnames*[]>(count);
  auto shapes = std::make_unique<float***[]>(count);
  auto shape_counts = std::make_unique<int[]>(count);
  auto point_counts = std::make_unique<int[]>(count);
  for (std::size_t s = 0; s < count; ++s) {
    frames[s] = sequences[s].frames.release();
    shapes[s] = std::exchange(sequences[s].shapes, nullptr);
    shape_counts[s] = sequences[s].num_shapes;
    point_counts[s] = sequences[s].num_points;
  }
  num_seqs = static_cast<int>(count);
  img_fnames = frames.release();
  all_fp_pos = shapes.release();
  all_num_shapes = shape_counts.release();
  all_num_fps = point_counts.release();
  img_w = first_frame.width();
  img_h = first_frame.height();
}

SLT_Cfg::~SLT_Cfg() {
  using remora::internal::release;
  for (int s = 0; s < num_seqs; ++s) {
    remora::internal::releaseShapes(all_fp_pos[s], all_num_shapes[s]);
    delete img_fnames[s];
  }
  release(all_fp_pos);
  release(img_fnames);
  release(all_num_shapes);
  release(all_num_fps);
}
