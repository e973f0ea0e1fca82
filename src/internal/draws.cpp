#include "internal/draws.h"

#ifdef __GLIBC__
#include <dlfcn.h>

#include <mutex>
#endif

namespace remora::internal {

#ifdef __GLIBC__
namespace {

std::mutex one_at_a_time;
char spare[8];  // never on a stack: what setstate() hands out must stay valid

const void* homeOf(const void* function) {
  Dl_info info;
  return dladdr(function, &info) != 0 ? info.dli_fbase : nullptr;
}

// Whether the rand() that this library calls and initstate() speak of the same generator.
bool randIsTheCLibrarys() {
  static const bool is = [] {
    const void* const home = homeOf(reinterpret_cast<const void*>(&initstate));
    return home != nullptr && home == homeOf(reinterpret_cast<const void*>(&std::rand)) &&
           home == homeOf(reinterpret_cast<const void*>(&setstate)) &&
           home == homeOf(reinterpret_cast<const void*>(&random_r));
  }();
  return is;
}

}  // namespace

Draws::Draws() {
  if (!randIsTheCLibrarys() || !one_at_a_time.try_lock()) return;
  initstate_r(1, parking_, sizeof parking_, &generator_);
  state_ = initstate(1, spare, sizeof spare);
  taken_ = setstate_r(state_, &generator_) == 0;
  if (taken_) return;
  setstate(state_);
  one_at_a_time.unlock();
}

// The place that the generator has reached is written into its state when it is left for another.
Draws::~Draws() {
  if (!taken_) return;
  setstate_r(parking_, &generator_);
  setstate(state_);
  one_at_a_time.unlock();
}
#else
Draws::Draws() = default;
Draws::~Draws() = default;
#endif

}  // namespace remora::internal
