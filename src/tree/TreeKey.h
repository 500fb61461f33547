#pragma once

#include "etabulon/values/ETabulonPrimaryKey.h"

#include <cstdint>

namespace etabulon::detail {

/// How a node packs its record's key into one word.
enum class TreeKeyForm : std::uint8_t {
    None = 0,             // no key
    Position = 1,         // no segments; the word is the position
    Int64AtPosition = 2,  // one TYPE_INT64 that is equal to the position
    PackedInt64 = 3,      // one TYPE_INT64 in the upper half, the position in the lower
    PackedLong = 4,       // the same of a TYPE_LONG
    Whole = 5,            // none of these: the key is kept unpacked, and the word is 0
};

struct TreeKeyWord {
    std::int64_t word = 0;
    TreeKeyForm form = TreeKeyForm::None;
};

/// Packs `key` into `word` and returns its form.
[[nodiscard]] TreeKeyForm PackKey(const ETabulonPrimaryKey& key, std::int64_t& word);
[[nodiscard]] TreeKeyForm PackKey(const EFieldKey& fields, EPosition position, std::int64_t& word);
/// Makes the key from its word. Requires a form other than Whole.
void UnpackKey(TreeKeyForm form, std::int64_t word, ETabulonPrimaryKey& key);

}  // namespace etabulon::detail
