// remora convert: annotations and tracks become files of other programs.

#include <CLI/CLI.hpp>
#include <memory>
#include <string>

#include "follow/annotation/formats/formats.h"
#include "follow/base/files.h"
#include "options.h"
#include "output.h"
#include "verbs.h"

namespace remora::tools {
namespace {

// What the options ask for. A table is one of tracks where tracks are read.
FileFormat targetOf(const std::string& name, const std::string& output) {
  if (!name.empty()) return parseFormat(name, writtenFormats());
  if (const auto format = formatByName(output)) return *format;
  throw Misuse("the name " + output + " tells no format: --to does");
}

std::string convert(const std::string& file, const Positions& positions, FileFormat target) {
  try {
    return formatPositions(positions, target);
  } catch (const Error& error) {
    throw Error(file + ": " + error.what());
  }
}

}  // namespace

void addConvert(CLI::App& app) {
  struct Options {
    std::string file;
    std::string output;
    std::string to;
    int first = 0;
  };
  auto options = std::make_shared<Options>();
  CLI::App* const verb =
      app.add_subcommand("convert", "Write annotations or tracks in the format of another program");
  verb->add_option(
          "file", options->file,
          "Table of remora track or of annotations, or a shape sequence file; import reads "
          "files of other programs")
      ->required()
      ->type_name("FILE");
  verb->add_option("-o,--output", options->output, "File to write")->required()->type_name("FILE");
  verb->add_option("--to", options->to,
                   "Its format (default: by its name: .json coco, .txt shapes, .analysis.csv "
                   "sleap, with DLC or "
                   "CollectedData and .csv deeplabcut, other .csv a table)")
      ->type_name(formatChoice(writtenFormats()));
  verb->add_option("--first", options->first, "Number of the first frame of a shape sequence file")
      ->capture_default_str()
      ->type_name("NUMBER");
  verb->callback([options] {
    FileFormat target = targetOf(options->to, options->output);
    requireApart({options->file}, {options->output});
    requireWritable(options->output);
    const Positions positions = readPositions(options->file, options->first);
    if (options->to.empty() && target == FileFormat::kAnnotations && positions.are_tracks) {
      target = FileFormat::kTracks;
    }
    writeFile(options->output, convert(options->file, positions, target));
  });
}

}  // namespace remora::tools
