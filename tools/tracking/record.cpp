#include "tracking/record.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <vector>

#include "follow/base/files.h"
#include "follow/base/hash.h"
#include "follow/error.h"

namespace remora::tools {
namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t kEnds = 65536;  // bytes of a file's beginning and end
constexpr char kBytes[] = "bytes ";
constexpr char kSummary[] = "summary ";

std::string recordOf(const std::string& table) {
  return fs::path(table).replace_extension(".made").string();
}

std::uint64_t sizeOf(const std::string& file) {
  std::error_code error;
  const std::uintmax_t size = fs::file_size(file, error);
  if (error) throw Error("cannot read " + file + ": " + error.message());
  return size;
}

void addEnds(const std::string& file, Hash& hash) {
  const std::uint64_t size = sizeOf(file);
  std::ifstream in(file, std::ios::binary);
  std::string bytes(std::min(size, kEnds), '\0');
  in.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  hash.text(bytes);
  in.seekg(static_cast<std::streamoff>(size - bytes.size()));
  in.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  hash.text(bytes);
  if (!in) throw Error("cannot read " + file);
}

std::string footageOf(const Footage& footage) {
  const std::vector<std::string> files = footage.files();
  Hash hash;
  hash.value(footage.first()).value(files.size());
  if (footage.video() != nullptr) hash.value(footage.video()->count.value_or(-1));
  for (const std::string& file : files) hash.value(sizeOf(file));
  addEnds(files.front(), hash);
  addEnds(files.back(), hash);
  return hash.digits();
}

std::string optionsOf(const TrackRequest& request) {
  Hash hash;
  hash.value(request.both_ways).value(request.smooth).value(request.steps.size());
  for (const int steps : request.steps) hash.value(steps);
  return hash.digits();
}

}  // namespace

Origin originOf(const TrackRequest& request, const Model& loaded) {
  // The description of a model has check sums of its other files.
  const std::string model = readFile(loaded.files().front());
  return {{"remora", "another version", REMORA_VERSION},
          {"model", "another model", Hash().text(model).digits()},
          {"options", "other options", optionsOf(request)},
          {"footage", "other footage", footageOf(request.footage)}};
}

std::optional<TableRecord> readRecord(const std::string& table) {
  const std::string file = recordOf(table);
  if (!fs::is_regular_file(file) || !fs::is_regular_file(table)) return {};
  const std::string text = readFile(file);
  const std::size_t bytes = text.find(std::string("\n") + kBytes);
  const std::size_t summary = text.find(std::string("\n") + kSummary);
  if (bytes == std::string::npos || summary == std::string::npos) return {};
  const std::string size = kBytes + std::to_string(fs::file_size(table)) + "\n";
  if (text.compare(bytes + 1, size.size(), size) != 0) return {};
  TableRecord record{parseOrigin(text.substr(0, bytes)), text.substr(summary + sizeof kSummary)};
  while (!record.summary.empty() && record.summary.back() == '\n') record.summary.pop_back();
  return record;
}

void writeRecord(const std::string& table, const TableRecord& record) {
  writeFile(recordOf(table), formatOrigin(record.origin, '\n') + kBytes +
                                 std::to_string(sizeOf(table)) + "\n" + kSummary + record.summary +
                                 "\n");
}

}  // namespace remora::tools
