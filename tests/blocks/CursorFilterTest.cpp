#include "DatedOrders.h"
#include "etabulon/cursors/ECursorScopes.h"
#include "etabulon/cursors/EFilter.h"
#include "etabulon/cursors/ETabulonCursorPending.h"

#include <optional>

namespace etabulon::test {
namespace {

using Truth = std::optional<bool>;
using Expected = std::function<Truth(const ETabulonCursor&)>;

/// The records that a filter accepts, as they come alone or in blocks; without a filter, those for
/// which `expected` is true.
class Accepted final : public EBlockListener {
public:
    explicit Accepted(bool wantsBlocks, Expected expected = {})
        : wantsBlocks_(wantsBlocks), expected_(std::move(expected)) {}

    std::vector<std::int64_t> ids;
    std::size_t blocks = 0;

    CursorStatus OnMove(const ETabulonCursor& cursor) override {
        if (expected_ == nullptr || expected_(cursor) == Truth(true)) {
            ids.push_back(cursor.Field("id").AsInt64());
        }
        return StatusOk;
    }
    bool WantBlocks(const ETabulonCursor& cursor, EBlockRequest& request) override {
        column_ = request.AddValues(cursor.Field("id"));
        return wantsBlocks_;
    }
    CursorStatus OnBlock(const ETabulonCursor& /*cursor*/, const ERecordBlock& block,
                         std::span<const EBlockIndex> selected) override {
        EXPECT_FALSE(selected.empty());
        for (const EBlockIndex record : selected) {
            ids.push_back(block.Value(column_, record).AsInt64());
        }
        ++blocks;
        return StatusOk;
    }

private:
    bool wantsBlocks_;
    unsigned int column_ = 0;
    Expected expected_;
};

/// A random filter, and what it must say of a record.
struct Asked {
    EFilter filter;
    Expected expected;
};

class RandomFilters {
public:
    explicit RandomFilters(ETabulonCursorEData& cursor) : cursor_(cursor) {
        // Values to compare with are those of some records, missing ones too.
        for (const char* const name : kNames) {
            pools_.emplace_back();
            Accepted walk(false, [this, name, at = 0](const ETabulonCursor& on) mutable {
                if (at++ % 37 == 0) {
                    pools_.back().emplace_back(on.Field(name));
                }
                return Truth(false);
            });
            const ECursorListening listening(cursor_, walk);
            EXPECT_EQ(cursor_.Browse(ETabulonTag::Null), StatusOk);
        }
    }

    Asked Make(int depth) {
        if (depth == 0 || Below(4) == 0) {
            return MakeTest();
        }
        if (Below(5) == 0) {
            const Asked one = Make(depth - 1);
            return {EFilter::Not(one.filter), [one](const ETabulonCursor& on) {
                        const Truth truth = one.expected(on);
                        return truth ? Truth(!*truth) : truth;
                    }};
        }
        const bool isAll = Below(2) == 0;
        const std::vector<Asked> parts = {Make(depth - 1), Make(depth - 1), Make(0)};
        const std::vector<EFilter> filters = {parts[0].filter, parts[1].filter, parts[2].filter};
        return {isAll ? EFilter::All(filters) : EFilter::Any(filters),
                [parts, isAll](const ETabulonCursor& on) {
                    Truth joined = isAll;
                    for (const Asked& part : parts) {
                        const Truth each = part.expected(on);
                        joined = joined == Truth(!isAll) || each == Truth(isAll) ? joined : each;
                    }
                    return joined;
                }};
    }

private:
    static constexpr std::array kNames = {
        "id", "day", "amount", "customer", "by>name", "by>name.letter", "day.year", "by>born"};

    std::size_t Below(std::size_t limit) { return random_() % limit; }
    EVariant Value(std::size_t pool) { return pools_[pool][Below(pools_[pool].size())]; }

    Asked MakeTest() {
        const std::size_t pool = Below(kNames.size());
        const ETabulonVariableID id(kNames[pool]);
        const EVariant a = Below(6) == 0 ? EVariant::FromDouble(1992.5) : Value(pool);
        const EVariant b = Value(pool);
        const auto on = [id](auto judge) -> Expected {
            return [id, judge](const ETabulonCursor& cursor) {
                const EVariant& value = cursor.Field(id);
                return value.IsMissing() ? Truth() : judge(value);
            };
        };
        switch (Below(5)) {
            case 0:
                return {EFilter::IsMissing(id), [id](const ETabulonCursor& cursor) {
                            return Truth(cursor.Field(id).IsMissing());
                        }};
            case 1:
                return {EFilter::In(id, {a, b}), on([a, b](const EVariant& value) {
                            const bool is =
                                (!a.IsMissing() && value == a) || (!b.IsMissing() && value == b);
                            return is || !(a.IsMissing() || b.IsMissing()) ? Truth(is) : Truth();
                        })};
            case 2: {
                const Chaine text = pool == 4 || pool == 5 ? Chaine("\xC3\x89") : Chaine("1");
                return {EFilter::BeginsWith(id, text), on([text](const EVariant& value) {
                            return Truth(value.AsChaine().View().starts_with(text.View()));
                        })};
            }
            case 3:
                return {EFilter::Contains(id, "9"), on([](const EVariant& value) {
                            return Truth(value.AsChaine().View().find('9') != std::string::npos);
                        })};
            default: {
                const auto test = static_cast<EFilter::Test>(2 + Below(6));
                return {EFilter::Compare(id, test, a), on([a, test](const EVariant& value) {
                            const int order = EVariant::Compare(value, a);
                            const bool is[] = {order == 0, order != 0,
                                               order<0, order <= 0, order> 0, order >= 0};
                            return a.IsMissing() ? Truth() : Truth(is[static_cast<int>(test) - 2]);
                        })};
            }
        }
    }

    ETabulonCursorEData& cursor_;
    std::vector<std::vector<EVariant>> pools_;
    std::mt19937 random_{7};
};

std::vector<std::int64_t> Walk(ETabulonCursor& cursor, Accepted& accepted, bool byBlocks) {
    const BlocksEnabled enabled(byBlocks);
    const ECursorListening listening(cursor, accepted);
    EXPECT_EQ(cursor.Browse(ETabulonTag::Null), StatusOk);
    return accepted.ids;
}

/// The same records in blocks, singly, and by what the filter means of the values shown.
void ExpectFilters(ETabulonCursor& cursor, RandomFilters& filters, int count) {
    std::size_t met = 0;
    std::size_t blocks = 0;
    for (int turn = 0; turn < count; ++turn) {
        const Asked asked = filters.Make(turn % 4);
        cursor.SetFilter(EFilter());
        Accepted expected(false, asked.expected);
        const std::vector<std::int64_t> wanted = Walk(cursor, expected, false);
        cursor.SetFilter(asked.filter);
        Accepted singly(false);
        EXPECT_EQ(Walk(cursor, singly, false), wanted) << turn;
        Accepted inBlocks(true);
        EXPECT_EQ(Walk(cursor, inBlocks, true), wanted) << turn;
        met += wanted.size();
        blocks += inBlocks.blocks;
    }
    EXPECT_GT(met, 0U);
    EXPECT_GT(blocks, 0U);
}

TEST(CursorFilter, AcceptsTheRecordsThatItMeans) {
    DatedOrders data;
    ETabulonCursorEData cursor;
    data.Init(cursor);
    RandomFilters filters(cursor);
    ExpectFilters(cursor, filters, 200);
}

TEST(CursorFilter, TestsTheEditedValues) {
    DatedOrders data;
    ETabulonCursorEData cursor;
    data.Init(cursor);
    RandomFilters filters(cursor);
    ETabulonPendingChanges changes;
    ETabulonTag place;
    const auto at = [&place](unsigned int level, const EVariant& value) -> const ETabulonTag& {
        place = ETabulonTag();
        place.SetValue(level, ETabulonValue(value, "", /*modified=*/false));
        return place;
    };
    changes.AppendUpdate(at(0, 1991), "amount", EVariant(77.5));
    changes.AppendUpdate(at(3, "\xC3\x85"), "day", DatedOrders::DayOf(8, false));
    changes.AppendDelete(at(0, 1996));
    changes.AppendInsert(at(0, 1990));
    ETabulonCursorPending overlay(&cursor, &changes);
    overlay.Init(cursor.Levels());
    overlay.ShowInsertsByTheirFields();
    ExpectFilters(overlay, filters, 60);
}

TEST(CursorFilter, FindsAVariableBehindALinkThatNothingElseReads) {
    DatedOrders data;
    ETabulonCursorEData cursor;
    cursor.Init(LevelsBy({"id"}), data.table.get(), /*ownsTable=*/false);
    Accepted all(true);
    EXPECT_EQ(Walk(cursor, all, true).size(), std::size_t{DatedOrders::kRecords});
    cursor.SetFilter(EFilter::Compare("by>name", EFilter::Test::Equal, "\xC3\x89va"));
    Accepted some(true);
    const std::vector<std::int64_t> ids = Walk(cursor, some, true);
    EXPECT_EQ(ids.size(), 2088U);
    EXPECT_GT(some.blocks, 0U);
    cursor.SetFilter(EFilter::Compare("nothing", EFilter::Test::Equal, 1));
    Accepted none(true);
    EXPECT_EQ(Walk(cursor, none, true).size(), 0U);
    EXPECT_EQ(cursor.FindUnresolved(cursor.Filter().Variables()).size(), 1U);
}

TEST(CursorFilter, OfARelayComesOnTopOfItsSources) {
    DatedOrders data;
    ETabulonCursorEData cursor;
    cursor.Init(LevelsBy({"id"}), data.table.get(), /*ownsTable=*/false);
    cursor.SetFilter(EFilter::Compare("customer", EFilter::Test::Equal, 3));
    Accepted some(true);
    EXPECT_EQ(Walk(cursor, some, true).size(), 131U);
    const ETabulonPendingChanges changes;
    ETabulonCursorPending overlay(&cursor, &changes);
    ETabulonCursorRelay plain(&cursor);
    for (ETabulonCursorRelay* const relay : {static_cast<ETabulonCursorRelay*>(&overlay), &plain}) {
        relay->Init(cursor.Levels());
        relay->SetFilter(EFilter::Compare("id", EFilter::Test::Below, 100));
        Accepted few(true);
        EXPECT_EQ(Walk(*relay, few, true), (std::vector<std::int64_t>{3, 26, 49, 72, 95}));
    }
}

}  // namespace
}  // namespace etabulon::test
