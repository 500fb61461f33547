#include "cursors/RecordFilter.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace etabulon::detail {

namespace {

using Test = EFilter::Test;

constexpr std::int64_t kLeast = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();

bool IsJoint(const EFilter::Node& node) noexcept {
    return node.test == Test::All || node.test == Test::Any;
}

/// A word of a storage whose values a Range compares.
std::optional<std::int64_t> WholeOf(EStorage storage, std::uint64_t word) noexcept {
    switch (storage) {
        case EStorage::Int64:
        case EStorage::Timestamp:
            return static_cast<std::int64_t>(word);
        case EStorage::Int32:
        case EStorage::Date:
        case EStorage::Time:
            return static_cast<std::int32_t>(static_cast<std::uint32_t>(word));
        default:
            return std::nullopt;
    }
}

/// The lowest whole number that is at least `value`, in the order of the storage's values. None
/// where that isn't known; `isExact` tells whether it is `value` itself.
std::optional<std::int64_t> CeilingOf(EStorage storage, const EVariant& value, bool& isExact) {
    constexpr double kExactWhole = 9007199254740992.0;  // 2^53
    const EStorage own = TypeInfo(value.Type()).storage;
    const bool isNumber = storage == EStorage::Int64 || storage == EStorage::Int32;
    isExact = true;
    if (isNumber && (own == EStorage::Int64 || own == EStorage::Int32)) {
        return value.AsInt64();
    }
    if (isNumber && own == EStorage::Double) {
        const double number = value.AsDouble();
        if (!(std::abs(number) < kExactWhole)) {
            return std::nullopt;
        }
        const double ceiling = std::ceil(number);
        isExact = ceiling == number;
        return static_cast<std::int64_t>(ceiling);
    }
    if (isNumber || own != storage) {
        return std::nullopt;
    }
    std::uint64_t word = 0;
    std::memcpy(&word, value.GetBuffer(), TypeInfo(value.Type()).naturalSize);
    return WholeOf(storage, word);
}

}  // namespace

RecordFilter::RecordFilter(EFilter filter) : filter_(std::move(filter)) {
    for (const EFilter::Node* const node : filter_.Required()) {
        required_.push_back(MakePart(*node));
    }
}

RecordFilter::Part RecordFilter::MakePart(const EFilter::Node& node) {
    Part part;
    part.node = &node;
    for (const EFilter& each : node.parts) {
        part.parts.push_back(MakePart(each.Root()));
    }
    return part;
}

void RecordFilter::Bind(Part& part, const EFieldSet& fields) {
    for (Part& each : part.parts) {
        Bind(each, fields);
    }
    const EField& field = part.node->variable.GetIn(fields);
    part.field = IsJoint(*part.node) || field.IsNullField() ? nullptr : &field;
}

// ----------------------------------------------------------------------------------------- singles

bool RecordFilter::IsMet(const EFieldSet& fields) {
    const EField* const first = fields.Size() != 0 ? &fields.At(0) : nullptr;
    if (first != boundFields_ || fields.ShapeNumber() != boundShape_) {
        for (Part& part : required_) {
            Bind(part, fields);
        }
        boundFields_ = first;
        boundShape_ = fields.ShapeNumber();
    }
    return std::all_of(required_.begin(), required_.end(),
                       [](const Part& part) { return Of(part) == Truth::Yes; });
}

RecordFilter::Truth RecordFilter::Of(const Part& part) {
    if (!IsJoint(*part.node)) {
        static const EVariant kNothing;
        return Of(*part.node, part.field != nullptr ? *part.field : kNothing);
    }
    const bool isAll = part.node->test == Test::All;
    Truth joined = isAll ? Truth::Yes : Truth::No;
    const Truth last = isAll ? Truth::No : Truth::Yes;
    for (const Part& each : part.parts) {
        joined = isAll ? std::min(joined, Of(each)) : std::max(joined, Of(each));
        if (joined == last) {
            break;
        }
    }
    return joined;
}

RecordFilter::Truth RecordFilter::Of(const EFilter::Node& node, const EVariant& value) {
    Truth truth = Truth::Unknown;
    if (node.test == Test::Missing) {
        truth = value.IsMissing() ? Truth::Yes : Truth::No;
    } else if (!value.IsMissing()) {
        truth = node.test == Test::In         ? Found(node, value)
                : node.test >= Test::Contains ? FoundText(node, value)
                                              : Compared(node, value);
    }
    return node.isNegated ? static_cast<Truth>(2 - static_cast<unsigned int>(truth)) : truth;
}

RecordFilter::Truth RecordFilter::Compared(const EFilter::Node& node, const EVariant& value) {
    if (node.values[0].IsMissing()) {
        return Truth::Unknown;
    }
    const int order = EVariant::Compare(value, node.values[0]);
    bool is = false;
    switch (node.test) {
        case Test::Equal:
            is = order == 0;
            break;
        case Test::Unequal:
            is = order != 0;
            break;
        case Test::Below:
            is = order < 0;
            break;
        case Test::AtMost:
            is = order <= 0;
            break;
        case Test::Above:
            is = order > 0;
            break;
        default:
            is = order >= 0;
            break;
    }
    return is ? Truth::Yes : Truth::No;
}

RecordFilter::Truth RecordFilter::Found(const EFilter::Node& node, const EVariant& value) {
    const std::vector<EVariant>& values = node.values;
    const auto isSame = [&value](const EVariant& each) {
        return EVariant::Compare(value, each) == 0;
    };
    const bool isFound = node.isSorted && !TypeInfo(value.Type()).folds
                             ? std::binary_search(values.begin(), values.end(), value)
                             : std::any_of(values.begin(), values.end(), isSame);
    if (isFound) {
        return Truth::Yes;
    }
    return node.hasMissing ? Truth::Unknown : Truth::No;
}

RecordFilter::Truth RecordFilter::FoundText(const EFilter::Node& node, const EVariant& value) {
    EVariant::TextBuffer buffer;
    EVariant::TextBuffer wantedBuffer;
    Chaine holder;
    Chaine wantedHolder;
    const std::string_view text = value.AsText(buffer, holder);
    const std::string_view wanted = node.values[0].AsText(wantedBuffer, wantedHolder);
    const bool is = node.test == Test::Begins ? text.starts_with(wanted)
                                              : text.find(wanted) != std::string_view::npos;
    return is ? Truth::Yes : Truth::No;
}

// ------------------------------------------------------------------------------------------ blocks

void RecordFilter::Want(const EFieldSet& fields, EBlockRequest& request) {
    for (Part& part : required_) {
        Bind(part, fields);
        Want(part, request);
    }
    boundFields_ = nullptr;
}

void RecordFilter::Want(Part& part, EBlockRequest& request) {
    for (Part& each : part.parts) {
        Want(each, request);
    }
    part.scratch.assign(part.parts.empty() ? 0 : ERecordBlock::kMostRecords, Truth::No);
    part.ofNumber.clear();
    part.column.reset();
    part.range.reset();
    if (part.field == nullptr) {
        return;
    }
    // Numbers of texts that are searched would keep many long ones, which hardly repeat.
    const bool isByValue =
        TypeInfo(part.field->Type()).IsFixedSize() || part.node->test == Test::Contains;
    part.column = isByValue ? request.AddValues(*part.field) : request.AddNumbers(*part.field);
    part.range = RangeOf(*part.node, part.field->Type());
}

/// None where words of this type aren't compared as whole numbers.
std::optional<RecordFilter::Range> RecordFilter::RangeOf(const EFilter::Node& node, int type) {
    const EStorage storage = TypeInfo(type).storage;
    if (node.test < Test::Equal || node.test > Test::AtLeast || node.values[0].IsMissing()) {
        return std::nullopt;
    }
    bool isExact = true;
    const std::optional<std::int64_t> ceiling = CeilingOf(storage, node.values[0], isExact);
    if (!ceiling.has_value()) {
        return std::nullopt;
    }
    const bool isOpposite =
        node.test == Test::Unequal || node.test == Test::Below || node.test == Test::Above;
    switch (node.test) {
        case Test::Equal:
        case Test::Unequal:
            // A fraction equals no whole number: an empty range.
            return isExact ? Range{*ceiling, *ceiling, !isOpposite} : Range{1, 0, !isOpposite};
        case Test::AtLeast:
        case Test::Below:
            return Range{*ceiling, kMost, !isOpposite};
        default:
            // At most a fraction is at most the whole number before its ceiling.
            return Range{kLeast, *ceiling - (isExact ? 0 : 1), !isOpposite};
    }
}

// Each record is read before an index is stored in its place: `records` may be in `kept_`.
std::span<const EBlockIndex> RecordFilter::Keep(const ERecordBlock& block,
                                                std::span<const EBlockIndex> records) {
    for (Part& part : required_) {
        Fill(part, block, records, truths_.data());
        std::size_t count = 0;
        for (std::size_t index = 0; index < records.size(); ++index) {
            kept_[count] = records[index];
            count += truths_[index] == Truth::Yes ? 1 : 0;
        }
        records = std::span(kept_).first(count);
        if (records.empty()) {
            break;
        }
    }
    return records;
}

void RecordFilter::Fill(Part& part, const ERecordBlock& block, std::span<const EBlockIndex> records,
                        Truth* truths) {
    if (IsJoint(*part.node)) {
        return FillJoined(part, block, records, truths);
    }
    if (!part.column.has_value()) {
        std::fill_n(truths, records.size(), Of(part));
        return;
    }
    const ERecordBlock::Column& column = block.At(*part.column);
    if (column.numbers != nullptr) {
        return FillByNumbers(part, column, records, truths);
    }
    if (column.words != nullptr && part.range.has_value()) {
        return FillByRange(*part.range, column, records, truths);
    }
    for (std::size_t index = 0; index < records.size(); ++index) {
        truths[index] = Of(*part.node, block.Value(*part.column, records[index]));
    }
}

void RecordFilter::FillJoined(Part& part, const ERecordBlock& block,
                              std::span<const EBlockIndex> records, Truth* truths) {
    const bool isAll = part.node->test == Test::All;
    std::fill_n(truths, records.size(), isAll ? Truth::Yes : Truth::No);
    Truth* const each = part.scratch.data();
    for (Part& one : part.parts) {
        Fill(one, block, records, each);
        for (std::size_t index = 0; index < records.size(); ++index) {
            truths[index] =
                isAll ? std::min(truths[index], each[index]) : std::max(truths[index], each[index]);
        }
    }
}

void RecordFilter::FillByNumbers(Part& part, const ERecordBlock::Column& column,
                                 std::span<const EBlockIndex> records, Truth* truths) {
    part.ofNumber.resize(column.dictionary->Size(), Truth::Unasked);
    for (std::size_t index = 0; index < records.size(); ++index) {
        const std::uint32_t number = column.numbers[records[index]];
        Truth& truth = part.ofNumber[number];
        if (truth == Truth::Unasked) {
            truth = Of(*part.node, column.dictionary->Value(number));
        }
        truths[index] = truth;
    }
}

void RecordFilter::FillByRange(const Range& range, const ERecordBlock::Column& column,
                               std::span<const EBlockIndex> records, Truth* truths) {
    const EStorage storage = column.type->storage;
    for (std::size_t index = 0; index < records.size(); ++index) {
        const std::int64_t value = *WholeOf(storage, column.words[records[index]]);
        const bool isWithin = range.lowest <= value && value <= range.highest;
        truths[index] = isWithin == range.isWanted ? Truth::Yes : Truth::No;
    }
    if (column.missing == nullptr) {
        return;
    }
    for (std::size_t index = 0; index < records.size(); ++index) {
        truths[index] = column.IsMissingWord(records[index]) ? Truth::Unknown : truths[index];
    }
}

}  // namespace etabulon::detail
