#pragma once

/// Marks what leaves the library: everything else is hidden, in a static library too, so that a
/// shared object made from it offers the same names.
#if defined(__GNUC__)
#define ETABULON_API __attribute__((visibility("default")))
#else
#define ETABULON_API
#endif
