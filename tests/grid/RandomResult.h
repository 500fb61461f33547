#pragma once

#include "etabulon/cumul/CumulPartial.h"
#include "grid/GridFixture.h"
#include "sort/SortFixture.h"

#include <algorithm>
#include <random>
#include <utility>
#include <vector>

namespace etabulon::test {

/// A record's state in place of the record. What an application brought can't be merged, nor can
/// the lowest code where a value is missing.
template <class Buffers>
void AddAsPartial(Buffers& buffers, const ETabulonExtractValue& extract) {
    CumulPartial partial(buffers.Desc()->Calculations());
    partial.AddValue(extract);
    buffers.AddPartial(extract.Position(), partial);
}
[[nodiscard]] inline bool AreMergeable(const Calculations& calculations) {
    return std::ranges::none_of(calculations, [](const auto& calculation) {
        return calculation.first == "CODEMIN" || calculation.first == "LASTPOSITIVE";
    });
}

/// What grids and scores are tried with at random: descriptions, roots, and records that often lie
/// below these.
class RandomResult {
public:
    explicit RandomResult(unsigned int seed) : random_(seed) {}
    virtual ~RandomResult() = default;

    [[nodiscard]] unsigned int Below(unsigned int bound) { return random_() % bound; }
    [[nodiscard]] bool OneIn(unsigned int many) { return Below(many) == 0; }

    /// Levels may be hidden, reversed, without a key, and rarely have two.
    [[nodiscard]] ETabulonSortDesc::SortKeyArray Keys(bool mayRepeat) {
        std::vector<unsigned int> levels = {0, 1, 2, 3};
        std::shuffle(levels.begin(), levels.end(), random_);
        levels.resize(1 + Below(4));
        if (mayRepeat && OneIn(5)) {
            levels.push_back(levels[0]);
        }
        ETabulonSortDesc::SortKeyArray keys;
        for (const unsigned int level : levels) {
            keys.Add({level, OneIn(3), OneIn(6) ? ETabulonSortDesc::HideInCalc : 0U});
        }
        return keys;
    }
    [[nodiscard]] ETabulonSortDesc::SortCompareSource CompareSource() {
        return kSources[Below(std::size(kSources))];
    }

    /// Often the levels that lead the keys, as a tree would give.
    [[nodiscard]] ETabulonTag Root(const ETabulonSortDesc::SortKeyArray& keys) {
        ETabulonTag root;
        for (unsigned int place = 0; place < keys.Size() && OneIn(2); ++place) {
            root.SetValue(keys[place].Level(), RandomValue(random_, keys[place].Level()));
        }
        if (OneIn(6)) {
            const unsigned int level = Below(kLevels);
            root.SetValue(level, RandomValue(random_, level));
        }
        return root;
    }

    [[nodiscard]] std::vector<Record> Records(const ETabulonTag& root, unsigned int count) {
        std::vector<Record> records;
        for (const bool gaps = OneIn(2); count != 0; --count) {
            Record record{RandomTag(random_, kLevels, gaps)};
            for (unsigned int place = 0; place < root.KnownLevelsCount() && !OneIn(5); ++place) {
                record.tag.SetValue(root.LevelAt(place), root.ValueAt(place));
            }
            SetValues(record);
            records.push_back(record);
        }
        return records;
    }

    /// Gives each record to `add`, as the filler's view of it or as a snapshot.
    template <class Add>
    void Feed(std::vector<Record> records, const ITabulonCumulFuncOnVarCollection& calculations,
              Add add) {
        RecordCursor cursor(std::move(records));
        ETabulonExtractValue extract;
        extract.Init(&calculations, nullptr);
        for (CursorStatus status = cursor.CallReset(ETabulonTag::Null); status != StatusEnd;
             status = cursor.CallGetNext()) {
            OneIn(2) ? extract.SetCurrent(cursor) : extract.ViewCurrent(cursor);
            add(extract);
        }
    }

protected:
    virtual void SetValues(Record& record) = 0;

private:
    std::mt19937 random_;
};

}  // namespace etabulon::test
