// What all sums assume of floating-point arithmetic, checked while compiling.
#pragma once

#include <cfloat>

#if defined(__FAST_MATH__) || (defined(__FINITE_MATH_ONLY__) && __FINITE_MATH_ONLY__)
#error "results must not depend on what a compiler assumes of numbers"
#endif

static_assert(FLT_EVAL_METHOD == 0, "every operation rounds to its own type");
