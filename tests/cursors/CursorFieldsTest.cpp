#include "etabulon/cursors/ECursorListener.h"
#include "etabulon/cursors/ECursorScopes.h"
#include "support/AllocationCount.h"
#include "support/ScriptCursor.h"
#include "support/Tags.h"
#include "support/WalkTrace.h"

#include <gtest/gtest.h>

#include <cstring>
#include <thread>

namespace etabulon::test {
namespace {
std::string TagAfter(const ScriptCursor& cursor, CursorStatus step) {
    EXPECT_EQ(step, StatusOk);
    return cursor.CurrentTag().DisplayID().c_str();
}

TEST(CurrentRecord, BuildsTagAndKeyOnceWhenAskedAndTheTagAgainAfterAWrite) {
    ScriptCursor cursor{{"country", "city"}, {{"FR", "Lyon"}, {"DE", "Ulm"}}};
    EXPECT_TRUE(cursor.CurrentTag().IsRoot());
    EXPECT_FALSE(cursor.PrimaryKey().IsSet());
    EXPECT_EQ(cursor.CallReset(ETabulonTag::Null), StatusOk);
    EXPECT_EQ(cursor.tagsBuilt + cursor.keysBuilt, 0);
    for (int again = 0; again < 2; ++again) {
        EXPECT_EQ(cursor.CurrentTag().DisplayID(), Chaine("[FR, Lyon]"));
        EXPECT_EQ(cursor.PrimaryKey().Position(), 0);
        static_cast<void>(cursor.Field("city"));
        static_cast<void>(cursor.Fields());
        EXPECT_EQ(cursor.tagsBuilt, 1);
        EXPECT_EQ(cursor.keysBuilt, 1);
    }
    EXPECT_EQ(cursor.CallGetNext(), StatusOk);
    EXPECT_EQ(cursor.PrimaryKey().Position(), 1);
    EXPECT_EQ(cursor.CurrentTag().DisplayID(), Chaine("[DE, Ulm]"));
    EXPECT_EQ(cursor.tagsBuilt, 2);
    cursor.iField("city") <<= "Bonn";
    EXPECT_EQ(cursor.CurrentTag().DisplayID(), Chaine("[DE, Bonn]"));
}

TEST(LevelValue, HasTheTextOfItsLabelAndTheDataOfItsVariable) {
    ScriptCursor cursor{{"code", "name"}, {{"FR", "France"}, {"DE", ""}, {EVariant(), "None"}}};
    const ETabulonLevels levels = LevelsBy({"code/name", "code/", "code/unknown", "unknown/name"});
    cursor.Init(levels);
    const char* const shown[] = {"[France, FR, FR, ]", "[DE, DE, DE, ]", "[, , , ]"};
    CursorStatus status = cursor.CallReset(ETabulonTag::Null);
    for (const char* tag : shown) {
        ASSERT_EQ(status, StatusOk);
        EXPECT_EQ(cursor.CurrentTag().DisplayID(), Chaine(tag));
        EXPECT_EQ(cursor.CurrentTag().Value(0).Data(), cursor.Field("code"));
        for (unsigned int level = 0; level < levels.Size(); ++level) {
            const ETabulonLevels::Level& told = levels.GetLevel(level);
            const ETabulonValue value = cursor.Value(told.DataID(), told.DescID());
            EXPECT_EQ(value, cursor.CurrentTag().Value(level));
            EXPECT_EQ(value.DisplayValue(), cursor.CurrentTag().Value(level).DisplayValue());
            EXPECT_FALSE(value.IsModified());
        }
        status = cursor.CallGetNext();
    }
    EXPECT_EQ(status, StatusEnd);
}

TEST(LevelValue, FollowsNewLevelsAndNewFields) {
    ScriptCursor cursor{{"code", "name"}, {{"FR", "France"}}};
    EXPECT_EQ(TagAfter(cursor, cursor.CallReset(ETabulonTag::Null)), "[FR, France]");
    ETabulonLevels levels = LevelsBy({"name", "extra"});
    cursor.Init(levels);
    EXPECT_EQ(TagAfter(cursor, cursor.CallReset(ETabulonTag::Null)), "[France, ]");
    std::int32_t extra = 12;
    cursor.DeclareExtraField("extra", TYPE_LONG, 4, &extra, "");
    EXPECT_EQ(TagAfter(cursor, cursor.CallReset(ETabulonTag::Null)), "[France, 12]");
    // The levels are the cursor's own: nothing is left to part when either side is looked into.
    cursor.Init(levels);
    const AllocationCount count;
    static_cast<void>(levels.GetLevel(0));
    EXPECT_EQ(count.Taken(), 0U);
    levels.AddLevel("", "code", nullptr, /*addRef=*/false);
    EXPECT_EQ(cursor.Levels().Size(), 2U);
}

TEST(ExtraField, ViewsTheMemoryGivenAndIsFoundByNumberOrName) {
    ScriptCursor cursor{{"city"}, {{"Lyon"}}};
    std::int32_t number = 12;
    double amount = 2.5;
    const EField& named = cursor.DeclareExtraField("people", TYPE_LONG, 4, &number, "People");
    EXPECT_EQ(named.Name(), Chaine("people"));
    EXPECT_EQ(named.Infos().Header(), Chaine("People"));
    EXPECT_EQ(named.Infos().Accelerator(), 0U);
    EXPECT_EQ(dynamic_cast<const EFInfosHandlerLocal&>(named.Infos()).GetOffset(), 8);
    EXPECT_EQ(cursor.DeclareExtraField(40UL, TYPE_DOUBLE, 8, &amount, "").AsDouble(), 2.5);
    number = 13;
    EXPECT_EQ(cursor.Field("PEOPLE").AsInt64(), 13);
    cursor.iField(40UL) <<= 3;
    EXPECT_EQ(amount, 3.0);
    const auto exists = [&](const ETabulonVariableID& id) { return id.ExistsIn(cursor.Fields()); };
    EXPECT_TRUE(exists(40UL) && exists("people"));
    EXPECT_FALSE(exists(41UL) || exists("ghost"));
    EXPECT_TRUE(cursor.Field("ghost").IsMissing());
}

TEST(ExtraField, ThatExistsIsLeftAsItIs) {
    ScriptCursor cursor{{"city"}, {{"Lyon"}}};
    std::int32_t number = 12, other = 13;
    cursor.DeclareExtraField(40UL, TYPE_LONG, 4, &number, "");
    EXPECT_EQ(cursor.CallReset(ETabulonTag::Null), StatusOk);
    EXPECT_FALSE(cursor.FieldsDirty());
    static_cast<void>(cursor.TakeSteps());
    for (const ETabulonVariableID& id : {ETabulonVariableID(40UL), ETabulonVariableID(" 40")}) {
        EXPECT_EQ(cursor.DeclareExtraField(id, TYPE_LONG, 4, &other, "").AsInt64(), 12);
    }
    EXPECT_EQ(cursor.DeclareExtraField("CITY", TYPE_LONG, 4, &other, "").Type(), TYPE_CHAINE);
    EXPECT_FALSE(cursor.FieldsDirty());
    EXPECT_EQ(cursor.CallReset(ETabulonTag::Null), StatusOk);
    EXPECT_EQ(cursor.TakeSteps(), "reset calc accept");
    cursor.DeclareExtraField("new", TYPE_LONG, 4, &other, "");
    EXPECT_TRUE(cursor.FieldsDirty());
    EXPECT_EQ(cursor.CallReset(ETabulonTag::Null), StatusOk);
    EXPECT_EQ(cursor.TakeSteps(), "prepare reset calc accept");
}

TEST(DeclaredFields, AreAskedForByInitWhileNothingIsPrepared) {
    ScriptCursor cursor{{"city"}, {{"Lyon"}}};
    EXPECT_EQ(cursor.TakeSteps(), "declare");
    EXPECT_EQ(cursor.CallReset(ETabulonTag::Null), StatusOk);
    EXPECT_EQ(cursor.TakeSteps(), "prepare reset calc accept");
    // Nothing is dirty once they are.
    cursor.Init(cursor.Levels());
    EXPECT_EQ(cursor.TakeSteps(), "");
    EXPECT_EQ(cursor.Levels().Size(), 1U);
    const EFieldSet fields = cursor.Fields();
    cursor.ResetDeclaredFields();
    cursor.Init(cursor.Levels());
    EXPECT_EQ(cursor.TakeSteps(), "declare");
    cursor.ResetDeclaredFields();
    std::int32_t number = 12;
    cursor.DeclareExtraField("only", TYPE_LONG, 4, &number, "");
    EXPECT_EQ(cursor.Fields().Size(), 1U);
    cursor.ResetDeclaredFields();
    cursor.DeclareMasterFields(fields);
    EXPECT_EQ(cursor.Fields().ShapeNumber(), fields.ShapeNumber());
}

std::int32_t References(ETabulonCursor::INotifier& notifier) {
    notifier.AddRef();
    return notifier.Release();
}

class Listeners : public ::testing::Test {
protected:
    ~Listeners() override {
        for (const auto& listener : {a, b, c}) {
            cursor.RemNotifier(listener.Get());
        }
    }
    /// What is heard in one walk.
    std::string Walk() {
        EXPECT_EQ(cursor.Browse(ETabulonTag::Null), StatusOk);
        return a->Take();
    }

    std::string log;
    ERef<WalkTrace> a = MakeRef<WalkTrace>("a", log);
    ERef<WalkTrace> b = MakeRef<WalkTrace>("b", log);
    ERef<WalkTrace> c = MakeRef<WalkTrace>("c", log);
    ScriptCursor cursor{{"city"}, {{"1"}, {"2"}}};
};

TEST_F(Listeners, AreCalledOnceForEachEntryAndRemovedAtOnce) {
    cursor.AddNotifier(a.Get());
    cursor.AddNotifier(b.Get());
    cursor.AddNotifier(a.Get());
    EXPECT_EQ(References(*a), 3);
    EXPECT_EQ(Walk(), "a:reset [] | b:reset [] | a:reset [] | a:1 | b:1 | a:1 | a:2 | b:2 | a:2");
    cursor.RemNotifier(a.Get());
    EXPECT_EQ(References(*a), 1);
    EXPECT_EQ(cursor.Notifiers().Size(), 1U);
    EXPECT_EQ(References(*b), 2);
}

TEST_F(Listeners, MayBeTakenOverFromAnyArrayTheOwnIncluded) {
    PTableau<ETabulonCursor::INotifier*> both;
    both.Add(a.Get());
    both.Add(b.Get());
    cursor.AddNotifiers(both);
    cursor.AddNotifiers(cursor.Notifiers());
    EXPECT_EQ(cursor.Notifiers().Size(), 4U);
    EXPECT_EQ(References(*b), 3);
    cursor.RemNotifiers(both);
    EXPECT_EQ(cursor.Notifiers().Size(), 0U);
    cursor.AddNotifiers(both);
    cursor.RemNotifiers(cursor.Notifiers());
    EXPECT_EQ(cursor.Notifiers().Size(), 0U);
    EXPECT_EQ(References(*a), 1);
    EXPECT_EQ(References(*b), 1);
}

TEST_F(Listeners, AddedInARoundAreReachedInIt) {
    cursor.AddNotifier(a.Get());
    a->At("move", 1, [this] {
        cursor.AddNotifier(b.Get());
        return StatusOk;
    });
    EXPECT_EQ(Walk(), "a:reset [] | a:1 | b:1 | a:2 | b:2");
}

TEST_F(Listeners, RemovedBeforeTheirTurnAreNotCalledAndThoseThatMoveUpArePassedOver) {
    for (const auto& listener : {a, b, c}) {
        cursor.AddNotifier(listener.Get());
    }
    const auto remove = [this](const ERef<WalkTrace>& listener) {
        return [this, removed = listener.Get()] {
            cursor.RemNotifier(removed);
            return StatusOk;
        };
    };
    a->At("reset", 1, remove(b));
    a->At("move", 1, remove(a));
    EXPECT_EQ(Walk(), "a:reset [] | c:reset [] | a:1 | c:2");
}

TEST(LastReference, MayGoInTheListenersOwnCall) {
    using Case = std::pair<const char*, CursorStatus>;  // an event, and the reset that leads to it
    const std::int64_t before = ECountedUnknown::LiveObjects();
    for (const auto& [event, reset] :
         {Case{"reset", StatusOk}, Case{"move", StatusOk}, Case{"done", StatusEnd},
          Case{"error", static_cast<CursorStatus>(5)}, Case{"cancel", StatusCancelled}}) {
        ScriptCursor cursor{{"city"}, {{"1"}}};
        auto listener = MakeRef<WalkTrace>();
        cursor.AddNotifier(listener.Get());
        cursor.GiveAt("reset", 1, reset);
        listener->At(event, 1, [&cursor, borrowed = listener.Get()] {
            cursor.RemNotifier(borrowed);
            return StatusOk;
        });
        listener = nullptr;
        cursor.Browse(ETabulonTag::Null);
        EXPECT_EQ(cursor.Notifiers().Size(), 0U) << event;
        EXPECT_EQ(ECountedUnknown::LiveObjects(), before) << event;
    }
}

TEST(CursorThatGoes, ReleasesItsListeners) {
    const auto listener = MakeRef<WalkTrace>();
    {
        ScriptCursor cursor{{"city"}, {}};
        cursor.AddNotifier(listener.Get());
        cursor.AddNotifier(listener.Get());
        {
            const ECursorListening listening(cursor, *listener);
            EXPECT_EQ(References(*listener), 4);
        }
        // Listening ends for all entries of a listener.
        EXPECT_EQ(References(*listener), 1);
        cursor.AddNotifier(listener.Get());
    }
    EXPECT_EQ(References(*listener), 1);
}

TEST(CursorLock, InTryModeBlocksUntilItIsFree) {
    ScriptCursor cursor{{"city"}, {}};
    std::string order;  // guarded by the lock of the cursor
    ASSERT_TRUE(cursor.CursorLock(true));
    std::thread other([&] {
        EXPECT_TRUE(cursor.CursorLock(/*wait=*/false));
        order += "other ";
        cursor.CursorUnlock();
    });
    std::this_thread::yield();
    order += "first ";
    cursor.CursorUnlock();
    other.join();
    EXPECT_EQ(order, "first other ");
}

TEST(ExclusiveCursor, IsCancelledAndLockedForTheScope) {
    ScriptCursor cursor{{"city"}, {}};
    {
        const ECursorExclusive exclusive(cursor);
        EXPECT_TRUE(cursor.IsCancelled());
        EXPECT_TRUE(cursor.CursorLock(true));  // again by the same thread
        cursor.CursorUnlock();
    }
    EXPECT_TRUE(cursor.IsCancelled());
    std::thread([&cursor] {
        EXPECT_TRUE(cursor.CursorLock(false));
        cursor.CursorUnlock();
    }).join();
}

}  // namespace
}  // namespace etabulon::test
