#pragma once

#include "etabulon/cursors/ETabulonCursorEData.h"
#include "etabulon/cursors/IBlockNotifier.h"
#include "etabulon/tree/EDataTree.h"
#include "support/MemoryTable.h"
#include "support/Tags.h"
#include "support/TreeChecker.h"

#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

namespace etabulon::test {

/// Acts at the records of a walk, before the fillers hear of them. Without an act it takes blocks.
class Meddler : public EBlockListener {
public:
    std::function<CursorStatus(int record)> act;
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

/// Sales by country (0), city (1) and year (2), and a tree on them.
struct Sales : VentesData {
    Sales() {
        levels = LevelsBy({"country", "city", "year"});
        cursor.Init(levels, table.get(), /*ownsTable=*/false);
        cursor.AddNotifier(&meddler);
    }
    ~Sales() { cursor.RemNotifier(&meddler); }

    /// Deletes the records of these numbers.
    void Delete(std::initializer_list<int> ids) {
        EDataMemory other(*table);
        std::vector<EPosition> found;
        for (EPosition at = other.GetFirst(); at != kNoPosition; at = other.GetNext()) {
            const auto id = static_cast<int>(other.Fields()[Chaine("id")].AsInt64());
            if (std::find(ids.begin(), ids.end(), id) != ids.end()) {
                found.push_back(at);
            }
        }
        for (const EPosition at : found) {
            other.DeleteOne(at);
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

}  // namespace etabulon::test
