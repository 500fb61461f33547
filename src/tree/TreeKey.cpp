#include "tree/TreeKey.h"

#include "etabulon/foundation/EExpects.h"

#include <limits>

namespace etabulon::detail {

namespace {

bool FitsHalf(std::int64_t number) {
    return number >= std::numeric_limits<std::int32_t>::min() &&
           number <= std::numeric_limits<std::int32_t>::max();
}

/// Two numbers of 32 bits with their signs.
std::int64_t Join(std::int64_t upper, std::int64_t lower) {
    const auto high = static_cast<std::uint64_t>(static_cast<std::uint32_t>(upper));
    return static_cast<std::int64_t>(high << 32 | static_cast<std::uint32_t>(lower));
}

std::int32_t UpperOf(std::int64_t word) {
    return static_cast<std::int32_t>(static_cast<std::uint64_t>(word) >> 32);
}

std::int32_t LowerOf(std::int64_t word) { return static_cast<std::int32_t>(word); }

}  // namespace

TreeKeyForm PackKey(const ETabulonPrimaryKey& key, std::int64_t& word) {
    return PackKey(key.Fields(), key.Position(), word);
}

TreeKeyForm PackKey(const EFieldKey& fields, EPosition position, std::int64_t& word) {
    word = position;
    if (fields.Size() == 0) {
        return position == kNoPosition ? TreeKeyForm::None : TreeKeyForm::Position;
    }
    const ESegment& segment = fields.At(0);
    const bool isInt64 = segment.Type() == TYPE_INT64;
    const bool isNatural =
        isInt64 ? segment.Size() == sizeof(std::int64_t)
                : segment.Type() == TYPE_LONG && segment.Size() == sizeof(std::int32_t);
    if (fields.Size() == 1 && isNatural && !segment.IsMissing()) {
        const std::int64_t number = segment.AsInt64();
        if (isInt64 && number == position) {
            return TreeKeyForm::Int64AtPosition;
        }
        if (FitsHalf(number) && FitsHalf(position)) {
            word = Join(number, position);
            return isInt64 ? TreeKeyForm::PackedInt64 : TreeKeyForm::PackedLong;
        }
    }
    word = 0;
    return TreeKeyForm::Whole;
}

void UnpackKey(TreeKeyForm form, std::int64_t word, ETabulonPrimaryKey& key) {
    EFieldKey fields;
    EPosition position = word;
    switch (form) {
        case TreeKeyForm::None:
            key.Reset();
            return;
        case TreeKeyForm::Position:
            break;
        case TreeKeyForm::Int64AtPosition:
            fields.Add(EVariant::FromInt64(word));
            break;
        case TreeKeyForm::PackedInt64:
            fields.Add(EVariant::FromInt64(UpperOf(word)));
            position = LowerOf(word);
            break;
        case TreeKeyForm::PackedLong:
            fields.Add(EVariant(UpperOf(word)));
            position = LowerOf(word);
            break;
        case TreeKeyForm::Whole:
            E_EXPECTS(form != TreeKeyForm::Whole);
            return;
    }
    key.Set(fields, position);
}

}  // namespace etabulon::detail
