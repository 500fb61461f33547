#include "etabulon/cross/ESortedRecords.h"

#include "etabulon/foundation/EField.h"
#include "foundation/EVariantOrderKey.h"

#include <algorithm>
#include <utility>

namespace etabulon {

ESortedRecords::ESortedRecords(std::vector<Key> keys, std::vector<ETabulonVariableID> values,
                               std::uint64_t limit)
    : keys_(std::move(keys)), values_(std::move(values)), limit_(limit) {
    next_.keys.resize(keys_.size());
}

ESortedRecords::~ESortedRecords() = default;

CursorStatus ESortedRecords::OnReset(const ETabulonTag& /*tag*/, const ETabulonCursor& cursor) {
    sorted_.clear();
    number_ = 0;
    keyFields_.clear();
    valueFields_.clear();
    for (const Key& key : keys_) {
        keyFields_.push_back(&cursor.Field(key.variable));
    }
    for (const ETabulonVariableID& value : values_) {
        valueFields_.push_back(&cursor.Field(value));
    }
    return limit_ == 0 ? StatusEnd : StatusOk;
}

bool ESortedRecords::IsBefore(const Sorted& a, const Sorted& b) const {
    for (std::size_t at = 0; at < keys_.size(); ++at) {
        const int order = a.keys[at].compare(b.keys[at]);
        if (order != 0) {
            return (order < 0) != keys_[at].isFalling;
        }
    }
    return a.number < b.number;
}

void ESortedRecords::ReadKeys() {
    for (std::size_t at = 0; at < keys_.size(); ++at) {
        next_.keys[at].clear();
        AppendOrderKey(*keyFields_[at], next_.keys[at]);
    }
    next_.number = number_++;
}

void ESortedRecords::Take(const ETabulonCursor& cursor, Sorted& sorted) const {
    sorted.keys = next_.keys;
    sorted.number = next_.number;
    sorted.record.tag = cursor.CurrentTag();
    sorted.record.key = cursor.PrimaryKey();
    sorted.record.values.clear();
    for (const EField* const field : valueFields_) {
        sorted.record.values.push_back(*field);
    }
}

CursorStatus ESortedRecords::OnMove(const ETabulonCursor& cursor) {
    const auto isBefore = [this](const Sorted& a, const Sorted& b) { return IsBefore(a, b); };
    ReadKeys();
    if (sorted_.size() < limit_) {
        Take(cursor, sorted_.emplace_back());
        if (sorted_.size() == limit_) {
            std::make_heap(sorted_.begin(), sorted_.end(), isBefore);
        }
        return StatusOk;
    }
    if (IsBefore(next_, sorted_.front())) {
        std::pop_heap(sorted_.begin(), sorted_.end(), isBefore);
        Take(cursor, sorted_.back());
        std::push_heap(sorted_.begin(), sorted_.end(), isBefore);
    }
    return StatusOk;
}

void ESortedRecords::Sort() {
    std::sort(sorted_.begin(), sorted_.end(),
              [this](const Sorted& a, const Sorted& b) { return IsBefore(a, b); });
}

}  // namespace etabulon
