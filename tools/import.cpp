// remora import: annotations of other programs become a table.

#include <CLI/CLI.hpp>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "follow/annotation/formats/formats.h"
#include "follow/base/files.h"
#include "options.h"
#include "ranges.h"
#include "verbs.h"

namespace remora::tools {

void addImport(CLI::App& app) {
  struct Options {
    std::vector<std::string> files;
    std::string output;
    std::string format;
    int first = 0;
    double likelihood = kUsualLikelihood;
  };
  auto options = std::make_shared<Options>();
  CLI::App* const verb =
      app.add_subcommand("import", "Read annotations of other programs into a table");
  verb->add_option("files", options->files,
                   "Files of one shape in many frames: .pts files (one a frame), imglab XML, CVAT "
                   "XML 1.1, COCO keypoints JSON, DeepLabCut CSV, SLEAP analysis CSV, labelme JSON "
                   "(one a frame), tables of annotations or tracks, shape sequence files. A folder "
                   "stands for its .pts or .json files")
      ->required()
      ->type_name("FILE");
  verb->add_option("-o,--output", options->output, "Table of annotations to write")
      ->required()
      ->type_name("FILE");
  verb->add_option("--format", options->format,
                   "Only take files of this format (default: what each file holds)")
      ->type_name(formatChoice(readFormats()));
  verb->add_option("--first", options->first,
                   "Number of the first frame, where neither files nor names of images tell")
      ->capture_default_str()
      ->type_name("NUMBER");
  verb->add_option("--likelihood", options->likelihood,
                   "Positions that DeepLabCut has guessed with less are points that are not seen")
      ->capture_default_str()
      ->check(between(0.0, 1.0))
      ->type_name("SHARE");
  verb->callback([options] {
    if (std::isnan(options->likelihood)) {
      throw CLI::ValidationError("--likelihood", "it is not a number");
    }
    std::optional<FileFormat> format;
    if (!options->format.empty()) format = parseFormat(options->format, readFormats());
    requireApart(options->files, {options->output});
    requireWritable(options->output);
    const Annotations annotations =
        importAnnotations(options->files, format, options->first, options->likelihood);
    writeFile(options->output, formatAnnotations(annotations));
  });
}

}  // namespace remora::tools
