#pragma once

#include "RandomWalk.h"
#include "etabulon/cursors/ECursorScopes.h"
#include "etabulon/foundation/EDerivation.h"
#include "support/FailingSource.h"

namespace etabulon::test {

/// Orders of a day, an amount and a customer, who has a birthday and a name.
struct DatedOrders {
    static constexpr int kRecords = 3000;

    DatedOrders() {
        AddVariables(*customers,
                     {{"id", TYPE_LONG}, {"born", TYPE_DATE, kNullableLong}, {"name", TYPE_CHAINE}},
                     {"id"});
        AddVariables(*orders,
                     {{"id", TYPE_LONG},
                      {"day", TYPE_DATE, kNullableLong},
                      {"amount", TYPE_DOUBLE, kNullableDouble},
                      {"customer", TYPE_LONG, kNullableLong}},
                     {"id"});
        orders->AddLink("by", {"customer"}, customers);
        customerTable = MakeTable(customers);
        for (int id = 0; id < 20; ++id) {
            customerTable->Append({id, DayOf(id * 500, id % 7 == 0), id % 5 == 0 ? "Åsa" : "Éva"});
        }
        table = MakeTable(orders);
        for (int id = 0; id < kRecords; ++id) {
            const EVariant amount = id % 11 == 0 ? EVariant::Missing(TYPE_DOUBLE, 8)
                                                 : EVariant::FromDouble((id * 37 % 1000) / 8.0);
            table->Append({id, DayOf(id, id % 13 == 0), amount, id % 23});
        }
        source = FailingSource::Before(*customers);
    }
    static EVariant DayOf(int number, bool isMissing) {
        const int date = (1990 + number % 9) * 10000 + (1 + number % 12) * 100 + 1 + number % 28;
        EVariant day = EVariant::Missing(TYPE_DATE, 4);
        if (!isMissing) {
            EXPECT_TRUE(day.Init(TYPE_DATE, 4, &date));
        }
        return day;
    }
    void Init(ETabulonCursorEData& cursor) {
        cursor.Init(LevelsBy({"day.year", "by>born.month", "amount.group", "by>name.letter"}),
                    table.get(), /*ownsTable=*/false);
        EXPECT_TRUE(
            cursor.DeclareDerivedField("day.year", "day", EDerivation(EDerivation::Kind::Year)));
        EXPECT_TRUE(cursor.DeclareDerivedField("by>born.month", "by>born",
                                               EDerivation(EDerivation::Kind::Month)));
        EXPECT_TRUE(cursor.DeclareDerivedField("amount.group", "amount", EDerivation::Bin(12.5)));
        EXPECT_TRUE(cursor.DeclareDerivedField("by>name.letter", "by>name", EDerivation::First(1)));
        EXPECT_TRUE(
            cursor.DeclareDerivedField("day.year", "day", EDerivation(EDerivation::Kind::Year)));
    }

    DDico dico;
    DRubric* customers = dico.AddRubric("Customers");
    DRubric* orders = dico.AddRubric("Orders");
    std::unique_ptr<EDataMemory> customerTable, table;
    std::shared_ptr<FailingSource> source;
};

inline std::string Walked(ETabulonCursor& cursor, bool byBlocks, const ETabulonTag& tag,
                          std::size_t& blocks) {
    const BlocksEnabled enabled(byBlocks);
    RecordTrace trace(byBlocks, 0);
    const ECursorListening listening(cursor, trace);
    EXPECT_EQ(cursor.Browse(tag), StatusOk);
    blocks = trace.blocks;
    return trace.trace;
}

}  // namespace etabulon::test
