// Every entry of the kernels' table, held against plain C++'s at sizes that fill no register.
#include "internal/kernels/kernels.h"

#include <cstring>

#include "support.h"

namespace {

using namespace remora::internal;
using Floats = std::vector<float>;

template <class Number>
void expectSame(const std::vector<Number>& found, const std::vector<Number>& wanted) {
  ASSERT_EQ(found.size(), wanted.size());
  for (std::size_t k = 0; k < found.size(); ++k) {
    const bool no_numbers = found[k] != found[k] && wanted[k] != wanted[k];
    ASSERT_TRUE(no_numbers || std::memcmp(&found[k], &wanted[k], sizeof(Number)) == 0)
        << k << ": " << found[k] << " instead of " << wanted[k];
  }
}

class KernelTable : public WithKernels {
 protected:
  Reals reals(std::size_t size, double most = 3.0) {
    Reals values(size);
    for (double& value : values) value = random_.real(-most, most);
    return values;
  }

  // Floats of any size; some of them infinite or not numbers, where `wild`.
  Floats floats(std::size_t size, bool wild) {
    Floats values(size);
    for (float& value : values) {
      const auto bits = static_cast<std::uint32_t>(random_.bits());
      std::memcpy(&value, &bits, sizeof value);
      if (!std::isfinite(value)) value = 0.1F;
      const float specials[] = {NAN, HUGE_VALF, -HUGE_VALF};
      if (wild && random_.whole(0, 99) == 0) value = specials[random_.whole(0, 2)];
    }
    return values;
  }

  // What an entry of either table makes of a copy of some values.
  template <class Number, class Entry>
  void expectAsPlain(const std::vector<Number>& before, const Entry& entry) {
    std::vector<Number> found = before, wanted = before;
    entry(kernels(), found.data());
    entry(kPlainKernels, wanted.data());
    expectSame(found, wanted);
  }

  Random random_;
};

INSTANTIATE_TEST_SUITE_P(Kernels, KernelTable, testing::Range(1, 3), nameOfSet);

TEST_P(KernelTable, sumsOverExamplesArePlainOnes) {
  for (const std::size_t pitch : {8U, 16U, 24U, 40U, 56U, 72U}) {
    for (const std::size_t count : {0U, 1U, 2U, 7U, 33U, 96U}) {
      const Floats greys = floats(count * pitch, count % 2 == 1);
      const Reals templ = reals(pitch), rows = reals(count * pitch), targets = reals(2 * count, 20);
      expectAsPlain(Reals(count * pitch), [&](const Kernels& k, double* formed) {
        k.formRows(greys.data(), templ.data(), count, pitch, formed);
      });
      expectAsPlain(reals(pitch * pitch), [&](const Kernels& k, double* gram) {
        Reals rounded(count * pitch);
        k.addGram(rows.data(), count, pitch, rounded.data(), gram);
        for (std::size_t i = 0; i < pitch; ++i) std::fill_n(gram + i * pitch, i, 0.0);
      });
      expectAsPlain(reals(2 * pitch), [&](const Kernels& k, double* moment) {
        k.addMoment(rows.data(), targets.data(), count, pitch, moment);
      });
      expectAsPlain(reals(1), [&](const Kernels& k, double* total) {
        k.addErrors(rows.data(), templ.data(), targets.data(), count, pitch, total);
      });
    }
  }
}

TEST_P(KernelTable, stepsAndMappedOffsetsArePlainOnes) {
  for (const int units : {1, 2}) {
    for (const std::size_t steps : {8U, 24U, 136U}) {
      for (const bool wild : {false, true}) {
        const auto lanes = static_cast<std::size_t>(units * kUnitLanes);
        const std::size_t pitch = steps + 5;
        Floats greys = floats(lanes * pitch, wild);
        if (!wild)
          std::transform(greys.begin(), greys.end(), greys.begin(),
                         [](float grey) { return std::fmod(grey, 256.0F); });
        const Reals packed = reals(2 * lanes * steps);
        expectAsPlain(floats(lanes, false), [&](const Kernels& k, float* sums) {
          std::transform(sums, sums + lanes, sums, [](float sum) { return std::fmod(sum, 9.0F); });
          k.sumSteps(units, greys.data(), pitch, packed.data(), steps, sums);
        });
      }
    }
  }
  const double map[] = {0.6, -0.81, 0.79, 0.62};
  for (const std::size_t size : {0U, 1U, 3U, 7U, 17U, 64U}) {
    Ints offs;
    while (offs.size() < 2 * size) offs.push_back(random_.whole(-40, 40));
    expectAsPlain(Ints(size), [&](const Kernels& k, int* places) {
      k.mapOffsets(map, 720, offs.data(), size, places);
    });
  }
}

// Windows lie up to the last pixel of an image behind which no memory is.
TEST_P(KernelTable, windowsGiveTheWantedPixelsAlone) {
  constexpr int kWidth = 61, kHeight = 11, kLine = 3 * kWidth + 7;
  Fenced<float> fenced(kWidth * kHeight);
  float* const image = fenced.begin();
  const Floats greys = floats(kWidth * kHeight, false);
  std::copy(greys.begin(), greys.end(), image);
  const int used = (kHeight - 1) * kLine + 3 * (kWidth - 1 + kernels().window_span);
  Fenced<unsigned char> buffer(static_cast<std::size_t>(used));
  unsigned char* const bytes = buffer.begin();
  std::generate_n(bytes, used, [&] { return static_cast<unsigned char>(random_.whole(0, 255)); });

  const int x = 31, y = 4, span = kernels().window_span;
  std::vector<Window> windows;
  Floats wanted_greys, wanted_bytes;
  for (int i = 0; i < 300; ++i) {
    Window window = {random_.whole(-x, kWidth - 1 - x), random_.whole(-y, kHeight - 1 - y), 0};
    if (i == 0) window = {kWidth - 1 - x, kHeight - 1 - y, 0};
    for (int bit = 0; bit < std::min(span, kWidth - x - window.dx); ++bit) {
      if (bit > 0 && random_.whole(0, 2) == 0) continue;
      window.wanted |= 1U << bit;
      const int at_x = x + window.dx + bit, at_y = y + window.dy;
      wanted_greys.push_back(image[at_x + at_y * kWidth]);
      wanted_bytes.push_back(bytes[3 * at_x + at_y * kLine]);
    }
    windows.push_back(window);
  }
  const auto take = [&](const auto& entry) {
    Floats taken(wanted_greys.size() + static_cast<std::size_t>(span));
    entry(windows.data(), windows.data() + windows.size(), taken.data());
    taken.resize(wanted_greys.size());
    return taken;
  };
  expectSame(take([&](const Window* first, const Window* last, float* taken) {
               kernels().takePixels(first, last, image, x + y * kWidth, kWidth, taken);
             }),
             wanted_greys);
  expectSame(take([&](const Window* first, const Window* last, float* taken) {
               kernels().takeBytes(first, last, bytes, 3 * x + y * kLine, kLine, taken);
             }),
             wanted_bytes);
}

}  // namespace
