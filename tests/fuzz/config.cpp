// A training configuration. The first byte chooses the image scale. Its names lie in a folder with
// two frames ("f") and three shape sequence files ("s", "m", "e").
#include <climits>
#include <filesystem>
#include <memory>
#include <optional>
#include <sstream>

#include "shapes.h"

namespace {

struct Folder {
  Folder() {
    std::string name = std::filesystem::temp_directory_path() / "remora-fuzz.XXXXXX";
    fuzz::require(mkdtemp(name.data()) != nullptr, "there is a temporary folder");
    path = name + '/';
    for (const char* frame : {"f.00000.png", "f.00001.png"}) {
      CImg<float>(6, 4, 1, 1, 9.0F).save_png((path + frame).c_str());
    }
    std::ofstream(path + 's') << "2 2 1 2 3 4 2 5 6 7 8";
    std::ofstream(path + 'm') << "3 1 1 2 1 3 x";
    std::ofstream(path + 'e') << "0";
  }
  ~Folder() { std::filesystem::remove_all(path); }

  std::string path;
};

struct Scale {
  float scale;
  int width, height;  // what it makes of a frame
};
constexpr Scale kScales[] = {{1.0F, 6, 4},   {0.5F, 3, 2},   {0.7F, 4, 2},
                             {0.004F, 0, 0}, {-0.07F, 7, 7}, {2.0F, 12, 8}};

constexpr std::size_t kLongestName = 499;
constexpr std::size_t kLongestLine = 4096;

std::vector<std::string> linesOf(std::string_view text) {
  std::istringstream in{std::string(text) + '\n'};
  std::vector<std::string> lines;
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

bool isControl(char c) { return (c >= 0 && c < ' ' && c != '\t') || c == '\x7f'; }

std::optional<std::string> nameIn(const std::string& line) {
  const std::string name = line.substr(0, std::max<std::size_t>(line.size(), 1) - 1);
  const bool bad = name.empty() || name.size() > kLongestName || line.size() > kLongestLine ||
                   std::any_of(name.begin(), name.end(), isControl);
  return bad ? std::nullopt : std::optional(name);
}

// Names are moved into the folder; a missing shape file would end the process, as it should.
std::string placed(std::string_view text, const std::string& folder) {
  std::vector<std::string> lines = linesOf(text);
  for (std::size_t i = 1; i < lines.size(); ++i) {
    const auto name = nameIn(lines[i]);
    if (!name || i % 3 == 2) continue;
    const bool known = name->size() == 1 && std::string("sme").find(*name) != std::string::npos;
    if (i % 3 == 0 && !known) lines[i] = "s\r";
    lines[i] = folder + lines[i];
  }
  std::string all;
  for (const std::string& line : lines) all += line + '\n';
  all.pop_back();
  return all;
}

int wholeIn(const std::string& line) {
  const long value = std::strtol(line.c_str(), nullptr, 10);
  return static_cast<int>(std::min<long>(std::max<long>(value, INT_MIN), INT_MAX));
}

struct Sequence {
  std::string base;
  int start;
  char shapes;
};

// What a configuration says, as far as its first line that cannot be used.
struct Expected {
  explicit Expected(std::string_view text) : lines(linesOf(text)) {
    const int announced = wholeIn(line(1));
    if (announced <= 0 || line(1).size() > kLongestLine) fault = 1;
    for (std::size_t at = 2; fault == 0 && static_cast<int>(sequences.size()) < announced;
         at += 3) {
      const auto base = nameIn(line(at)), shapes = nameIn(line(at + 2));
      if (!base) fault = at;
      if (base && line(at + 1).size() > kLongestLine) fault = at + 1;
      if (fault == 0 && !shapes) fault = at + 2;
      if (fault == 0) sequences.push_back({*base, wholeIn(line(at + 1)), shapes->back()});
    }
  }

  const std::string& line(std::size_t number) {
    static const std::string none;
    return number <= lines.size() ? lines[number - 1] : none;
  }
  bool hasFrame() const {
    char number[32];
    std::snprintf(number, sizeof number, ".%05d.png", sequences[0].start);
    return access((sequences[0].base + number).c_str(), R_OK) == 0;
  }

  std::vector<std::string> lines;
  std::size_t fault = 0;  // the number of the line
  std::vector<Sequence> sequences;
};

void expectSequence(const SLT_Cfg& cfg, int s, const Sequence& expected, float scale) {
  const ImgFnames& frames = *cfg.img_fnames[s];
  const int taken = s == 0 && expected.start < INT_MAX ? 1 : 0;
  fuzz::require(frames.m_base_fname == expected.base && frames.m_orig_start == expected.start &&
                    frames.m_cur_frame == expected.start + taken,
                "frames are the ones in the file");
  const int count = expected.shapes == 's' ? 2 : expected.shapes == 'm' ? 1 : 0;
  fuzz::require(cfg.all_num_shapes[s] == count && cfg.all_num_fps[s] == count,
                "the complete shapes are there");
  for (int i = 0; i < count; ++i) {
    float* const* const shape = cfg.all_fp_pos[s][i];
    fuzz::require(fuzz::pointsOf(shape) == count, "shapes have all points");
    const float last = static_cast<float>(count == 1 ? 2 : 4 * i + 4);
    fuzz::require(shape[count - 1][1] == scale * last, "positions are scaled");
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Folder folder;
  static const fuzz::File file;
  if (size == 0) return 0;
  const Scale& scale = kScales[data[0] % std::size(kScales)];
  const std::string text = placed(fuzz::textOf(data + 1, size - 1), folder.path);
  std::unique_ptr<SLT_Cfg> cfg;
  const fuzz::Lines lines([&] {
    try {
      cfg = std::make_unique<SLT_Cfg>(file.holding(text), scale.scale);
    } catch (const CImgIOException&) {
    }
  });
  const Expected expected(text);
  const std::string report = "configuration file " + file.name() + ", line ";
  fuzz::require(lines.starting(report) == (expected.fault == 0 ? 0 : 1), "one line is reported");
  if (expected.fault != 0) {
    fuzz::require(lines.starting(report + std::to_string(expected.fault) + ": ") == 1 && cfg &&
                      cfg->num_seqs == 0,
                  "the line that is of no use is reported");
    return 0;
  }
  fuzz::require((cfg != nullptr) == expected.hasFrame(), "a frame that is missing is thrown");
  if (!cfg) return 0;
  fuzz::require(cfg->num_seqs == static_cast<int>(expected.sequences.size()),
                "sequences are there");
  fuzz::require(cfg->img_w == scale.width && cfg->img_h == scale.height, "frames are scaled");
  for (int s = 0; s < cfg->num_seqs; ++s) {
    expectSequence(*cfg, s, expected.sequences[static_cast<std::size_t>(s)], scale.scale);
  }
  return 0;
}
