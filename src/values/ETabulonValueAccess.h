#pragma once

#include "etabulon/values/ETabulonValue.h"
#include "foundation/EVariantAccess.h"

#include <cstdint>
#include <string_view>

namespace etabulon::detail {

/// The access of a value's sources to its data, beyond the public operations.
struct ETabulonValueAccess {
    /// The Hash of a value that was filled with this owned text.
    [[nodiscard]] static std::uint32_t HashOfText(std::string_view text) noexcept {
        return ETabulonValue::SaltOf(ETabulonValue::ValNormal) ^ Chaine::FoldHash(text);
    }
    /// The Hash of a value that was filled with these data, which aren't missing.
    [[nodiscard]] static std::uint32_t HashOf(const EVariant& data) noexcept {
        return ETabulonValue::SaltOf(ETabulonValue::ValNormal) ^ data.Hash();
    }
    /// Refill from a value like `blank`, of a fixed-size type of up to 8 bytes, whose natural bytes
    /// begin the word.
    static void RefillWord(ETabulonValue& value, const EVariant& blank, std::uint64_t word) {
        if (value.IsPlain() && value.data_.Type() == blank.Type() &&
            value.data_.Size() == blank.Size()) {
            EVariantAccess::PutWord(value.data_, word);
            return;
        }
        EVariant number(blank);
        EVariantAccess::PutWord(number, word);
        value.Refill(number);
    }
};

}  // namespace etabulon::detail
