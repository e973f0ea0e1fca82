// What every sum in this folder relies on.
#pragma once

#include <cfloat>

#ifdef __FAST_MATH__
#error "results must not depend on the compiler's freedom to reorder sums"
#endif

static_assert(FLT_EVAL_METHOD == 0, "every operation rounds to its own type");
