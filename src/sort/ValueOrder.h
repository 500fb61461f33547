#pragma once

#include "etabulon/values/ETabulonValue.h"

#include <string>

namespace etabulon::detail {

/// Appends the key of CompareOnValue: its plain order is the order of the values, and only equal
/// ones have one key. A value whose label differs from its own text stands among the texts, by its
/// label first.
void AppendValueKey(const ETabulonValue& value, std::string& key);

/// The order of these keys: negative, 0 or positive.
[[nodiscard]] int CompareByValue(const ETabulonValue& a, const ETabulonValue& b);

}  // namespace etabulon::detail
