#pragma once

#include <span>
#include <string>
#include <string_view>

namespace etabulon {

/// The end of a sentence about a missing `wanted`: the existing names that resemble it, otherwise
/// the first existing ones. Begins with "; " and ends without a full stop.
[[nodiscard]] std::string WhatThereIs(std::string_view wanted,
                                      std::span<const std::string> existing);
/// The same with resembling names only; empty if there are none.
[[nodiscard]] std::string DidYouMean(std::string_view wanted,
                                     std::span<const std::string> existing);
/// The text with its ASCII letters in lower case. SQLite compares names in this form.
[[nodiscard]] std::string Lowered(std::string_view text);

}  // namespace etabulon
