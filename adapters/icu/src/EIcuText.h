#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace etabulon::detail {

/// A text converted to UTF-16 for ICU's collation, on the stack unless it is longer than 256 bytes.
///
/// A byte that isn't UTF-8 becomes the unpaired low surrogate U+DC00 + byte. UTF-8 can't encode
/// one, so that different texts stay different; ICU orders it by its number, above the letters.
class EIcuText {
public:
    /// Longer texts are cut, so that no text's or key's length exceeds ICU's 31 bits.
    static constexpr std::size_t kLongest = std::size_t{64} << 20;

    explicit EIcuText(std::string_view text);
    EIcuText(const EIcuText&) = delete;
    EIcuText& operator=(const EIcuText&) = delete;

    [[nodiscard]] const char16_t* Units() const noexcept { return units_; }
    [[nodiscard]] std::int32_t Length() const noexcept { return length_; }

private:
    static constexpr std::size_t kShort = 256;

    std::array<char16_t, kShort> short_;  // initialised up to length_
    std::vector<char16_t> long_;
    char16_t* units_ = nullptr;
    std::int32_t length_ = 0;
};

}  // namespace etabulon::detail
