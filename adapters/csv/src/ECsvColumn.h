#pragma once

#include "ECsvLookalike.h"
#include "ECsvScanner.h"
#include "etabulon/csv/ECsvTypes.h"
#include "etabulon/foundation/EColumnsBuilder.h"

#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

namespace etabulon {

/// One column of a CSV file, while its cells are taken from the first one on. Its type is that of
/// all cells so far.
///
/// A column whose numbers were stored, and that turns out to be text, is postponed: it drops them,
/// and takes all cells again as texts.
class ECsvColumn {
public:
    /// `format` isn't owned.
    explicit ECsvColumn(const ECsvFormat& format);

    [[nodiscard]] ECsvType Type() const noexcept { return type_; }
    /// How many of its times or timestamps were cut to milliseconds.
    [[nodiscard]] std::uint64_t Cuts() const noexcept { return cuts_; }
    /// What else its texts might be.
    [[nodiscard]] const ECsvLookalike& Lookalike() const noexcept { return lookalike_; }
    /// The cells of one column in the scanner's rows.
    void Take(const ECsvScanner& rows, std::size_t column);
    [[nodiscard]] bool IsPostponed() const noexcept { return writer_ == nullptr; }
    /// Begins to take the cells as texts.
    void BeginAgain();
    [[nodiscard]] std::unique_ptr<EColumnWriter> End() noexcept { return std::move(writer_); }

    /// A column of this type in a table.
    [[nodiscard]] static int VariableType(ECsvType type) noexcept;

private:
    using Cells = std::span<const std::string_view>;
    [[nodiscard]] bool TakeAs(ECsvType type, Cells cells);
    [[nodiscard]] bool TakeUnknown(Cells cells);
    [[nodiscard]] bool TakeReals(Cells cells);
    void DropNulls(std::size_t count);
    [[nodiscard]] Cells SpelledAsIso(Cells cells);
    template <class T, class Parse>
    [[nodiscard]] bool TakeNumbers(Cells cells, const Parse& parse);
    template <class T, class Parse>
    [[nodiscard]] bool TakeMoments(Cells cells, const Parse& parse);
    void Widen(ECsvType type);

    const ECsvFormat& format_;
    ECsvType type_ = ECsvType::Unknown;
    std::size_t size_ = 0;
    std::uint64_t cuts_ = 0;
    std::unique_ptr<EColumnWriter> writer_;  // null: postponed
    std::array<std::string_view, ECsvScanner::kMostRows> cells_{};
    ECsvLookalike lookalike_;
    // For dates in another order: the cells, and their ISO spelling.
    std::vector<std::string_view> isoCells_;
    std::vector<std::array<char, kCsvIsoCapacity>> isoTexts_;
};

}  // namespace etabulon
