#pragma once

#include "etabulon/values/ETabulonPrimaryKey.h"

#include <cstdint>

namespace etabulon::detail {

/// How a node keeps its record's key in one word.
enum class TreeKeyForm : std::uint8_t {
    None = 0,             // no key
    Position = 1,         // no segments; the word is the position
    Int64AtPosition = 2,  // one TYPE_INT64 that is equal to the position
    PackedInt64 = 3,      // one TYPE_INT64 in the upper half, the position in the lower
    PackedLong = 4,       // the same of a TYPE_LONG
    Whole = 5,            // none of these: kept as it is, and the word is 0
};

struct TreeKeyWord {
    std::int64_t word = 0;
    TreeKeyForm form = TreeKeyForm::None;
};

/// The word for `key`, and its form.
[[nodiscard]] TreeKeyForm PackKey(const ETabulonPrimaryKey& key, std::int64_t& word);
/// The opposite. Requires a form other than Whole.
void UnpackKey(TreeKeyForm form, std::int64_t word, ETabulonPrimaryKey& key);

}  // namespace etabulon::detail
