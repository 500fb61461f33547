#include "etabulon/foundation/EDataArray.h"
#include "support/MemoryTable.h"

#include <gtest/gtest.h>

#include <algorithm>
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
    EXPECT_EQ(Failure(*table, table->GetNext()), DataEnd);
    EXPECT_TRUE(IsBlank());
    EXPECT_EQ(Failure(*table, table->GetNext()), DataEnd);
    EXPECT_EQ(table->GetPrevious(), 4);
    EXPECT_EQ(table->status, DataOk);
    table->GetFirst();
    EXPECT_EQ(Failure(*table, table->GetPrevious()), DataEnd);
    EXPECT_EQ(table->GetNext(), 0);
}

TEST_F(MemoryTable, WithoutACurrentRecordFailsWithEight) {
    const std::function<std::int64_t()> operations[] = {
        [this] { return table->GetNext(); },
        [this] { return table->GetPrevious(); },
        [this] { return table->RePos(kNoPosition, /*flag=*/false); },
        [this] { return table->Update(kNoPosition); },
        [this] { return table->DeleteOne(kNoPosition) ? 0 : kNoPosition; },
        [this] { return table->LoadBuffer() ? 0 : kNoPosition; },
        [this] {
            return table->Lock(kNoPosition, /*wait=*/true) == DataNoCurrent ? kNoPosition : 0;
        },
        [this] {
            return table->LockRecord(kNoPosition, /*wait=*/true) == DataNoCurrent ? kNoPosition : 0;
        },
        [this] { return table->UnlockRecord(kNoPosition) == DataNoCurrent ? kNoPosition : 0; }};
    for (const auto& operation : operations) {
        table->status = DataOk;
        EXPECT_EQ(Failure(*table, operation()), DataNoCurrent);
        EXPECT_TRUE(IsBlank());
    }
    EXPECT_EQ(table->CurKey().Size(), 0);
}

TEST_F(MemoryTable, TellsARecordThatWentFromOneThatNeverWas) {
    EXPECT_TRUE(other.DeleteOne(2));
    EXPECT_EQ(Failure(*table, table->RePos(2, false)), DataGone);
    EXPECT_EQ(Failure(*table, table->Update(2)), DataGone);
    for (const EPosition never : {EPosition{5}, EPosition{-2}, INT64_MAX, INT64_MIN}) {
        EXPECT_EQ(Failure(*table, table->RePos(never, false)), DataNoSuchPosition);
        EXPECT_EQ(Failure(*table, table->DeleteOne(never)), DataNoSuchPosition);
    }
    EXPECT_EQ(Failure(*table, table->GetNext()), DataNoCurrent);
}

TEST_F(MemoryTable, RefusesASecondRecordOfAKeyAndKeepsTheBuffer) {
    table->GetFirst();
    table->Fields()["id"] <<= 4;
    EXPECT_EQ(Failure(*table, table->Insert()), DataDuplicate);
    EXPECT_EQ(Failure(*table, table->Update(kNoPosition)), DataDuplicate);
    EXPECT_EQ(table->position, 0);
    EXPECT_EQ(Line(*table), "4 FR Paris 2021 10");
    EXPECT_EQ(table->CurKey().At(0), EVariant(1));
    EXPECT_EQ(Failure(*table, table->Append({4})), DataDuplicate);
    table->Fields()["id"] <<= 40;
    EXPECT_EQ(table->Update(kNoPosition), 0);
    EXPECT_EQ(table->Append({1}), 5);
    EXPECT_EQ(table->Count(), 6U);
}

TEST_F(MemoryTable, WalksOnFromARecordThatWent) {
    table->RePos(1, /*flag=*/false);
    EXPECT_TRUE(other.DeleteOne(1));
    EXPECT_TRUE(other.DeleteOne(2));
    EXPECT_EQ(Failure(*table, table->Update(kNoPosition)), DataGone);
    EXPECT_EQ(table->GetNext(), 3);
    EXPECT_TRUE(table->DeleteOne(kNoPosition));
    EXPECT_TRUE(IsBlank());
    EXPECT_EQ(Failure(*table, table->Update(kNoPosition)), DataNoCurrent);
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
    EXPECT_EQ(Failure(*table, table->DeleteLoop()), DataLocked);
    EXPECT_EQ(table->Count(), 2U);
    other.UnlockRecord(3);
    EXPECT_TRUE(table->DeleteLoop());
    EXPECT_EQ(table->status, DataOk);
    EXPECT_TRUE(IsBlank());
    EXPECT_EQ(Failure(*table, table->GetFirst()), DataEnd);
    EXPECT_EQ(table->Append({1}), 5);
}

TEST_F(MemoryTable, LocksKeepOthersFromLockingAndWriting) {
    table->GetFirst();
    EXPECT_EQ(table->Lock(kNoPosition, true), DataOk);
    EXPECT_EQ(table->Lock(0, true), DataOk);
    EXPECT_EQ(other.LockRecord(0, false), DataLocked);
    EXPECT_EQ(other.Lock(0, true), DataLocked);  // would wait forever: one thread
    EXPECT_EQ(other.GetFirst(), 0);
    EXPECT_EQ(Failure(other, other.Update(kNoPosition)), DataLocked);
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

TEST(MemoryTableOfSomeRecords, PassesOverThoseOutOfItsRange) {
    struct Late : EDataMemory {
        explicit Late(const EDataMemory& inner) : EDataMemory(inner) {}
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
    const auto below = [&random](int end) {
        return static_cast<int>(random() % static_cast<unsigned int>(end));
    };
    const auto hasID = [&model](int id, EPosition except) {
        return std::any_of(model.begin(), model.end(), [id, except](const auto& row) {
            return row.second.first == id && row.first != except;
        });
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
                    ASSERT_EQ(Failure(table, table.Insert()), DataDuplicate);
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
                    ASSERT_EQ(Failure(table, table.Update(at)), DataDuplicate);
                } else {
                    ASSERT_EQ(table.Update(kNoPosition), at);
                    found->second = {id, country};
                }
                break;
            case 3: {
                if (table.RePos(at, /*flag=*/false) == kNoPosition) {
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

TEST(AnArrayOfRecords, IsWalkedAndWrittenAndFreesItsTexts) {
    VentesData data;
    const EFieldSet layout = data.rubric->MakeFields();
    const std::size_t size = layout.RecordSize();
    auto* const records = new std::byte[size * 3];
    for (std::size_t i = 0; i < 3; ++i) {
        layout.ConstructRecord(records + i * size);
        data.table->RePos(static_cast<EPosition>(i), /*flag=*/false);
        layout.CopyRecord(records + i * size, data.table->GetBuffer());
    }
    EDataArray array(layout);
    EXPECT_EQ(Failure(array, array.GetFirst()), DataEnd);
    array.AttachArray(records, static_cast<int>(size), 3, /*takeOwnership=*/true);
    EXPECT_EQ(Failure(array, array.GetNext()), DataNoCurrent);
    EXPECT_EQ(array.GetFirst(), 0);
    EXPECT_EQ(array.GetNext(), 1);
    EXPECT_EQ(Line(array), "2 FR Paris 2022 10");
    array.Fields()["city"] <<= "a town with quite a long name";
    EXPECT_EQ(array.Update(kNoPosition), 1);
    EXPECT_EQ(array.GetLast(), 2);
    EXPECT_EQ(array.GetPrevious(), 1);
    EXPECT_EQ(array.Fields()["city"].AsChaine(), "a town with quite a long name");
    EXPECT_EQ(Failure(array, array.RePos(3, false)), DataNoSuchPosition);
    EXPECT_TRUE(array.Fields()["city"].IsMissing());
    EXPECT_EQ(Failure(array, array.Insert()), DataReadOnly);
    EXPECT_EQ(Failure(array, array.DeleteOne(0)), DataReadOnly);
}

}  // namespace
}  // namespace etabulon::test
