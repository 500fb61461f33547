#pragma once

#include "etabulon/foundation/EVariant.h"

#include <string>
#include <string_view>

namespace etabulon {

/// Appends a key to `key` whose plain order is that of the values: missing < numbers < times of day
/// < dates and timestamps < texts < other bytes. Numbers and dates stand in the order of
/// EVariant::Compare, texts in locale order and then by their bytes (folded ones where their type
/// is), so that only equal values have one key. No key is the beginning of another one.
void AppendOrderKey(const EVariant& value, std::string& key);
/// The same for a text.
void AppendOrderKey(std::string_view text, std::string& key);

}  // namespace etabulon
