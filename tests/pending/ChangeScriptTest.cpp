#include "etabulon/foundation/EFieldSet.h"
#include "etabulon/pending/ETabulonPendingChanges.h"
#include "pending/PendingFilter.h"
#include "support/AllocationCount.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace etabulon::test {
namespace {

using Change = ETabulonPendingChanges::Change;
using Entries = std::vector<std::pair<unsigned int, EVariant>>;
constexpr auto kUpdate = ETabulonPendingChanges::Update;
constexpr auto kInsert = ETabulonPendingChanges::Insert;
constexpr auto kDelete = ETabulonPendingChanges::Delete;

ETabulonTag TagOf(const Entries& entries) {
    ETabulonTag tag;
    for (const auto& [level, data] : entries) {
        tag.SetValue(level, ETabulonValue(data, Chaine(), false));
    }
    return tag;
}

const ETabulonTag kBranch = TagOf({{0, "FR"}});
const ETabulonTag kInner = TagOf({{0, "FR"}, {1, "Paris"}});
const ETabulonTag kOther = TagOf({{0, "DE"}, {1, "Berlin"}});

/// "u[FR].city=x i[FR, Paris] d[]"
std::string Text(const PTableau<Change>& script) {
    std::string text;
    for (const Change& change : script) {
        text += text.empty() ? "" : " ";
        text += "uid"[change.Type()];
        text += change.Selection().DisplayID().c_str();
        if (change.Type() == kUpdate) {
            text += "." + std::string(change.VarDataID().Code().c_str()) + "=" +
                    change.Value().AsChaine().c_str();
        }
    }
    return text;
}

/// Two texts, by name and by number, and what was stored in them.
class Row {
public:
    Row() {
        PTableau<EFieldDesc> descs;
        descs.Add(EFieldDesc("a", TYPE_CHAINE, 0, 0, nullptr));
        descs.Add(EFieldDesc("b", TYPE_CHAINE, 0, 0, nullptr));
        descs.Add(EFieldDesc("n", TYPE_CHAINE, 0, 0,
                             std::make_shared<EFInfosHandlerLocal>("", "", 0, 12)));
        fields.Attach(descs, nullptr, 0, 3);
        buffer_ = ERecordBuffer(fields);
        fields.ChangeBuffer(buffer_.Get(), false);
    }
    std::string Text() const {
        std::string text;
        for (std::uint16_t index = 0; index < fields.Size(); ++index) {
            text += fields.At(index).IsMissing() ? "-" : fields.At(index).AsChaine().c_str();
        }
        return text;
    }
    EFieldSet fields;

private:
    ERecordBuffer buffer_;
};

TEST(ChangeScript, StaysInNormalForm) {
    ETabulonPendingChanges changes;
    changes.AppendUpdate(kInner, "a", "1");
    changes.AppendUpdate(kInner, "b", "1");
    changes.AppendUpdate(kInner, "A", "2");
    EXPECT_EQ(Text(changes.Script()), "u[FR, Paris].b=1 u[FR, Paris].A=2");
    changes.AppendUpdate(kBranch, "a", "3");
    changes.AppendUpdate(kInner, "a", "4");
    EXPECT_EQ(Text(changes.Script()), "u[FR, Paris].b=1 u[FR].a=3 u[FR, Paris].a=4");
    changes.AppendChange(changes.Script()[0]);  // one that replaces itself
    EXPECT_EQ(Text(changes.Script()), "u[FR].a=3 u[FR, Paris].a=4 u[FR, Paris].b=1");
    changes.AppendInsert(kInner);
    changes.AppendInsert(kInner);
    changes.AppendInsert(kOther);
    changes.AppendDelete(kBranch);
    changes.AppendDelete(kBranch);
    EXPECT_EQ(Text(changes.Script()), "i[DE, Berlin] d[FR]");
    changes.AppendDelete(kInner);
    EXPECT_EQ(Text(changes.Script(kDelete)), "d[FR] d[FR, Paris]");
    EXPECT_EQ(Text(changes.ScriptCopy()), "i[DE, Berlin] d[FR] d[FR, Paris]");
    changes.AppendDelete(ETabulonTag::Null);
    EXPECT_EQ(Text(changes.Script()), "d[]");
    changes.Reset();
    EXPECT_EQ(changes.Script(kDelete).Size(), 0U);
    EXPECT_FALSE(changes.IsDeleted(kInner));
}

TEST(ChangeScript, DeleteCancelsTheInsertAtItsPlace) {
    ETabulonPendingChanges changes;
    changes.AppendInsert(kInner);
    changes.AppendUpdate(kInner, "a", "1");
    changes.AppendDelete(kInner);
    EXPECT_EQ(changes.Size(), 0U);
}

TEST(ChangeScript, FirstUpdateGivesTheValueLastTheField) {
    ETabulonPendingChanges changes;
    changes.AppendUpdate(kBranch, "a", "wide");
    changes.AppendUpdate(kInner, "a", "narrow");
    EVariant copy;
    EXPECT_EQ(changes.GetFinalValue(kInner, "a", "old"), EVariant("wide"));
    EXPECT_TRUE(changes.GetFinalValueCopy(kInner, "a", "old", copy));
    EXPECT_EQ(copy, EVariant("wide"));
    EXPECT_FALSE(changes.GetFinalValueCopy(kOther, "a", "old", copy));
    EXPECT_EQ(copy, EVariant("old"));
    Row row;
    EXPECT_TRUE(changes.UpdateFields(row.fields, kInner));
    EXPECT_EQ(row.fields["a"], EVariant("narrow"));
    EXPECT_FALSE(changes.UpdateFields(row.fields, kOther));
}

TEST(ChangeScript, DeleteModifiesTheEmptyIdentifierOnly) {
    ETabulonPendingChanges changes;
    changes.AppendDelete(kBranch);
    EXPECT_FALSE(changes.IsModified(kInner, "a"));
    EXPECT_TRUE(changes.IsModified(kInner, ETabulonVariableID()));
}

TEST(ChangeScript, KeepsAMissingValueAsAnEmptyOne) {
    ETabulonPendingChanges changes;
    changes.AppendUpdate(kInner, "a", EVariant::Missing(TYPE_LONG, 0));
    EXPECT_EQ(changes.Script()[0].Value().Size(), 0U);
    Row row;
    row.fields["a"] <<= EVariant("x");
    EXPECT_TRUE(changes.UpdateFields(row.fields, kInner));
    EXPECT_TRUE(row.fields["a"].IsMissing());
}

/// The rules as scans over the whole script.
class ScannedScript {
public:
    void Append(const Change& c) {
        bool drop = false;
        const auto remove = [&](auto type, const auto& covers) {
            std::erase_if(script, [&](const Change& e) { return e.Type() == type && covers(e); });
        };
        const auto covered = [&](const Change& e) {
            return e.Selection() == c.Selection() || e.Selection().IsChildOf(c.Selection());
        };
        const auto equal = [&](const Change& e) { return e.Selection() == c.Selection(); };
        const auto exists = [&](auto type) {
            return std::any_of(script.begin(), script.end(),
                               [&](const Change& e) { return e.Type() == type && equal(e); });
        };
        if (c.Type() == kUpdate) {
            remove(kUpdate,
                   [&](const Change& e) { return covered(e) && IsSame(c.VarDataID(), e); });
        } else if (c.Type() == kInsert) {
            drop = exists(kInsert);
        } else {
            drop = exists(kInsert) || exists(kDelete);
            remove(kInsert, covered);
            remove(kUpdate, covered);
            remove(kDelete, [&](const Change& e) { return covered(e) && !equal(e); });
        }
        if (!drop) {
            script.push_back(c);
        }
    }
    EVariant FinalValue(const ETabulonTag& tag, const ETabulonVariableID& id) const {
        for (const Change& e : script) {
            if (e.Type() == kUpdate && Applies(e, tag) && IsSame(id, e)) {
                return e.Value();
            }
        }
        return "old";
    }
    bool IsDeleted(const ETabulonTag& tag) const {
        bool deleted = false;
        for (const Change& e : script) {
            if (e.Type() == (deleted ? kInsert : kDelete) && Applies(e, tag)) {
                deleted = !deleted;
            }
        }
        return deleted;
    }
    bool IsModified(const ETabulonTag& tag, const ETabulonVariableID& id) const {
        return std::any_of(script.begin(), script.end(), [&](const Change& e) {
            return e.Type() != kInsert && Applies(e, tag) && IsSame(id, e);
        });
    }
    bool UpdateFields(EFieldSet& fields, const ETabulonTag& tag) const {
        bool any = false;
        for (const Change& e : script) {
            if (e.Type() == kUpdate && Applies(e, tag)) {
                e.VarDataID().GetIn(fields) <<= e.Value();
                any = true;
            }
        }
        return any;
    }
    PTableau<Change> Under(ETabulonPendingChanges::ChangeType type, const ETabulonTag& tag) const {
        PTableau<Change> under;
        for (const Change& e : script) {
            if (e.Type() == type && (e.Selection() == tag || e.Selection().IsChildOf(tag))) {
                under.Add(e);
            }
        }
        return under;
    }
    std::vector<Change> script;

private:
    static bool Applies(const Change& e, const ETabulonTag& tag) {
        return tag == e.Selection() || tag.IsChildOf(e.Selection());
    }
    static bool IsSame(const ETabulonVariableID& id, const Change& e) {
        return id.IsAccelerator() ? id.Accelerator() == e.VarDataID().Accelerator()
                                  : id.Code().EqualsFolded(e.VarDataID().Code());
    }
};

ETabulonTag RandomTag(std::mt19937& random) {
    Entries entries;
    const unsigned int known = random() % 3 == 0 ? random() % 16 : (1U << random() % 5) - 1;
    for (unsigned int level = 0; level < 4; ++level) {
        if ((known >> level) % 2 != 0) {
            const int value = static_cast<int>(random() % 2);
            const unsigned int kind = random() % 4;
            entries.emplace_back(level, kind == 0 ? EVariant::FromDouble(value)  // equal numbers
                                        : kind == 1 && level == 3 ? EVariant()
                                                                  : EVariant(value));
        }
    }
    return TagOf(entries);
}

TEST(ChangeScript, AnswersAsScansOverRandomScriptsDo) {
    const ETabulonVariableID kIDs[] = {"a", "A", "b", 12UL, " 12 ", ETabulonVariableID(), 0UL};
    std::mt19937 random(7);
    for (int round = 0; round < 60; ++round) {
        ETabulonPendingChanges changes;
        ScannedScript scanned;
        detail::PendingFilter filter;
        for (int step = 0; step < 120; ++step) {
            const ETabulonTag tag = RandomTag(random);
            const unsigned int what = random() % 16;
            const Change change =
                what < 10
                    ? Change(tag, kIDs[random() % std::size(kIDs)], std::to_string(step).c_str())
                    : Change(what < 14 || !tag.IsRoot() ? (what % 2 != 0 ? kInsert : kDelete)
                                                        : kInsert,
                             tag);
            changes.AppendChange(change);
            scanned.Append(change);
            filter.Add(change);
            PTableau<Change> expected;
            for (const Change& e : scanned.script) {
                expected.Add(e);
            }
            ASSERT_EQ(Text(changes.Script()), Text(expected)) << round << " " << step;
            const ETabulonTag asked = RandomTag(random);
            const ETabulonVariableID& id = kIDs[random() % std::size(kIDs)];
            ASSERT_EQ(changes.GetFinalValue(asked, id, "old"), scanned.FinalValue(asked, id));
            ASSERT_EQ(changes.IsDeleted(asked), scanned.IsDeleted(asked));
            ASSERT_EQ(changes.IsModified(asked, id), scanned.IsModified(asked, id));
            Row row;
            Row scannedRow;
            const bool updated = scanned.UpdateFields(scannedRow.fields, asked);
            ASSERT_EQ(changes.UpdateFields(row.fields, asked), updated);
            ASSERT_EQ(changes.IsUpdated(asked), updated);
            ASSERT_TRUE(filter.Ask(asked).mayBeUpdated || !updated);
            ASSERT_TRUE(filter.Ask(asked).mayBeDeleted || !scanned.IsDeleted(asked));
            ASSERT_EQ(row.Text(), scannedRow.Text());
            const auto type = change.Type();
            ASSERT_EQ(Text(changes.ScriptUnder(type, asked)), Text(scanned.Under(type, asked)));
        }
    }
}

// Every allocation of an append fails once: the script is as before, or as after it.
TEST(ChangeScript, IsWholeWhereMemoryRunsOut) {
    if (!kAllocationsAreCounted) {
        GTEST_SKIP() << "allocations can't be made to fail here";
    }
    const std::vector<Change> appended = {
        Change(kInner, "a", "9"),  Change(kBranch, "a", "a text that takes memory"),
        Change(kBranch, "new", 1), Change(kInsert, TagOf({{2, "another level"}})),
        Change(kDelete, kBranch),  Change(kDelete, TagOf({{0, "FR"}, {1, "Lyon"}})),
        Change(kInsert, kOther)};
    for (const Change& change : appended) {
        bool passed = true;
        for (std::uint64_t allowed = 0; passed; ++allowed) {
            ETabulonPendingChanges changes;
            changes.AppendUpdate(kInner, "a", "1");
            changes.AppendInsert(TagOf({{0, "FR"}, {1, "Lyon"}}));
            changes.AppendUpdate(kOther, "b", "2");
            static_cast<void>(changes.IsDeleted(kOther));
            const PTableau<Change> shared = changes.Script();  // which the append has to leave
            const std::string before = Text(changes.ScriptCopy());
            passed = false;
            {
                const FailingAllocation failing(allowed);
                try {
                    changes.AppendChange(change);
                } catch (const std::bad_alloc&) {
                    passed = true;
                }
            }
            if (passed) {
                ASSERT_EQ(Text(changes.ScriptCopy()), before) << allowed;
            }
            changes.AppendChange(change);
            const std::string after = Text(changes.ScriptCopy());
            changes.AppendDelete(kBranch);
            changes.AppendDelete(kOther);
            EXPECT_EQ(Text(changes.Script(kUpdate)), "") << allowed << ": " << after;
            const bool isReset = [&] {
                const FailingAllocation failing(0);
                changes.Reset();
                return !failing.HasFailed();
            }();
            EXPECT_TRUE(isReset);
        }
    }
}

TEST(ChangeScript, GrowsWithoutScans) {
    constexpr int kChanges = 20000;
    const auto start = std::chrono::steady_clock::now();
    ETabulonPendingChanges changes;
    for (int pass = 0; pass < 2; ++pass) {
        for (int record = 0; record < kChanges / 2; ++record) {
            const ETabulonTag tag = TagOf({{0, record % 10}, {1, record}});
            changes.AppendUpdate(tag, "a", record + pass);
            changes.AppendInsert(tag);
            ASSERT_EQ(changes.GetFinalValue(tag, "a", EVariant()), EVariant(record + pass));
            ASSERT_FALSE(changes.IsDeleted(tag));
        }
    }
    EXPECT_EQ(changes.Size(), static_cast<unsigned int>(kChanges));
    changes.AppendDelete(ETabulonTag::Null);
    EXPECT_EQ(changes.Size(), 1U);
    // Scans take minutes; what is left leaves room for slow builds on busy machines.
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
}

TEST(ChangeScript, IsReadWhileAnotherThreadAppends) {
    ETabulonPendingChanges changes;
    std::jthread appending([&] {
        for (int step = 0; step < 2000; ++step) {
            const ETabulonTag tag = TagOf({{0, step % 7}, {1, step % 50}});
            changes.AppendUpdate(tag, "a", std::to_string(step).c_str());
            if (step % 5 == 0) {
                changes.AppendDelete(TagOf({{0, step % 7}}));
            }
        }
    });
    const ETabulonTag tag = TagOf({{0, 3}, {1, 3}});
    Row row;
    EVariant value;
    for (int step = 0; step < 500; ++step) {
        changes.GetFinalValueCopy(tag, "a", EVariant("old"), value);
        ASSERT_FALSE(value.IsMissing());
        static_cast<void>(changes.IsDeleted(tag));
        static_cast<void>(changes.UpdateFields(row.fields, tag));
        ASSERT_LE(changes.ScriptCopy().Size(), 350U);
    }
}

}  // namespace
}  // namespace etabulon::test
