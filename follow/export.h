// Marks what the shared library remora::follow offers; everything else stays inside.
#pragma once

#if defined(__GNUC__)
#define REMORA_FOLLOW_EXPORT __attribute__((visibility("default")))
#else
#define REMORA_FOLLOW_EXPORT
#endif
