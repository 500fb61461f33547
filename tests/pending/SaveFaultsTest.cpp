#include "pending/SaveFixture.h"
#include "support/AllocationCount.h"
#include "support/LinkedSales.h"
#include "support/WalkTrace.h"

#include <gtest/gtest.h>

#include <new>

namespace etabulon::test {
namespace {

constexpr std::int32_t kStatuses[] = {
    DataGone,     DataDuplicate,    DataNoCurrent,      DataEnd,   DataLocked,      DataConstraint,
    DataReadOnly, DataBadStatement, DataConnectionLost, DataOther, StatusCancelled, 7};

/// Two hundred changes over a thousand items: 60 deletes, 40 inserts, 100 updates, one of a group.
struct ManyChanges : Items {
    explicit ManyChanges(int count = 1000) : Items(count) {
        for (int change = 0; change < count / 5; ++change) {
            const int id = change * 5 + 2;
            const ETabulonTag tag = Item(id / 10, id);
            switch (change % 10) {
                case 0:
                case 3:
                case 6:
                    changes.AppendDelete(tag);
                    break;
                case 1:
                case 7:
                    changes.AppendInsert(Item(id / 10, count + id));
                    break;
                case 2:
                    changes.AppendUpdate(tag, "value", -id);
                    break;
                case 4:
                    changes.AppendUpdate(tag, "note", "a note that is longer than it was before");
                    break;
                case 5:
                    changes.AppendUpdate(tag, "group", 0);
                    break;
                default:
                    changes.AppendUpdate(Item(id / 10, id - 1), "note", EVariant());
                    break;
            }
        }
        changes.AppendUpdate(Group(3), "value", 33);
    }
};

/// A save with the fault ends as the rules tell, and leaves nothing open.
void ExpectAsTold(LiteralSave& literal, const Fault& fault) {
    ManyChanges items;
    const std::uint32_t changes = items.changes.Size();
    const std::int32_t expected = literal.Run(ETabulonTag::Null, fault);
    static_cast<void>(items.table->Take());
    items.table->FailAt(fault.operation, fault.call, fault.status, fault.forEver);
    ASSERT_EQ(static_cast<std::int32_t>(items.Save()), expected);
    ASSERT_EQ(LeftOpen(items), "");
    ASSERT_TRUE(items.Rows() == literal.rows);
    ASSERT_EQ(items.changes.Size(), changes);
}

TEST(FaultInASave, EndsAsTheRulesTellAtEveryCall) {
    ManyChanges items;
    LiteralSave literal(items.Rows(), items.changes.ScriptCopy());
    EXPECT_EQ(literal.Run(), StatusOk);
    const auto asked = literal.asked;
    EXPECT_EQ(items.changes.Size(), 201U);
    std::size_t turn = 0;
    for (const auto& [operation, calls] : asked) {
        // One step is like another, but for where it stands to the writes.
        const int stride = operation == "next" ? 9 : 1;
        for (int call = 1; call <= calls; call += stride) {
            const std::int32_t status = kStatuses[turn++ % std::size(kStatuses)];
            for (const bool forEver : {false, true}) {
                SCOPED_TRACE(operation + std::to_string(call) + " " + std::to_string(status));
                ASSERT_NO_FATAL_FAILURE(ExpectAsTold(literal, {operation, call, status, forEver}));
            }
        }
    }
}

TEST(FaultInASave, EndsAsTheRulesTellWithEveryStatus) {
    ManyChanges items;
    LiteralSave literal(items.Rows(), items.changes.ScriptCopy());
    for (const std::int32_t status : kStatuses) {
        for (const char* operation : {"first", "next", "update", "delete", "insert"}) {
            for (const int call : {1, 20}) {
                SCOPED_TRACE(operation + std::to_string(call) + " " + std::to_string(status));
                ASSERT_NO_FATAL_FAILURE(ExpectAsTold(literal, {operation, call, status, true}));
            }
        }
    }
}

TEST(FaultInALinkOfASave, EndsItsWalkAndTakesNoRecordForOneWithoutATarget) {
    const std::string kept = "1 2 4 5 7";  // 3 and 6 have no city
    for (const std::size_t which : {0U, 1U}) {
        for (int failing = 0, reads = 1; failing <= reads; ++failing) {
            SCOPED_TRACE(failing);
            LinkedSales sales;
            ETabulonPendingChanges changes;
            changes.AppendDelete(Tag({{1, EVariant()}}));
            const ERef<WalkTrace> trace = MakeRef<WalkTrace>("id");
            FailingSource& source = *sales.sources[which];
            if (failing != 0) {
                source.FailAt(failing, DataLocked);
            }
            {
                const ECursorListening listening(sales.cursor, *trace);
                ETabulonSavePending save(&sales.cursor, sales.cursor.Levels());
                EXPECT_EQ(save.Run(&changes, ETabulonTag::Null), StatusOk);
            }
            EXPECT_EQ(trace->Take().find("error(1001)") != std::string::npos, failing != 0);
            reads = failing == 0 ? source.reads : reads;
            std::string left;
            for (EPosition at = sales.table->GetFirst(); at != kNoPosition;
                 at = sales.table->GetNext()) {
                const std::string id = sales.table->Fields()["id"].AsChaine().c_str();
                if (failing == 0 || (id != "3" && id != "6")) {
                    left += (left.empty() ? "" : " ") + id;
                }
            }
            EXPECT_EQ(left, kept);
        }
    }
}

TEST(MemoryShortInASave, LeavesNothingOpenAndNoRowHalfWritten) {
    if (!kAllocationsAreCounted) {
        GTEST_SKIP() << "allocations can't be made to fail here";
    }
    std::vector<ItemRow> before, after;
    {
        ManyChanges items(60);
        before = items.Rows();
        EXPECT_EQ(items.Save(), StatusOk);
        after = items.Rows();
    }
    bool passed = true;
    for (std::uint64_t allowed = 0; passed; ++allowed) {
        ManyChanges items(60);
        static_cast<void>(items.table->Take());
        passed = false;
        {
            const FailingAllocation failing(allowed);
            try {
                static_cast<void>(items.Save());
            } catch (const std::bad_alloc&) {
                passed = true;
            }
            passed = passed || failing.HasFailed();  // some below may do without
        }
        ASSERT_EQ(LeftOpen(items), "") << allowed;
        for (const ItemRow& row : items.Rows()) {
            ASSERT_TRUE(std::count(before.begin(), before.end(), row) +
                            std::count(after.begin(), after.end(), row) >
                        0)
                << allowed << ": " << Text(row);
        }
    }
}

}  // namespace
}  // namespace etabulon::test
