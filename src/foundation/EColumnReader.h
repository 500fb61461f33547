#pragma once

#include "foundation/ECellView.h"
#include "foundation/EColumn.h"

#include <array>
#include <cstring>

namespace etabulon {

/// Shows the values of a column as its field would show them.
class EColumnReader {
public:
    explicit EColumnReader(const EColumn& column)
        : column_(column),
          view_(column.Desc()),
          missing_(EVariant::Missing(column.Desc().Type(), column.Desc().Size())) {}

    /// Valid until the next call.
    [[nodiscard]] const EVariant& At(std::size_t record) noexcept {
        switch (column_.GetForm()) {
            case EColumn::Form::Texts: {
                std::uint32_t number = 0;
                std::memcpy(&number, column_.At(record), sizeof number);
                return column_.Dictionary().Value(number);
            }
            case EColumn::Form::Cells:
                return view_.At(column_.At(record));
            default:
                break;
        }
        if (column_.IsMissing(record)) {
            return missing_;
        }
        // A mark byte after the value stays 0: the value isn't missing.
        std::memcpy(cell_.data(), column_.At(record), column_.Width());
        return view_.At(cell_.data());
    }

private:
    const EColumn& column_;
    ECellView view_;
    EVariant missing_;
    alignas(std::uint64_t) std::array<std::byte, 2 * sizeof(std::uint64_t)> cell_{};
};

}  // namespace etabulon
