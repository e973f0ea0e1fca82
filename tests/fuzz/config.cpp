// A training configuration. The first byte chooses the image scale. Its names lie in a folder with
// two frames ("f") and three shape sequence files ("s", "m", "e").
#include <filesystem>
#include <memory>
#include <optional>
#include <sstream>

#include "cimg/CImg.h"
#include "fuzz.h"
#include "shape_lp_track.h"

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
  const int reports = lines.starting("configuration file " + file.name() + ", line ");
  fuzz::require(reports <= 1 && (reports == 0 || (cfg && cfg->num_seqs == 0)),
                "a line that cannot be used is reported, and nothing is read");
  if (!cfg || reports == 1) return 0;
  fuzz::require(cfg->img_w == scale.width && cfg->img_h == scale.height, "frames are scaled");
  for (int s = 0; s < cfg->num_seqs; ++s) {
    fuzz::require(
        text.find(cfg->img_fnames[s]->m_base_fname) != text.npos && cfg->all_num_shapes[s] <= 2,
        "sequences are the ones in the file");
  }
  return 0;
}
