// Many numbers from the C library's generator, in a row.
#pragma once

#include <cstdlib>

namespace remora::internal {

// Gives what as many calls of rand() would give, and rand() goes on behind them. Where the C
// library lets its generator be taken out, a draw costs half a call: nothing is locked. A call of
// rand() by another thread meanwhile draws from a spare generator, and one of srand() is without
// effect; two threads that share the one generator have no reproducible numbers anyway. Where
// taking it out is not possible, because another thread's Draws has it or because a host put a
// rand() of its own in place of the C library's, every draw calls rand().
//
// requires: no rand(), srand(), initstate() or setstate() by this thread while it lives
class Draws {
 public:
  Draws();
  ~Draws();
  Draws(const Draws&) = delete;
  Draws& operator=(const Draws&) = delete;

  int next() {
#ifdef __GLIBC__
    if (taken_) {
      int drawn = 0;
      random_r(&generator_, &drawn);
      return drawn;
    }
#endif
    return std::rand();
  }

 private:
#ifdef __GLIBC__
  bool taken_ = false;
  char* state_ = nullptr;  // the C library's
  random_data generator_ = {};
  char parking_[8] = {};  // what generator_ works on while it does not work on state_
#endif
};

}  // namespace remora::internal
