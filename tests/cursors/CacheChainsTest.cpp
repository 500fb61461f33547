#include "CacheFixture.h"
#include "etabulon/cursors/ETabulonCursorPending.h"

namespace etabulon::test {
namespace {

class ChainedCache : public CachedSales {
protected:
    ChainedCache() { overlay.Init(source.Levels()); }
    static std::string Ids(OpenCache& shown) {
        std::string text;
        for (CursorStatus status = shown.CallReset(ETabulonTag::Null); status == StatusOk;
             status = shown.CallGetNext()) {
            text += (text.empty() ? "" : " ") + std::string(shown.Field("id").AsChaine().c_str());
        }
        return text;
    }
    static CursorStatus Append(OpenCache& to, int id, const char* city) {
        EFieldSet& fields = to.iFields();
        fields["id"] <<= EVariant(id);
        fields["country"] <<= EVariant("IT");
        fields["city"] <<= EVariant(city);
        return to.Append(to.Fields());
    }
    ETabulonPendingChanges changes;
    ETabulonCursorPending overlay{&source, &changes};
};

TEST_F(ChainedCache, TakesEditsOverAnOverlayAndOverACache) {
    changes.AppendInsert(At("IT", "Pisa"));
    OpenCache overOverlay(&overlay);
    OpenCache overCache(cache.get());
    for (OpenCache* outer : {&overOverlay, &overCache}) {
        static_cast<void>(Ids(*outer));
        EXPECT_EQ(Append(*outer, 6, "Rome"), StatusOk);
        EXPECT_EQ(Append(*outer, 7, "Bari"), StatusOk);
        EXPECT_EQ(Append(*outer, 8, "Rome"), static_cast<CursorStatus>(DataDuplicate));
    }
    EXPECT_EQ(Ids(overOverlay), "1 2 3 4 5  6 7");
    EXPECT_EQ(Ids(overCache), "1 2 3 4 5 6 7");
}

// A cache and an overlay before it tell of the record that their walk stands on.
TEST_F(ChainedCache, TakesTheTagOfTheFieldsWhereverTheWalksBeforeItStand) {
    changes.AppendInsert(At("IT", "Pisa"));
    changes.AppendInsert(At("IT", "Lucca"));
    OpenCache overOverlay(&overlay);
    ETabulonCursorRelay relay(cache.get());
    relay.Init(source.Levels());
    OpenCache overCache(&relay);
    const auto stopping = MakeRef<WalkTrace>();
    for (OpenCache* outer : {&overOverlay, &overCache}) {
        static_cast<void>(Ids(*outer));
        ETabulonCursor* const before = outer == &overOverlay ? &overlay : outer->Source();
        {
            const ECursorListening listening(*before, *stopping);
            stopping->AnswerAt("move", outer == &overOverlay ? 6 : 2, StatusEnd);
            EXPECT_EQ(before->Browse(ETabulonTag::Null), StatusOk);
        }
        EXPECT_EQ(Append(*outer, 6, "Rome"), StatusOk);
        EFieldSet& fields = outer->iFields();
        fields["id"] <<= EVariant(66);
        fields["amount"] <<= EVariant(6);
        EXPECT_EQ(outer->Update(outer->Fields()), StatusOk);
        EXPECT_EQ(outer->Save(), StatusOk);
        EXPECT_EQ(outer->Delete(At("IT", "Rome")), StatusOk);
        EXPECT_EQ(Stored(), "1:10 2:20 3:5 4:7 5:9 66:6");
        EXPECT_EQ(outer->Save(), StatusOk);
    }
}

TEST_F(ChainedCache, DeletesTheRightRecordWhereverTheTableStands) {
    OpenCache outer(&overlay);
    static_cast<void>(Ids(outer));
    EXPECT_EQ(outer.Delete(At("DE", "Bonn")), StatusOk);
    ASSERT_EQ(source.CallReset(ETabulonTag::Null), StatusOk);
    ASSERT_EQ(source.CallGetNext(), StatusOk);
    EXPECT_EQ(outer.Save(), StatusOk);
    EXPECT_EQ(Stored(), "1:10 2:20 3:5 5:9");
}

TEST_F(ChainedCache, RefusesToWriteARecordThatOnlyTheOverlayHas) {
    changes.AppendInsert(At("IT", "Pisa"));
    OpenCache outer(&overlay);
    for (const bool isDelete : {false, true}) {
        outer.ClearCache();
        static_cast<void>(Ids(outer));
        EXPECT_EQ(outer.Update(At("FR", "Lyon"), "amount", EVariant(21)), StatusOk);
        EXPECT_EQ(isDelete ? outer.Delete(At("IT")) : outer.Update(At("IT"), "id", EVariant(7)),
                  StatusOk);
        EXPECT_EQ(outer.Save(), static_cast<CursorStatus>(DataNoSuchPosition));
        EXPECT_EQ(Stored(), "1:10 2:21 3:5 4:7 5:9");
    }
}

}  // namespace
}  // namespace etabulon::test
