#pragma once

#include <cstdio>
#include <cstdlib>

namespace etabulon::detail {

/// Prints to stderr which expectation a caller broke, and where, and ends the process.
[[noreturn]] inline void ExpectationFailed(const char* expression, const char* file,
                                           int line) noexcept {
    std::fprintf(stderr, "%s:%d: expected: %s\n", file, line, expression);
    std::fflush(stderr);
    std::abort();
}

}  // namespace etabulon::detail

/// E_EXPECTS(condition) states a precondition; a false one is the caller's fault.
///
/// With ETABULON_CHECKS (debug and sanitizer builds) a false condition ends the process.
/// Without, the condition is compiled but never evaluated: it must have no effect of its own.
/// Usable in constexpr functions. Variadic, so that commas of template arguments may stand in it.
#if defined(ETABULON_CHECKS)
#define E_EXPECTS(...)              \
    (static_cast<bool>(__VA_ARGS__) \
         ? static_cast<void>(0)     \
         : ::etabulon::detail::ExpectationFailed(#__VA_ARGS__, __FILE__, __LINE__))
#else
#define E_EXPECTS(...) static_cast<void>(sizeof(static_cast<bool>(__VA_ARGS__)))
#endif
