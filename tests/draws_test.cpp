#include "internal/draws.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <thread>
#include <vector>

namespace {

using remora::internal::Draws;

std::vector<int> calls(int count) {
  std::vector<int> drawn;
  for (int i = 0; i < count; ++i) drawn.push_back(std::rand());
  return drawn;
}

TEST(Draws, areWhatAsManyCallsOfRandGive) {
  for (int seed : {0, 1, 7, 2147483647}) {
    std::srand(static_cast<unsigned>(seed));
    const std::vector<int> expected = calls(4000);
    std::srand(static_cast<unsigned>(seed));
    std::vector<int> drawn;
    for (int in_a_row = 0; drawn.size() < expected.size(); in_a_row = (in_a_row + 1) % 200) {
      {
        Draws draws;
        for (int i = 0; i < in_a_row; ++i) drawn.push_back(draws.next());
      }
      for (int called : calls(3)) drawn.push_back(called);
    }
    drawn.resize(expected.size());
    EXPECT_EQ(drawn, expected) << "seed " << seed;
  }
}

#ifdef __GLIBC__
// A host may have given the C library a state of another size, and wants it back as it would be.
TEST(Draws, leaveAHostsOwnStateBehindThem) {
  for (std::size_t size : {8, 32, 64, 128, 256}) {
    std::vector<char> state(size), twin(size);
    char* const before = initstate(5, twin.data(), size);
    const std::vector<int> expected = calls(300);
    initstate(5, state.data(), size);
    std::vector<int> drawn;
    {
      Draws draws;
      for (int i = 0; i < 100; ++i) drawn.push_back(draws.next());
    }
    for (int called : calls(200)) drawn.push_back(called);
    EXPECT_EQ(drawn, expected) << size << " bytes";
    setstate(twin.data());
    const int twin_next = std::rand();
    setstate(state.data());
    EXPECT_EQ(std::rand(), twin_next);
    setstate(before);
  }
}
#endif

TEST(Draws, ofSeveralThreadsDoNotLoseTheGenerator) {
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([] {
      for (int i = 0; i < 2000; ++i) {
        Draws draws;
        for (int k = 0; k < 20; ++k) ASSERT_GE(draws.next(), 0);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  std::srand(9);
  const std::vector<int> expected = calls(50);
  std::srand(9);
  EXPECT_EQ(calls(50), expected);
}

}  // namespace
