// All messages of the library, and the function that prints them.
//
// The texts are part of the interface: hosts and tests compare them character for character.
#pragma once

namespace remora::internal {

// Prints to standard output like printf in the C locale, whatever locale the host has set.
__attribute__((format(printf, 1, 2))) void say(const char* format, ...);

// A file name for a message.
inline const char* shown(const char* name) { return name == nullptr ? "(null)" : name; }

namespace text {

// Files in general
constexpr char kCannotRead[] = "cannot open file %s for reading\n";
constexpr char kCannotWrite[] = "cannot open file %s for writing\n";
constexpr char kWriteFailed[] = "writing file %s failed: %s\n";
constexpr char kMalformed[] = "malformed %s\n";

// Run time
constexpr char kFlatUnreadable[] = "flat lp file %s cannot be read\n";
constexpr char kVanishedOffset[] = "New support pixel %d is not in original set\n";
constexpr char kTooFewStarts[] = "starting positions for %d points were given, %d are needed\n";
constexpr char kNoSuchPoint[] = "there is no feature point %d: the tracker has %d\n";

// One predictor
constexpr char kTooFewExamples[] =
    "WARNING, you have only added %d out of the required %d examples\n";
constexpr char kNoMemory[] = "there is no memory for %d training examples\n";
constexpr char kResidualTooHigh[] = "Residual error too high in learning a linear predictor\n";
constexpr char kPatternOutside[] =
    "support pixels cannot be placed: position (%f, %f) lies outside the %d x %d image\n";
constexpr char kPatternTooWide[] =
    "support pixels stay at their centre: %d draws in range %d fell outside the %d x %d image\n";

// Bunches
constexpr char kRetryPlacement[] = "Selected lp position out of image, retrying\n";
constexpr char kPointAtBorder[] =
    "feature point (%f, %f) is too close to the border of the %d x %d image: "
    "its first predictors are placed at (%f, %f)\n";
constexpr char kPlacementGaveUp[] =
    "no position around feature point (%f, %f) fits predictor %d: "
    "it is placed at (%f, %f), and so is any later one in its case\n";
constexpr char kErrorRange[] = "max_err = %f, min_err = %f\n";
constexpr char kMeanPosition[] = "mean_pos = %f\n";
constexpr char kFlagsCount[] = "Number of read lps is inconsistent, we have %d, read %d\n";

// Shape trackers
constexpr char kCreatedBunches[] = "Created %d number of feature point lp bunches\n";
constexpr char kLearning[] = "Learning for feature point %d\n";
constexpr char kTraining[] = "Training for linear predictor for feature point %d\n";
constexpr char kNothingToTrain[] = "cannot train: %s\n";
constexpr char kWeightsCount[] =
    "WARNING - weights file has %d features and %d features in lp bunch file\n";
constexpr char kReadingBunch[] = "Reading %d out of %d lp bunch\n";
constexpr char kWillRead[] = "will read %d fps from %s\n";
constexpr char kFlagsPoints[] =
    "Number of feature points in file is not consistent: we have %d, file has %d\n";
constexpr char kShapeUnusable[] = "shape sequence file %s cannot place %d feature points: %s\n";
constexpr char kNoSuchCoordinate[] = "there is no coordinate %d: 0 is x, 1 is y\n";
constexpr char kFlatUnwritable[] = "Cannot open file %s for flat saving\n";
constexpr char kPointsDiffer[] = "%s has %d feature points and %s has %d: they cannot be joined\n";

// Training images
constexpr char kNumberOfImages[] = "number of images = %d\n";
constexpr char kPreloading[] = "Preloading image %s\n";
constexpr char kImageError[] = "CImg Library Error : %s";
constexpr char kGaveUpLoading[] = "gave up loading images: %d of %d could be read\n";
constexpr char kFirstName[] = "cur_fname = %s\n";
constexpr char kGathering[] = "Gathering training data for image %d out %d\n";
constexpr char kNoSuchName[] = "there is no file name %d: the list has %d\n";

// Shape files and configuration
constexpr char kShapeUnreadable[] = "cannot open shape file %s for reading\n";
constexpr char kPointCountsDiffer[] = "shapes in %s differ in their number of points\n";
constexpr char kTresCutShort[] = "reading %s ends with a frame that is cut short: %s\n";
constexpr char kConfigUnreadable[] = "Cannot open shape lp tracker configuration file\n";
constexpr char kConfigBad[] = "configuration file %s, line %d: %s\n";

}  // namespace text
}  // namespace remora::internal
