#pragma once

#include "etabulon/cursors/EFilter.h"
#include "etabulon/foundation/EBlockSource.h"
#include "etabulon/foundation/EFieldSet.h"
#include "etabulon/foundation/ERecordBlock.h"

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace etabulon::detail {

/// Tests the records of a walk by a filter: one after the other, or by blocks, where a test on
/// numbered values is made once for each distinct one. Allocates nothing per record.
class RecordFilter {
public:
    explicit RecordFilter(EFilter filter);

    [[nodiscard]] const EFilter& Filter() const noexcept { return filter_; }
    /// Of the record that the fields hold.
    [[nodiscard]] bool IsMet(const EFieldSet& fields);

    /// Adds the columns that Keep reads.
    void Want(const EFieldSet& fields, EBlockRequest& request);
    /// The records that meet the filter, in their order. Valid until the next call. Requires Want
    /// of the block's request.
    [[nodiscard]] std::span<const EBlockIndex> Keep(const ERecordBlock& block,
                                                    std::span<const EBlockIndex> records);

private:
    enum class Truth : std::uint8_t { No = 0, Unknown = 1, Yes = 2, Unasked = 3 };
    using Truths = std::array<Truth, ERecordBlock::kMostRecords>;
    /// A comparison of whole numbers, or of dates, as those between two numbers.
    struct Range {
        std::int64_t lowest;
        std::int64_t highest;
        bool isWanted;  // within; otherwise outside
    };
    struct Part {
        const EFilter::Node* node = nullptr;  // of filter_
        std::vector<Part> parts;
        std::vector<Truth> scratch;  // of a block's records, for parts of parts

        // Of a test.
        const EField* field = nullptr;  // null: nothing has this name, which reads as missing
        std::optional<unsigned int> column;
        std::vector<Truth> ofNumber;  // by number in the column's dictionary
        std::optional<Range> range;   // of the column's words
    };

    [[nodiscard]] static Part MakePart(const EFilter::Node& node);
    static void Bind(Part& part, const EFieldSet& fields);
    static void Want(Part& part, EBlockRequest& request);
    [[nodiscard]] static std::optional<Range> RangeOf(const EFilter::Node& node, int type);
    [[nodiscard]] static Truth Of(const Part& part);
    [[nodiscard]] static Truth Of(const EFilter::Node& node, const EVariant& value);
    [[nodiscard]] static Truth Compared(const EFilter::Node& node, const EVariant& value);
    [[nodiscard]] static Truth Found(const EFilter::Node& node, const EVariant& value);
    [[nodiscard]] static Truth FoundText(const EFilter::Node& node, const EVariant& value);
    static void Fill(Part& part, const ERecordBlock& block, std::span<const EBlockIndex> records,
                     Truth* truths);
    static void FillJoined(Part& part, const ERecordBlock& block,
                           std::span<const EBlockIndex> records, Truth* truths);
    static void FillByNumbers(Part& part, const ERecordBlock::Column& column,
                              std::span<const EBlockIndex> records, Truth* truths);
    static void FillByRange(const Range& range, const ERecordBlock::Column& column,
                            std::span<const EBlockIndex> records, Truth* truths);

    EFilter filter_;
    std::vector<Part> required_;
    // The fields that the parts point into.
    const EField* boundFields_ = nullptr;
    std::uint64_t boundShape_ = 0;
    Truths truths_{};
    std::array<EBlockIndex, ERecordBlock::kMostRecords> kept_{};
};

}  // namespace etabulon::detail
