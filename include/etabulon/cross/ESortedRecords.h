#pragma once

#include "etabulon/cursors/ECursorListener.h"
#include "etabulon/foundation/EVariant.h"
#include "etabulon/foundation/fwd.h"
#include "etabulon/values/ETabulonPrimaryKey.h"
#include "etabulon/values/ETabulonTag.h"
#include "etabulon/values/ETabulonVariableID.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace etabulon {

/// The listener that keeps the records of a walk in the order of their values: missing values
/// first, numbers and dates by their size, texts in locale order and then by bytes, as
/// ETabulonSortDesc::CompareOnValue has it. Records of equal values stay in the order of the walk.
///
/// Use        add it to the cursor's notifiers, Browse, Sort, read. A reset drops the records.
/// Ownership  counted. Keeps copies: the cursor and its table may be destroyed before it.
/// Threads    one at a time.
/// Memory     each record with its tag, its key, the values and the keys of the order. With a limit
///            that number of records and one more.
/// Example    apps/etabulon/views/CliRecords.cpp
class ETABULON_API ESortedRecords : public ECursorListener {
public:
    static constexpr std::uint64_t kNoLimit = static_cast<std::uint64_t>(-1);
    struct Key {
        ETabulonVariableID variable;
        bool isFalling = false;
    };
    struct Record {
        ETabulonTag tag;
        ETabulonPrimaryKey key;
        std::vector<EVariant> values;
    };

    /// Keeps the first `limit` records. The cursor must know all of the variables.
    ESortedRecords(std::vector<Key> keys, std::vector<ETabulonVariableID> values,
                   std::uint64_t limit = kNoLimit);
    ~ESortedRecords() override;

    /// Puts the records into their order. To be called when the walk is over.
    void Sort();
    [[nodiscard]] std::size_t Size() const noexcept { return sorted_.size(); }
    /// The number of records that the walk has met, those beyond the limit too.
    [[nodiscard]] std::uint64_t MetCount() const noexcept { return number_; }
    /// Requires Sort, and index < Size().
    [[nodiscard]] const Record& At(std::size_t index) const { return sorted_[index].record; }

    CursorStatus OnReset(const ETabulonTag& tag, const ETabulonCursor& cursor) override;
    CursorStatus OnMove(const ETabulonCursor& cursor) override;

private:
    struct Sorted {
        std::vector<std::string> keys;
        std::uint64_t number = 0;  // in the walk
        Record record;
    };
    [[nodiscard]] bool IsBefore(const Sorted& a, const Sorted& b) const;
    void ReadKeys();
    void Take(const ETabulonCursor& cursor, Sorted& sorted) const;

    std::vector<Key> keys_;
    std::vector<ETabulonVariableID> values_;
    std::uint64_t limit_;
    std::vector<const EField*> keyFields_;    // of the cursor, during a walk
    std::vector<const EField*> valueFields_;  // likewise
    std::vector<Sorted> sorted_;  // in a walk with a limit that is reached, a heap: the last on top
    Sorted next_;                 // the keys of the current record
    std::uint64_t number_ = 0;    // of the next record
};

}  // namespace etabulon
