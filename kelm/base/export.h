#pragma once

/// Marks what leaves the library; everything else is hidden (-fvisibility=hidden).
#define KELM_API __attribute__((visibility("default")))
