#pragma once

/// Marks what leaves the library; everything else is hidden (-fvisibility=hidden).
#define KELM_API __attribute__((visibility("default")))

/// Marks what leaves a library for kelm's other libraries alone: its header is not installed.
#define KELM_SHARED __attribute__((visibility("default")))
