// An LP flags file for a fixed tracker.
#include "bunches.h"

namespace {

// A list takes as many numbers as it holds, less 1; the others are skipped.
void expectFlags(fuzz::Numbers& in, int count, const std::vector<int>& list) {
  for (int i = 0; i < count; ++i) {
    const long flag = in.whole();
    const auto at = static_cast<std::size_t>(i);
    fuzz::require(at >= list.size() || list[at] == flag - 1,
                  "a flag is the one in the file less 1");
  }
  for (auto at = static_cast<std::size_t>(count); at < list.size(); ++at) {
    fuzz::require(list[at] == 1, "a flag that is not in the file stays");
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const fuzz::File file, flags_file;
  static const char* const bunches = file.holding(fuzz::kBunchFile);
  const std::string_view text = fuzz::textOf(data, size);
  std::unique_ptr<ShapeLPTracker> tracker;
  fuzz::Lines([&] { tracker = std::make_unique<ShapeLPTracker>(bunches, nullptr); });
  const fuzz::Lines lines([&] { tracker->ReadSelLP(flags_file.holding(text)); });
  const bool malformed = lines.malformed("LP flags file");
  const bool other_count =
      lines.starting("Number of feature points in file is not consistent") == 1;
  fuzz::require(!(malformed && other_count), "one fault is reported");
  const bool read = !malformed && !other_count;
  fuzz::Numbers in(text);
  if (!malformed) fuzz::require((in.whole() == 2) == read, "another number of points is reported");
  int other_sizes = 0;
  for (int i = 0; i < tracker->num_fps; ++i) {
    const LP_Bunch& bunch = *tracker->fp_lp_bunch[i];
    const int count = read ? in.whole() : 0;
    expectFlags(in, count, bunch.lp_x_inds);
    expectFlags(in, count, bunch.lp_y_inds);
    other_sizes += read && count != bunch.num_lps ? 1 : 0;
  }
  fuzz::require(lines.starting("Number of read lps is inconsistent") == other_sizes,
                "another number of predictors is reported");
  return 0;
}
