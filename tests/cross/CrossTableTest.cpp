#include "etabulon/cross/ECrossFiller.h"
#include "etabulon/cross/ECrossTable.h"
#include "etabulon/cumul/ETabulonCumulBufferOnVar.h"
#include "etabulon/cumul/ETabulonCumulBufferOnVarCollection.h"
#include "etabulon/score/ETabulonScoreFiller.h"
#include "grid/RandomResult.h"
#include "score/ScoreFixture.h"

#include <gmock/gmock.h>

#include <numeric>

namespace etabulon::test {
namespace {

const Calculations kAll("SUM A, AVG A, COUNT A, MAX B, LAST T, COMMONVAL T, CODEMAX A");

/// A cross table of random records, arranged at random.
class RandomCross : public RandomResult {
public:
    using RandomResult::RandomResult;

    [[nodiscard]] ECrossAxisOrder AxisOrder(const ECrossFiller::Levels& own,
                                            const std::vector<Record>& records) {
        ECrossAxisOrder order;
        for (unsigned int keys = Below(3); keys != 0; --keys) {
            ECrossKey key{static_cast<ECrossKey::Source>(Below(3)), OneIn(2)};
            key.level = own.empty() ? 0 : own[Below(static_cast<unsigned int>(own.size()))];
            key.calculation = Below(static_cast<unsigned int>(kAll.size()));
            key.across = records[Below(static_cast<unsigned int>(records.size()))].tag;
            order.keys.push_back(key);
        }
        while (OneIn(2) && order.most.size() < own.size()) {
            order.most.push_back(Below(4));
        }
        order.others = OneIn(3) ? Chaine() : Chaine("others");
        order.hasSubtotals = !OneIn(4);
        return order;
    }

protected:
    void SetValues(Record& record) override {
        record.a = OneIn(4) ? EVariant() : EVariant(static_cast<int>(Below(9)) - 4);
        record.b = OneIn(4) ? EVariant() : EVariant::FromDouble(Below(8) / 4.0);
        record.t = EVariant(OneIn(2) ? "x" : "y");
    }
};

/// The records of `selection` folded one by one: what a cell has to be. None without records.
std::vector<std::string> Folded(const std::vector<Record>& records,
                                const ECrossSelection& selection) {
    std::vector<Record> chosen;
    ETabulonCumulFuncOnVarCollection collection = Collect(kAll);
    const auto buffers = ERef<ETabulonCumulBufferOnVarCollection>::Adopt(collection.Start());
    ETabulonExtractValue extract;
    extract.Init(&collection, nullptr);
    RecordCursor cursor(records);
    bool isEmpty = true;
    for (CursorStatus status = cursor.CallReset(ETabulonTag::Null); status != StatusEnd;
         status = cursor.CallGetNext()) {
        if (cursor.CurrentTag().IsAtOrBelow(selection.Tag()) &&
            selection.Has(cursor.CurrentTag())) {
            extract.SetCurrent(cursor);
            buffers->AddValue(extract);
            isEmpty = false;
        }
    }
    std::vector<std::string> results;
    for (unsigned int index = 0; index < collection.Size(); ++index) {
        const auto buffer = ERef<ETabulonCumulBufferOnVar>::Adopt(buffers->Calculation(index));
        const ETabulonValue& value = buffer->Result();
        results.push_back(isEmpty || value.IsNull()                    ? "-"
                          : value.Status() != ETabulonValue::ValNormal ? "<>"
                                                                       : ExactText(value.Data()));
    }
    return results;
}

std::vector<std::string> Read(const ECrossTable& table, std::uint32_t line, std::uint32_t column) {
    std::vector<std::string> results;
    ETabulonValue value;
    for (unsigned int index = 0; index < table.CalculationCount(); ++index) {
        table.ReadValue(line, column, index, value);
        results.push_back(value.IsNull()                               ? "-"
                          : value.Status() != ETabulonValue::ValNormal ? "<>"
                                                                       : ExactText(value.Data()));
    }
    return results;
}

/// The table's lines or columns and the total.
std::vector<std::uint32_t> Indexes(const ECrossTable& table, ECrossSide side) {
    std::vector<std::uint32_t> indexes(table.Count(side));
    std::iota(indexes.begin(), indexes.end(), 0U);
    indexes.push_back(ECrossTable::kTotal);
    return indexes;
}

/// Every record lies in one entry that isn't a subtotal, unless entries are left out.
void ExpectPartition(const ECrossTable& table, const ECrossOrder& order) {
    ETabulonValue value;
    std::int64_t sum = 0;
    for (std::uint32_t line = 0; line < table.Count(ECrossSide::Lines); ++line) {
        if (table.Entry(ECrossSide::Lines, line).part != ECrossEntry::Subtotal) {
            table.ReadValue(line, ECrossTable::kTotal, 2, value);
            sum += value.Data().AsInt64();
        }
    }
    table.ReadValue(ECrossTable::kTotal, ECrossTable::kTotal, 2, value);
    if (order.lines.most.empty() || !order.lines.others.IsEmpty()) {
        EXPECT_EQ(sum, value.Data().AsInt64());
    }
}

TEST(ArrangedResults, AreTheFoldsOfTheRecordsBehindEachCell) {
    for (unsigned int seed = 1; seed <= 120; ++seed) {
        SCOPED_TRACE(seed);
        RandomCross random(seed);
        ECrossFiller::Levels levels = {0, 1, 2, 3};
        std::rotate(levels.begin(), levels.begin() + random.Below(4), levels.end());
        const unsigned int lineCount = 1 + random.Below(2);
        const ECrossFiller::Levels lines(levels.begin(), levels.begin() + lineCount);
        const ECrossFiller::Levels columns(levels.begin() + lineCount,
                                           levels.begin() + lineCount + random.Below(3));
        std::vector<Record> records = random.Records(ETabulonTag(), 1 + random.Below(40));
        std::mt19937 values(seed);
        for (Record& record : records) {
            record.tag = RandomTag(values, kLevels, /*withGaps=*/false);
        }
        const GridSetup setup{0, 1, 2, 3};
        ETabulonSortDesc sort(setup.sort);
        sort.SetCompareSource(random.CompareSource());
        const auto collection = Collect(kAll);
        RecordCursor cursor(records);
        const auto cross = ECrossFiller::Make(&cursor, nullptr);
        cross->SetParams(&collection, &sort, lines, columns);
        cursor.AddNotifier(cross.Get());
        ASSERT_EQ(cursor.Browse(ETabulonTag()), StatusOk);
        const ECrossOrder order{random.AxisOrder(lines, records),
                                random.AxisOrder(columns, records)};
        const ECrossTable table(*cross, order);
        for (const std::uint32_t line : Indexes(table, ECrossSide::Lines)) {
            for (const std::uint32_t column : Indexes(table, ECrossSide::Columns)) {
                EXPECT_EQ(Read(table, line, column), Folded(records, table.Selection(line, column)))
                    << line << ", " << column;
            }
        }
        ExpectPartition(table, order);
    }
}

// The order of a score, told as keys, gives what a score sends; so does each view of a cross table.
TEST(ArrangedResults, GoToTheViewsOfScoresAndGrids) {
    std::vector<Record> records;
    for (int place = 0; place < 12; ++place) {
        records.push_back({Tag({{0, place % 5}, {1, place % 3}, {2, "x"}}), place % 4, 1.5, "t"});
    }
    const GridSetup setup{0, 1, 2};
    const auto collection = Collect("SUM A, COUNT A");
    RecordCursor cursor(records);
    const auto score = ETabulonScoreFiller::Make(&cursor, nullptr);
    score->SetParams(&collection, &setup.sort, 1);
    const auto cross = ECrossFiller::Make(&cursor, nullptr);
    cross->SetParams(&collection, &setup.sort, {0}, {1});
    const auto one = Collect("SUM A");
    const auto grid = ETabulonGridFiller::Make(&cursor, nullptr);
    grid->SetParams(&one, 2, &setup.sort);
    for (ETabulonCursor::INotifier* const listener :
         std::initializer_list<ETabulonCursor::INotifier*>{score.Get(), cross.Get(), grid.Get()}) {
        cursor.AddNotifier(listener);
    }
    ASSERT_EQ(cursor.Browse(ETabulonTag()), StatusOk);

    ECrossOrder order;
    order.lines.areTiesFalling = true;
    order.lines.keys = {{.isFalling = true}, {.isFalling = true, .calculation = 1}};
    ScoreTrace direct;
    ScoreTrace arranged;
    score->SendTo(&direct);
    ECrossTable(*score, order).SendTo(&arranged);
    EXPECT_EQ(arranged.Take(), direct.Take());

    GridTrace plain;
    GridTrace crossed;
    grid->SendTo(&plain);
    ECrossTable(*cross, {}).SendTo(&crossed, 0);
    EXPECT_EQ(crossed.Take(), plain.Take());

    order.lines.most = {2};
    order.lines.others = "rest";
    const ECrossTable limited(*score, order);
    limited.SendTo(&arranged);
    EXPECT_THAT(arranged.Take(), testing::HasSubstr("] [1]=6,3 [2]=5,2 [rest]=7,7 total=18,12"));
    EXPECT_NEAR(limited.RunningShare(1, 0).value_or(0), 100 * 11 / 18.0, 1e-9);
    EXPECT_NEAR(limited.RunningShare(2, 0).value_or(0), 100, 1e-9);
}

// A level that the walk's place holds makes no depth, so that the grid may even lose all axes. The
// states of an application's function aren't merged.
TEST(ArrangedResults, LoseTheAxesThatThePlaceHolds) {
    const GridSetup setup{0, 1};
    const auto collection = CollectAny("LASTPOSITIVE A, COUNT A");
    RecordCursor cursor({{Tag({{0, "a"}, {1, "x"}}), 3}, {Tag({{0, "a"}, {1, "y"}}), 4}});
    const auto cross = ECrossFiller::Make(&cursor, nullptr);
    cross->SetParams(&collection, &setup.sort, {0}, {1});
    cursor.AddNotifier(cross.Get());
    ASSERT_EQ(cursor.Browse(Tag({{0, "a"}})), StatusOk);
    ECrossOrder order;
    order.columns.most = {1};
    order.columns.others = "others";
    const ECrossTable table(*cross, order);
    EXPECT_EQ(table.Depth(ECrossSide::Lines), 0U);
    ASSERT_EQ(table.Count(ECrossSide::Columns), 2U);
    EXPECT_EQ(Read(table, ECrossTable::kTotal, 0).front(), ExactText(EVariant(3)));
    EXPECT_EQ(Read(table, ECrossTable::kTotal, 1).front(), "-");
    ASSERT_EQ(cursor.Browse(Tag({{0, "a"}, {1, "y"}})), StatusOk);
    const ECrossTable none(*cross, order);
    EXPECT_EQ(none.Count(ECrossSide::Columns), 0U);
    EXPECT_EQ(Read(none, ECrossTable::kTotal, ECrossTable::kTotal).back(),
              ExactText(EVariant(std::uint32_t{1})));
}

// Keeps what it was made of: another walk of the filler doesn't change it.
TEST(ArrangedResults, OutliveTheNextWalk) {
    const GridSetup setup{0, 1};
    const auto collection = Collect("SUM A");
    RecordCursor cursor({{Tag({{0, "a"}}), 1}, {Tag({{0, "b"}}), 2}});
    const auto score = ETabulonScoreFiller::Make(&cursor, nullptr);
    score->SetParams(&collection, &setup.sort, 1);
    cursor.AddNotifier(score.Get());
    ASSERT_EQ(cursor.Browse(ETabulonTag()), StatusOk);
    const ECrossTable table(*score, {});
    cursor.SetRecords({{Tag({{0, "c"}}), 7}});
    ASSERT_EQ(cursor.Browse(ETabulonTag()), StatusOk);
    EXPECT_EQ(table.Count(ECrossSide::Lines), 2U);
    EXPECT_EQ(Read(table, ECrossTable::kTotal, ECrossTable::kTotal).front(),
              ExactText(EVariant(3)));
    EXPECT_EQ(cursor.locks, 0);
}

}  // namespace
}  // namespace etabulon::test
