// Files on their way in: what they are, and who reads them.

#include <algorithm>
#include <filesystem>
#include <utility>
#include <variant>

#include "follow/annotation/annotation_json.h"
#include "follow/annotation/annotation_table.h"
#include "follow/annotation/formats/formats_inside.h"
#include "follow/base/files.h"
#include "follow/base/json_text.h"
#include "follow/base/text.h"
#include "follow/error.h"

namespace remora {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::json;

// A byte can cost a hundred of memory once it is a value of its own.
constexpr std::size_t kMostForeignBytes = std::size_t{1} << 28;
constexpr std::ptrdiff_t kMostValues = 16'000'000;

std::string namesOf(const std::vector<FileFormat>& formats) {
  std::string names;
  for (const FileFormat format : formats)
    names += (names.empty() ? "" : ", ") + std::string(nameOf(format));
  return names;
}

void requireFewValues(const std::string& file, const std::string& text, const char* separators) {
  const std::string all = separators;
  const auto separates = [&all](char c) { return all.find(c) != std::string::npos; };
  if (std::count_if(text.begin(), text.end(), separates) <= kMostValues) return;
  throw Error(file + " holds more than 16 million values: split it");
}

struct Xml {
  pugi::xml_document document;
};
using Rows = std::vector<CsvRow>;
struct Plain {};  // text that its reader takes apart

// A file, parsed as far as all formats of its family share it.
struct Opened {
  std::string text;
  const char* family = "text";
  std::variant<Plain, Xml, Json, Rows> content;
  std::optional<FileFormat> format;  // as the content tells it
};

void openXml(const std::string& file, Opened& opened) {
  opened.family = "XML";
  requireFewValues(file, opened.text, "<=");
  auto& document = opened.content.emplace<Xml>().document;
  const pugi::xml_parse_result result = document.load_buffer(
      opened.text.data(), opened.text.size(), pugi::parse_default, pugi::encoding_utf8);
  if (!result) {
    Place{file, "line", result.offset, &opened.text}.refuse(std::string("the XML is broken: ") +
                                                            result.description());
  }
  const std::string root = document.document_element().name();
  if (root == "dataset") opened.format = FileFormat::kImglab;
  if (root == "annotations") opened.format = FileFormat::kCvat;
}

void openJson(const std::string& file, Opened& opened) {
  opened.family = "JSON";
  requireFewValues(file, opened.text, ",[{");
  try {
    opened.content = parseJson<Json>(opened.text);
  } catch (const Error& error) {
    throw Error(file + ", " + error.what());
  }
  const Json& json = std::get<Json>(opened.content);
  if (json.is_object() && json.contains("shapes")) opened.format = FileFormat::kLabelme;
  if (json.is_object() && json.contains("annotations")) opened.format = FileFormat::kCoco;
  if (json.is_object() && json.value("format", Json()) == kAnnotationFormat) {
    opened.format = FileFormat::kAnnotations;
  }
}

bool has(const CsvRow& row, const char* title) {
  return std::find(row.cells.begin(), row.cells.end(), title) != row.cells.end();
}

void openTable(const std::string& file, Opened& opened) {
  opened.family = "a table";
  requireFewValues(file, opened.text, ",;\t\n");
  if (isAnnotationTable(file)) {
    opened.format = beginsTracks(opened.text) ? FileFormat::kTracks : FileFormat::kAnnotations;
    return;
  }
  const Rows& rows = opened.content.emplace<Rows>(parseCsv(opened.text, file));
  if (rows.empty()) throw Error(file + " is empty");
  if (rows[0].cells[0] == "scorer") opened.format = FileFormat::kDeepLabCut;
  if (has(rows[0], "frame_idx")) opened.format = FileFormat::kSleap;
}

Opened open(const std::string& file) {
  Opened opened;
  opened.text = readText(file, kMostForeignBytes);
  const std::string& text = opened.text;
  const std::size_t start = text.find_first_not_of(" \t\r\n");
  if (start == std::string::npos) throw Error(file + " is empty");
  const char first = text[start];
  if (first == '<') {
    openXml(file, opened);
  } else if (first == '{' || first == '[') {
    openJson(file, opened);
  } else if (text.compare(start, 7, "version") == 0) {
    opened.format = FileFormat::kPts;
  } else if (std::string("0123456789+-").find(first) != std::string::npos) {
    opened.format = FileFormat::kShapes;
  } else {
    openTable(file, opened);
  }
  return opened;
}

FileFormat formatOf(const std::string& file, const Opened& opened,
                    std::optional<FileFormat> wanted) {
  if (!opened.format) {
    throw Error(format("%s is %s, but of none of the formats %s", file.c_str(), opened.family,
                       namesOf(readFormats()).c_str()));
  }
  if (!wanted || wanted == opened.format) return *opened.format;
  throw Error(format("%s is no file of the format %s: it looks like %s", file.c_str(),
                     nameOf(*wanted), nameOf(*opened.format)));
}

void addPositions(const std::string& file, int first_frame, Collector& into) {
  const Annotations annotations = annotationsOf(readPositions(file, first_frame));
  const Place place{file, "line", 1};
  std::vector<std::size_t> points;
  for (const std::string& name : annotations.names) points.push_back(into.point(name, place));
  for (const AnnotatedFrame& frame : annotations.frames) {
    into.newFrame({frame.file, frame.number, "", {}}, place);
    for (std::size_t p = 0; p < points.size(); ++p) into.set(points[p], frame.points[p], place);
  }
}

void read(const std::string& file, std::optional<FileFormat> wanted, int first_frame,
          Collector& into) {
  const Opened opened = open(file);
  const auto root = [&opened] { return std::get<Xml>(opened.content).document.document_element(); };
  switch (formatOf(file, opened, wanted)) {
    case FileFormat::kAnnotations:
    case FileFormat::kTracks:
    case FileFormat::kShapes:
      return addPositions(file, first_frame, into);
    case FileFormat::kPts:
      return readPts(file, opened.text, into);
    case FileFormat::kImglab:
      return readImglab(file, opened.text, root(), into);
    case FileFormat::kCvat:
      return readCvat(file, opened.text, root(), into);
    case FileFormat::kCoco:
      return readCoco(file, std::get<Json>(opened.content), into);
    case FileFormat::kLabelme:
      return readLabelme(file, std::get<Json>(opened.content), into);
    case FileFormat::kDeepLabCut:
      return readDeepLabCut(file, std::get<Rows>(opened.content), into);
    case FileFormat::kSleap:
      return readSleap(file, std::get<Rows>(opened.content), into);
  }
}

// The files of a folder that hold a frame each: .pts or .json.
std::vector<std::string> filesIn(const std::string& folder) {
  std::vector<std::string> pts;
  std::vector<std::string> json;
  for (const auto& entry : fs::directory_iterator(folder)) {
    const fs::path extension = entry.path().extension();
    if (extension == ".pts") pts.push_back(entry.path().string());
    if (extension == ".json") json.push_back(entry.path().string());
  }
  if (pts.empty() == json.empty()) {
    throw Error("the folder " + folder + " holds " +
                (pts.empty() ? "neither .pts nor .json files" : "both .pts and .json files"));
  }
  std::vector<std::string>& files = pts.empty() ? json : pts;
  std::sort(files.begin(), files.end());
  return std::move(files);
}

}  // namespace

Annotations importAnnotations(const std::vector<std::string>& names,
                              std::optional<FileFormat> format, int first_frame,
                              double least_likelihood) {
  std::vector<std::string> files;
  for (const std::string& name : names) {
    std::error_code missing;
    if (!fs::is_directory(name, missing)) {
      files.push_back(name);
      continue;
    }
    for (std::string& file : filesIn(name)) files.push_back(std::move(file));
  }
  if (files.empty()) throw Error("there is nothing to read");
  Collector collector(first_frame, least_likelihood);
  for (const std::string& file : files) read(file, format, first_frame, collector);
  return collector.finish(files[0]);
}

}  // namespace remora
