#pragma once

#include "etabulon/cumul/ETabulonCumulFuncOnVarCollection.h"
#include "etabulon/cursors/ECursorScopes.h"
#include "etabulon/cursors/ETabulonCursor.h"
#include "etabulon/grid/ETabulonGridCumuls.h"
#include "etabulon/grid/ETabulonGridCumulsBuffers.h"
#include "etabulon/grid/ETabulonGridFiller.h"
#include "support/MemoryTable.h"
#include "support/ResultTrace.h"
#include "support/Tags.h"

#include <functional>
#include <initializer_list>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace etabulon::test {

/// A record: where it lies, and its values of the variables A (whole), B (floating) and T (text).
struct Record {
    ETabulonTag tag;
    EVariant a = EVariant();
    EVariant b = EVariant();
    EVariant t = EVariant();
};

inline constexpr unsigned int kLevels = 4;  // on offer: 0 to 3

inline ETabulonLevels FourLevels() { return LevelsBy({"L0", "L1", "L2", "L3"}); }

/// A cursor on literal records whose tags are what they are told to be.
class RecordCursor : public ETabulonCursor {
public:
    explicit RecordCursor(std::vector<Record> records) : records_(std::move(records)) {
        PTableau<EFieldDesc> descs;
        descs.Add(EFieldDesc("A", TYPE_LONG, kNullableLong, 0, nullptr));
        descs.Add(EFieldDesc("B", TYPE_DOUBLE, kNullableDouble, 0, nullptr));
        descs.Add(EFieldDesc("T", TYPE_CHAINE, 0, 0, nullptr));
        layout_.Attach(descs, nullptr, 0, static_cast<std::uint16_t>(descs.Size()));
        record_ = ERecordBuffer(layout_);
        layout_.ChangeBuffer(record_.Get(), false);
        DeclareMasterFields(layout_);
        Init(FourLevels());
    }
    /// Called before the record of that place is shown.
    std::function<void(std::size_t place)> onRecord;

    void SetRecords(std::vector<Record> records) { records_ = std::move(records); }

    using ETabulonCursor::CallGetNext;
    using ETabulonCursor::CallReset;
    int locks = 0;

    bool CursorLock(bool wait) override {
        ++locks;
        return ETabulonCursor::CursorLock(wait);
    }
    void CursorUnlock() override {
        --locks;
        ETabulonCursor::CursorUnlock();
    }

protected:
    CursorStatus Reset(const ETabulonTag& /*tag*/) override {
        place_ = 0;
        return Load();
    }
    CursorStatus GetNext() override {
        ++place_;
        return Load();
    }
    void ExtractCurrentTag(ETabulonTag& tag) const override { tag = records_[place_].tag; }
    void ExtractPrimaryKey(ETabulonPrimaryKey& key) const override {
        EFieldKey fields;
        fields.Add(EVariant(static_cast<int>(place_)));
        key.Set(fields, static_cast<EPosition>(place_));
    }

private:
    CursorStatus Load() {
        if (place_ >= records_.size()) {
            return StatusEnd;
        }
        if (onRecord) {
            onRecord(place_);
        }
        layout_.At(0) <<= records_[place_].a;
        layout_.At(1) <<= records_[place_].b;
        layout_.At(2) <<= records_[place_].t;
        return StatusOk;
    }

    std::vector<Record> records_;
    std::size_t place_ = 0;
    EFieldSet layout_;
    ERecordBuffer record_;
};

/// Pairs of words: "SUM A, MAX B".
struct Pairs : std::vector<std::pair<std::string, std::string>> {
    Pairs(const char* text = "") {
        std::istringstream words(text);
        for (std::string first, second; words >> first >> second;) {
            emplace_back(first, second.substr(0, second.find(',')));
        }
    }
};
using Calculations = Pairs;  // functions of variables

inline ETabulonCumulFuncOnVarCollection Collect(const Calculations& calculations,
                                                int priority = -1) {
    ETabulonCumulFuncOnVarCollection collection;
    for (const auto& [function, variable] : calculations) {
        const int type = variable[0] == 'A'   ? TYPE_LONG
                         : variable[0] == 'B' ? TYPE_DOUBLE
                                              : TYPE_CHAINE;
        collection.AddCalculation(Chaine(function), ETabulonVariableID(Chaine(variable)), type, 0,
                                  Chaine("Header of " + variable));
    }
    collection.SetPriorityCalculationPos(priority);
    return collection;
}

/// The parameters of a grid on the levels given, in their order.
struct GridSetup {
    explicit GridSetup(std::initializer_list<unsigned int> sorted) {
        ETabulonSortDesc::SortKeyArray keys;
        for (const unsigned int level : sorted) {
            keys.Add({level, /*reverse=*/false, 0});
        }
        sort.SetSortLevels(keys);
    }
    [[nodiscard]] ERef<ETabulonGridCumuls> Describe(const ETabulonTag& root, unsigned int axes,
                                                    const Calculations& calculations,
                                                    int priority = -1) const {
        const auto collection = Collect(calculations, priority);
        return ERef<ETabulonGridCumuls>::Adopt(
            ETabulonGridCumuls::Build(root, axes, &sort, &collection));
    }
    /// What a view hears after a walk over the records below the root.
    [[nodiscard]] std::string Send(const std::vector<Record>& records, unsigned int axes,
                                   const Calculations& calculations, int priority = -1,
                                   const ETabulonTag& root = ETabulonTag::Null) const {
        RecordCursor cursor(records);
        const auto filler =
            ERef<ETabulonGridFiller>::Adopt(ETabulonGridFiller::Build(&cursor, nullptr));
        const auto collection = Collect(calculations, priority);
        filler->SetParams(&collection, axes, &sort);
        const ECursorListening listening(cursor, *filler);
        static_cast<void>(cursor.Browse(root));
        GridTrace view;
        filler->SendTo(&view);
        return view.Take();
    }

    ETabulonLevels levels = FourLevels();
    ETabulonSortDesc sort{levels};
};

}  // namespace etabulon::test
