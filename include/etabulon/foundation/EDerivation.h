#pragma once

#include "etabulon/foundation/EVariant.h"

#include <cstdint>

namespace etabulon {

struct EContent;

/// How a value is made from another value of its record: a part of a date, a group of numbers, the
/// beginning of a text. A missing value gives a missing one.
///
/// Ownership  a value type.
/// Threads    immutable: threads may share it.
/// Example    examples/derived.cpp
class ETABULON_API EDerivation {
public:
    enum class Kind : std::uint8_t {
        Year = 0,
        Quarter = 1,  // 1 to 4
        Month = 2,    // 1 to 12
        Week = 3,     // 1 to 53, as ISO 8601 counts: the week of the year that has its Thursday
        Weekday = 4,  // 1 is Monday, 7 Sunday
        Day = 5,      // of the month
        Hour = 6,     // 0 to 23
        Bin = 7,      // the lowest number of a group
        First = 8,    // the first letters of a text
    };

    /// A part of a date. Requires a kind from Year to Hour.
    explicit EDerivation(Kind part) noexcept : kind_(part) {}
    /// Groups of numbers: from `width` * n to below `width` * (n + 1). Requires a finite width
    /// above 0. Whole numbers stay whole where the width is.
    [[nodiscard]] static EDerivation Bin(double width) noexcept;
    /// This number of groups of one width. The first begins at `lowest`, and the last includes
    /// `highest`. Where both are equal, all numbers are in the first.
    /// Requires finite numbers, lowest not above highest, and at least one group.
    [[nodiscard]] static EDerivation Bins(double lowest, double highest,
                                          std::uint32_t groups) noexcept;
    /// The first letters of a text: characters of UTF-8; a byte that belongs to none is a letter of
    /// its own. Requires at least one.
    [[nodiscard]] static EDerivation First(std::uint32_t letters) noexcept;

    [[nodiscard]] Kind Which() const noexcept { return kind_; }
    /// Whether it can be made from values of this type.
    [[nodiscard]] bool Takes(int type) const noexcept;
    /// The type and size of its results for values of this type.
    [[nodiscard]] int ResultType(int type) const noexcept;
    [[nodiscard]] std::uint16_t ResultSize(int type) const noexcept;
    /// Missing for a value that it doesn't take, and for a date that doesn't exist. An infinite
    /// number is a group of its own, unless the groups have a limit.
    [[nodiscard]] EVariant Of(const EVariant& value) const;
    /// Stores the same in a cell.
    void StoreOf(const EVariant& value, EVariant& cell) const;

private:
    void SetWidth(double width) noexcept;
    [[nodiscard]] bool IsOfWholeNumbers(int type) const noexcept;
    [[nodiscard]] bool IsPartOfDate() const noexcept { return kind_ <= Kind::Hour; }
    [[nodiscard]] bool ReadPart(const EContent& moment, std::int32_t& part) const noexcept;
    [[nodiscard]] EVariant GroupOf(const EVariant& value) const;
    [[nodiscard]] EVariant BeginningOf(const EVariant& value) const;

    Kind kind_;
    std::uint32_t count_ = 0;  // of groups, 0 without a limit; or of letters
    double origin_ = 0;
    double width_ = 0;
    double units_ = 0;    // width_ * perUnit_, whole where that is possible
    double perUnit_ = 1;  // a power of ten
};

}  // namespace etabulon
