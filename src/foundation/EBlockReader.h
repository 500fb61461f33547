#pragma once

#include "etabulon/foundation/ERecordBlock.h"
#include "foundation/ECellView.h"

#include <array>
#include <cstring>
#include <string_view>

namespace etabulon {

/// Shows the values of one column of a block as the column's field would show them.
class ERecordBlock::Reader {
public:
    explicit Reader(const EFieldDesc& desc)
        : view_(desc),
          missing_(EVariant::Missing(desc.Type(), desc.Size())),
          size_(TypeInfo(desc.Type()).naturalSize) {}

    /// The value of a cell that is laid out as the field's. Valid until the next call.
    [[nodiscard]] const EVariant& Cell(const void* cell) noexcept { return view_.At(cell); }
    /// The same of a word.
    [[nodiscard]] const EVariant& Word(std::uint64_t word) noexcept {
        // A mark byte after the value stays 0: the value isn't missing.
        std::memcpy(cell_.data(), &word, size_);
        return view_.At(cell_.data());
    }
    /// The same of a text, of which it keeps a copy.
    [[nodiscard]] const EVariant& OwnText(const Text& text) {
        if (text.bytes == nullptr) {
            return missing_;
        }
        text_ = Chaine(std::string_view(text.bytes, text.length));
        body_ = text_.GetBody();
        return view_.At(&body_);
    }
    [[nodiscard]] const EVariant& Missing() const noexcept { return missing_; }

private:
    ECellView view_;
    EVariant missing_;
    std::size_t size_;
    Chaine text_;
    const Chaine::Body* body_ = nullptr;  // of text_
    alignas(std::uint64_t) std::array<std::byte, 2 * sizeof(std::uint64_t)> cell_{};
};

}  // namespace etabulon
