#include "etabulon/foundation/EDataArray.h"
#include "support/AllocationCount.h"
#include "support/MemoryTable.h"

#include <gtest/gtest.h>

#include <random>

namespace etabulon::test {
namespace {

std::string Line(EData& table) {
    std::string line;
    for (std::size_t i = 0; i < table.Fields().Size(); ++i) {
        line += std::string(line.empty() ? "" : " ") +
                table.Fields().At(static_cast<std::uint16_t>(i)).AsChaine().c_str();
    }
    return line;
}

class MemoryTable : public ::testing::Test, protected VentesData {
protected:
    MemoryTable() : other(*table) {}
    [[nodiscard]] bool IsBlank() const {
        return table->position == kNoPosition && table->Fields()["id"].AsInt64() == 0 &&
               table->Fields()["country"].IsMissing() && table->Fields()["year"].IsMissing();
    }
    EDataMemory other;
};

TEST_F(MemoryTable, WalksBothWaysAndEndsBlankWithNine) {
    EXPECT_EQ(table->GetFirst(), 0);
    EXPECT_EQ(Line(*table), "1 FR Paris 2021 10");
    EXPECT_EQ(table->GetLast(), 4);
    EXPECT_EQ(Line(*table), "5  Berlin 2022 2.25");
    EXPECT_TRUE(table->Fields()["country"].IsMissing());
    EXPECT_EQ(table->GetNext(), kNoPosition);
    EXPECT_EQ(table->status, DataEnd);
    EXPECT_TRUE(IsBlank());
    EXPECT_EQ(table->GetNext(), kNoPosition);
    EXPECT_EQ(table->status, DataEnd);
    EXPECT_EQ(table->GetPrevious(), 4);
    EXPECT_EQ(table->status, DataOk);
    table->GetFirst();
    EXPECT_EQ(table->GetPrevious(), kNoPosition);
    EXPECT_EQ(table->status, DataEnd);
    EXPECT_EQ(table->GetNext(), 0);
}

TEST_F(MemoryTable, WithoutACurrentRecordFailsWithEight) {
    const auto expectEight = [this](auto operation) {
        operation();
        EXPECT_EQ(table->status, DataNoCurrent);
        EXPECT_TRUE(IsBlank());
    };
    expectEight([this] { EXPECT_EQ(table->GetNext(), kNoPosition); });
    expectEight([this] { EXPECT_EQ(table->GetPrevious(), kNoPosition); });
    expectEight([this] { EXPECT_EQ(table->RePos(kNoPosition, false), kNoPosition); });
    expectEight([this] { EXPECT_EQ(table->Update(kNoPosition), kNoPosition); });
    expectEight([this] { EXPECT_FALSE(table->DeleteOne(kNoPosition)); });
    expectEight([this] { EXPECT_FALSE(table->LoadBuffer()); });
    expectEight([this] { EXPECT_EQ(table->Lock(kNoPosition, true), DataNoCurrent); });
    expectEight([this] { EXPECT_EQ(table->LockRecord(kNoPosition, true), DataNoCurrent); });
    expectEight([this] { EXPECT_EQ(table->UnlockRecord(kNoPosition), DataNoCurrent); });
    EXPECT_EQ(table->CurKey().Size(), 0);
}

TEST_F(MemoryTable, TellsARecordThatWentFromOneThatNeverWas) {
    EXPECT_TRUE(other.DeleteOne(2));
    EXPECT_EQ(table->RePos(2, false), kNoPosition);
    EXPECT_EQ(table->status, DataGone);
    EXPECT_EQ(table->Update(2), kNoPosition);
    EXPECT_EQ(table->status, DataGone);
    for (const EPosition never : {EPosition{5}, EPosition{-2}, INT64_MAX, INT64_MIN}) {
        EXPECT_EQ(table->RePos(never, false), kNoPosition);
        EXPECT_EQ(table->status, DataNoSuchPosition);
        EXPECT_FALSE(table->DeleteOne(never));
        EXPECT_EQ(table->status, DataNoSuchPosition);
    }
    EXPECT_EQ(table->GetNext(), kNoPosition);
    EXPECT_EQ(table->status, DataNoCurrent);
}

TEST_F(MemoryTable, RefusesASecondRecordOfAKeyAndKeepsTheBuffer) {
    table->GetFirst();
    table->Fields()["id"] <<= 4;
    EXPECT_EQ(table->Insert(), kNoPosition);
    EXPECT_EQ(table->status, DataDuplicate);
    EXPECT_EQ(table->Update(kNoPosition), kNoPosition);
    EXPECT_EQ(table->status, DataDuplicate);
    EXPECT_EQ(table->position, 0);
    EXPECT_EQ(Line(*table), "4 FR Paris 2021 10");
    EXPECT_EQ(table->CurKey().At(0), EVariant(1));
    EXPECT_EQ(table->Append({4}), kNoPosition);
    EXPECT_EQ(table->status, DataDuplicate);
    table->Fields()["id"] <<= 40;
    EXPECT_EQ(table->Update(kNoPosition), 0);
    EXPECT_EQ(table->Append({1}), 5);
    EXPECT_EQ(table->Count(), 6U);
}

TEST_F(MemoryTable, WalksOnFromARecordThatWent) {
    table->RePos(1, false);
    EXPECT_TRUE(other.DeleteOne(1));
    EXPECT_TRUE(other.DeleteOne(2));
    EXPECT_EQ(table->Update(kNoPosition), kNoPosition);
    EXPECT_EQ(table->status, DataGone);
    EXPECT_EQ(table->GetNext(), 3);
    EXPECT_TRUE(table->DeleteOne(kNoPosition));
    EXPECT_TRUE(IsBlank());
    EXPECT_EQ(table->Update(kNoPosition), kNoPosition);
    EXPECT_EQ(table->status, DataNoCurrent);
    EXPECT_EQ(table->GetPrevious(), 0);
    EXPECT_EQ(table->GetNext(), 4);
}

TEST_F(MemoryTable, MeetsRecordsThatAreAppendedMeanwhile) {
    table->GetLast();
    EXPECT_EQ(table->GetNext(), kNoPosition);
    EXPECT_EQ(other.Append({6, "IT"}), 5);
    EXPECT_EQ(table->GetNext(), 5);
    EXPECT_EQ(Line(*table), "6 IT   ");
    EXPECT_EQ(table->GetNext(), kNoPosition);
    table->Fields()["id"] <<= 7;
    EXPECT_EQ(table->Insert(), 6);
    EXPECT_EQ(table->position, 6);
    EXPECT_EQ(other.Count(), 7U);
}

TEST_F(MemoryTable, DeletesARangeAndStopsAtTheFirstFailure) {
    EXPECT_EQ(other.LockRecord(3, false), DataOk);
    EXPECT_FALSE(table->DeleteLoop());
    EXPECT_EQ(table->status, DataLocked);
    EXPECT_EQ(table->Count(), 2U);
    other.UnlockRecord(3);
    EXPECT_TRUE(table->DeleteLoop());
    EXPECT_EQ(table->status, DataOk);
    EXPECT_TRUE(IsBlank());
    EXPECT_EQ(table->GetFirst(), kNoPosition);
    EXPECT_EQ(table->status, DataEnd);
    EXPECT_EQ(table->Append({1}), 5);
}

TEST_F(MemoryTable, LocksKeepOthersFromLockingAndWriting) {
    table->GetFirst();
    EXPECT_EQ(table->Lock(kNoPosition, true), DataOk);
    EXPECT_EQ(table->Lock(0, true), DataOk);
    EXPECT_EQ(other.LockRecord(0, false), DataLocked);
    EXPECT_EQ(other.Lock(0, true), DataLocked);  // would wait forever: one thread
    EXPECT_EQ(other.GetFirst(), 0);
    EXPECT_EQ(other.Update(kNoPosition), kNoPosition);
    EXPECT_EQ(other.status, DataLocked);
    EXPECT_FALSE(other.DeleteOne(0));
    EXPECT_EQ(table->Update(0), 0);

    // Lock moves on to the next record, LockRecord holds any number.
    EXPECT_EQ(table->LockRecord(0, false), DataOk);
    EXPECT_EQ(table->Lock(1, false), DataOk);
    EXPECT_EQ(table->LockRecord(2, false), DataOk);
    table->Unlock();
    EXPECT_EQ(other.LockRecord(1, false), DataOk);
    EXPECT_EQ(table->Lock(1, false), DataLocked);
    EXPECT_EQ(other.LockRecord(0, false), DataLocked);
    table->UnlockRecord(0);
    EXPECT_EQ(other.LockRecord(0, false), DataOk);
    EXPECT_EQ(other.UnlockRecord(2), DataOk);
    EXPECT_EQ(other.LockRecord(2, false), DataLocked);
    {
        EDataMemory third(*table);
        EXPECT_EQ(third.Lock(3, false), DataOk);
    }
    EXPECT_EQ(other.Lock(3, false), DataOk);
}

TEST_F(MemoryTable, AllocatesNothingInASecondWalk) {
    const auto walk = [this] {
        std::int64_t sum = 0;
        for (EPosition at = table->GetFirst(); at != kNoPosition; at = table->GetNext()) {
            sum += table->CurKey().At(0).AsInt64();
        }
        return sum;
    };
    EXPECT_EQ(walk(), 15);
    const AllocationCount count;
    EXPECT_EQ(walk(), 15);
    EXPECT_EQ(count.Taken(), 0U);
}

TEST(MemoryTableOfSomeRecords, PassesOverThoseOutOfItsRange) {
    class Late : public EDataMemory {
    public:
        explicit Late(const EDataMemory& inner) : EDataMemory(inner) {}

    protected:
        bool IsInRange() override { return Fields()["year"].AsInt64() == 2022; }
    };
    VentesData data;
    Late late(*data.table);
    EXPECT_EQ(late.GetFirst(), 1);
    EXPECT_EQ(late.GetNext(), 4);
    EXPECT_EQ(late.GetNext(), kNoPosition);
    EXPECT_TRUE(late.DeleteLoop());
    EXPECT_EQ(data.table->Count(), 3U);
}

TEST(MemoryTableAgainstAModel, GivesTheSameUnderRandomOperations) {
    VentesData data;
    EDataMemory table(*data.table);
    table.DeleteLoop();
    std::map<EPosition, std::pair<int, std::string>> model;  // position: id, country
    std::mt19937 random(4711);
    const auto below = [&random](int end) { return static_cast<int>(random() % unsigned(end)); };
    const auto hasID = [&model](int id, EPosition except) {
        for (const auto& [at, row] : model) {
            if (row.first == id && at != except) {
                return true;
            }
        }
        return false;
    };
    EPosition next = 5;
    for (int turn = 0; turn < 20000; ++turn) {
        const int id = below(400);
        const std::string country(1, static_cast<char>('A' + below(26)));
        const EPosition at = 5 + below(static_cast<int>(next) - 4);
        const auto found = model.find(at);
        switch (below(turn % 4000 < 2000 ? 4 : 6)) {
            case 0:
            case 1:
                table.Fields()["id"] <<= id;
                table.Fields()["country"] <<= country.c_str();
                if (hasID(id, kNoPosition)) {
                    ASSERT_EQ(table.Insert(), kNoPosition);
                    ASSERT_EQ(table.status, DataDuplicate);
                } else {
                    ASSERT_EQ(table.Insert(), next);
                    model[next++] = {id, country};
                }
                break;
            case 2:
                ASSERT_EQ(table.RePos(at, false), found == model.end() ? kNoPosition : at);
                if (found == model.end()) {
                    ASSERT_EQ(table.status, at < next ? DataGone : DataNoSuchPosition);
                    break;
                }
                table.Fields()["id"] <<= id;
                table.Fields()["country"] <<= country.c_str();
                if (hasID(id, at)) {
                    ASSERT_EQ(table.Update(at), kNoPosition);
                    ASSERT_EQ(table.status, DataDuplicate);
                } else {
                    ASSERT_EQ(table.Update(kNoPosition), at);
                    found->second = {id, country};
                }
                break;
            case 3: {
                if (table.RePos(at, false) == kNoPosition) {
                    break;
                }
                ASSERT_EQ(table.Fields()["country"].AsChaine(), found->second.second.c_str());
                const auto behind = model.upper_bound(at);
                ASSERT_EQ(table.GetNext(), behind == model.end() ? kNoPosition : behind->first);
                const auto before = behind == model.end() ? behind : found;
                ASSERT_EQ(table.GetPrevious(),
                          behind == model.end() ? std::prev(before)->first : at);
                break;
            }
            default:
                ASSERT_EQ(table.DeleteOne(at), found != model.end());
                model.erase(at);
        }
        ASSERT_EQ(table.Count(), model.size());
    }
    auto expected = model.begin();
    for (EPosition at = table.GetFirst(); at != kNoPosition; at = table.GetNext(), ++expected) {
        ASSERT_EQ(at, expected->first);
        ASSERT_EQ(table.CurKey().At(0), EVariant(expected->second.first));
        ASSERT_EQ(table.Fields()["country"].AsChaine(), expected->second.second.c_str());
    }
    EXPECT_EQ(expected, model.end());
}

TEST(AFailingTable, FailsOnceWhereToldAndTellsWhatWasAsked) {
    VentesData data;
    FailingTable table(*data.table);
    table.FailAt("next", 2, DataConnectionLost);
    table.FailAt("lock", 1, DataLocked);
    table.FailAt("update", 1, DataConstraint);
    table.GetFirst();
    EXPECT_EQ(table.GetNext(), 1);
    EXPECT_EQ(table.Lock(kNoPosition, true), DataLocked);
    EXPECT_EQ(table.Lock(kNoPosition, false), DataOk);
    table.BeginDelete();
    EXPECT_EQ(table.Update(kNoPosition), kNoPosition);
    EXPECT_EQ(table.status, DataConstraint);
    EXPECT_EQ(table.position, 1);
    table.EndDelete();
    EXPECT_EQ(table.GetNext(), kNoPosition);
    EXPECT_EQ(table.status, DataConnectionLost);
    EXPECT_TRUE(table.Fields()["city"].IsMissing());
    EXPECT_EQ(table.Take(), "first next lock(-1,1) lock(-1,0) begin update(-1) end next");
    EXPECT_EQ(table.Take(), "");
}

TEST(AnArrayOfRecords, IsWalkedAndWrittenAndFreesItsTexts) {
    VentesData data;
    const EFieldSet layout = data.rubric->MakeFields();
    const std::size_t size = layout.RecordSize();
    auto* const records = new std::byte[size * 3];
    for (std::size_t i = 0; i < 3; ++i) {
        layout.ConstructRecord(records + i * size);
        data.table->RePos(static_cast<EPosition>(i), false);
        layout.CopyRecord(records + i * size, data.table->GetBuffer());
    }
    EDataArray array(layout);
    EXPECT_EQ(array.GetFirst(), kNoPosition);
    EXPECT_EQ(array.status, DataEnd);
    array.AttachArray(records, static_cast<int>(size), 3, true);
    EXPECT_EQ(array.GetNext(), kNoPosition);
    EXPECT_EQ(array.status, DataNoCurrent);
    EXPECT_EQ(array.GetFirst(), 0);
    EXPECT_EQ(array.GetNext(), 1);
    EXPECT_EQ(Line(array), "2 FR Paris 2022 10");
    array.Fields()["city"] <<= "a town with quite a long name";
    EXPECT_EQ(array.Update(kNoPosition), 1);
    EXPECT_EQ(array.GetLast(), 2);
    EXPECT_EQ(array.GetPrevious(), 1);
    EXPECT_EQ(array.Fields()["city"].AsChaine(), "a town with quite a long name");
    EXPECT_EQ(array.RePos(3, false), kNoPosition);
    EXPECT_EQ(array.status, DataNoSuchPosition);
    EXPECT_TRUE(array.Fields()["city"].IsMissing());
    EXPECT_EQ(array.Insert(), kNoPosition);
    EXPECT_EQ(array.status, DataReadOnly);
    EXPECT_FALSE(array.DeleteOne(0));
    EXPECT_EQ(array.status, DataReadOnly);
}

}  // namespace
}  // namespace etabulon::test
