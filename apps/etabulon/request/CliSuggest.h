#pragma once

#include <span>
#include <string>
#include <string_view>

namespace etabulon {

/// The end of a sentence that says that `wanted` isn't there: the names like it, else the first of
/// those that are. Begins with "; " and ends without a stop.
[[nodiscard]] std::string WhatThereIs(std::string_view wanted,
                                      std::span<const std::string> existing);
/// Only the names like it; empty without one.
[[nodiscard]] std::string DidYouMean(std::string_view wanted,
                                     std::span<const std::string> existing);
/// With small ASCII letters: names that are then the same are one to SQLite.
[[nodiscard]] std::string Lowered(std::string_view text);

}  // namespace etabulon
