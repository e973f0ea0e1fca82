// Marks what the shared library offers to its users; everything else stays inside.
#pragma once

#if defined(__GNUC__)
#define REMORA_EXPORT __attribute__((visibility("default")))
#else
#define REMORA_EXPORT
#endif
