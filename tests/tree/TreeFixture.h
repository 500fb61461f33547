#pragma once

#include "etabulon/cursors/ETabulonCursorEData.h"
#include "etabulon/cursors/IBlockNotifier.h"
#include "etabulon/tree/EDataTree.h"
#include "support/MemoryTable.h"
#include "support/Table.h"
#include "support/Tags.h"
#include "support/TreeChecker.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

namespace etabulon::test {

inline constexpr ETabulonSortDesc::HideFlag kInTree = ETabulonSortDesc::HideInTree;

/// What a walk does at each of its records.
using RecordAction = std::function<CursorStatus(int record)>;

/// Does this at that record.
inline RecordAction AtRecord(int wanted, std::function<void()> action) {
    return [wanted, action = std::move(action)](int record) {
        if (record == wanted) {
            action();
        }
        return StatusOk;
    };
}
/// Ends the walk at that record.
inline RecordAction EndAt(int wanted, CursorStatus status) {
    return [wanted, status](int record) { return record == wanted ? status : StatusOk; };
}

/// Acts at the records of a walk, before the fillers hear of them. Without an act it takes blocks.
class Meddler : public EBlockListener {
public:
    RecordAction act;
    CursorStatus OnReset(const ETabulonTag&, const ETabulonCursor&) override {
        record_ = 0;
        return StatusOk;
    }
    CursorStatus OnMove(const ETabulonCursor&) override { return act ? act(++record_) : StatusOk; }
    bool WantBlocks(const ETabulonCursor&, EBlockRequest&) override { return !act; }
    CursorStatus OnBlock(const ETabulonCursor&, const ERecordBlock&,
                         std::span<const EBlockIndex>) override {
        return StatusOk;
    }

private:
    int record_ = 0;
};

/// Deletes the records of these numbers.
inline void DeleteRecords(const EDataMemory& table, const std::vector<int>& ids) {
    EDataMemory other(table);
    for (EPosition at = other.GetFirst(); at != kNoPosition; at = other.GetNext()) {
        const auto id = static_cast<int>(other.Fields()[Chaine("id")].AsInt64());
        if (std::find(ids.begin(), ids.end(), id) != ids.end()) {
            other.DeleteOne(at);
        }
    }
}

/// Sales by country (0), city (1) and year (2), and a tree on them.
struct Sales : VentesData {
    Sales() {
        levels = LevelsBy({"country", "city", "year"});
        cursor.Init(levels, table.get(), /*ownsTable=*/false);
        cursor.AddNotifier(&meddler);
    }
    ~Sales() { cursor.RemNotifier(&meddler); }

    void Delete(const std::vector<int>& ids) { DeleteRecords(*table, ids); }
    /// Other records in their place, with countries, cities and years by their number from 0.
    template <class Row>
    void Refill(int count, Row row) {
        Delete({1, 2, 3, 4, 5});
        for (int number = 0; number < count; ++number) {
            const auto [country, city, year] = row(number);
            table->Append({1000 + number, std::string(country).c_str(), city, year, 1});
        }
    }
    [[nodiscard]] std::string Text(const EDataTree& tree) const {
        const std::string faults = CheckTree(*tree.Root());
        return faults.empty() ? TreeText(*tree.Root()) : faults;
    }

    ETabulonLevels levels;
    Meddler meddler;
    ETabulonCursorEData cursor;
};

inline ETabulonSortDesc::SortKeyArray Keys(std::initializer_list<ETabulonSortDesc::SortKey> given) {
    ETabulonSortDesc::SortKeyArray keys;
    for (const auto& key : given) {
        keys.Add(key);
    }
    return keys;
}
/// The same for levels that are shown and don't fall.
inline ETabulonSortDesc::SortKeyArray InOrder(std::initializer_list<unsigned int> levels) {
    ETabulonSortDesc::SortKeyArray keys;
    for (const unsigned int level : levels) {
        keys.Add({level, /*reverse=*/false, 0});
    }
    return keys;
}

}  // namespace etabulon::test
