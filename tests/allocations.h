// How often memory was asked for.
#pragma once

#include <cstddef>

// Calls of operator new by this program so far, in all threads.
std::size_t allocations();
