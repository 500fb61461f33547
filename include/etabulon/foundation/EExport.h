#pragma once

/// Exports a name. All other names are hidden, even in the static library, so that a shared object
/// made from it exports the same names.
#if defined(__GNUC__)
#define ETABULON_API __attribute__((visibility("default")))
#else
#define ETABULON_API
#endif
