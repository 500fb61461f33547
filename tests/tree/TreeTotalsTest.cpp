#include "TreeFixture.h"
#include "etabulon/cumul/ETabulonCumulBufferOnVar.h"
#include "etabulon/cumul/ETabulonCumulBufferOnVarCollection.h"
#include "etabulon/cumul/ETabulonTypeNumeric.h"
#include "etabulon/tree/ETreeTotals.h"

#include <random>

namespace etabulon::test {
namespace {

constexpr const char* kCodes[] = {"COUNT",     "SUM",     "AVG",      "MEAN",
                                  "MIN",       "HIGHEST", "DISTINCT", "MEDIAN",
                                  "COMMONVAL", "LAST",    "FIRST",    "CODEHIGHEST"};
constexpr unsigned int kUnordered = 9;  // of these don't go by the order of records

std::string Shown(const ETabulonValue& value) {
    return value.IsNull() ? "-" : value.IsSpecial() ? "?" : value.DisplayText().c_str();
}

/// Sales with totals for each node of a tree on them.
struct SalesTotals : Sales {
    SalesTotals() {
        for (const char* const code : kCodes) {
            calculations.AddCalculation(code, ETabulonVariableID("amount"), TYPE_DOUBLE, 9, "");
        }
        EXPECT_TRUE(totals->SetCalculations(calculations));
        cursor.AddNotifier(totals.Get());
    }
    ~SalesTotals() { cursor.RemNotifier(totals.Get()); }

    [[nodiscard]] unsigned int Visible() const {
        return static_cast<unsigned int>(tree.SortDesc()->VisibleLevels(kInTree).size());
    }
    /// "COUNT SUM ..." of the node, the first `count` of them.
    [[nodiscard]] std::string Of(const ETabulonTag& tag, unsigned int count) const {
        std::string text;
        for (unsigned int index = 0; index < count; ++index) {
            ETabulonValue value;
            totals->ReadResult(tag, index, value);
            text += (text.empty() ? "" : " ") + Shown(value);
        }
        return text;
    }
    /// Visits the records at the tag one by one.
    void ForEachAt(const ETabulonTag& tag, std::function<void(const ETabulonCursor&)> visit) {
        struct Listener : ETabulonCursor::INotifier, virtual ECountedUnknown {
            CursorStatus OnReset(const ETabulonTag&, const ETabulonCursor&) override {
                return StatusOk;
            }
            CursorStatus OnMove(const ETabulonCursor& at) override {
                visit(at);
                return StatusOk;
            }
            void OnDone(const ETabulonCursor&) override {}
            void OnCancel(const ETabulonCursor&) override {}
            void OnError(const ETabulonCursor&, CursorStatus) override {}
            std::function<void(const ETabulonCursor&)> visit;
        };
        const auto listener = MakeRef<Listener>();
        listener->visit = std::move(visit);
        EDataMemory other(*table);
        ETabulonCursorEData walk;
        walk.Init(levels, &other, /*ownsTable=*/false);
        walk.AddNotifier(listener.Get());
        EXPECT_EQ(walk.Browse(tag), StatusOk);
        walk.RemNotifier(listener.Get());
    }
    /// The same by a walk of the records at the tag.
    [[nodiscard]] std::string Walked(const ETabulonTag& tag, unsigned int count) {
        const auto buffers = ERef<ETabulonCumulBufferOnVarCollection>::Adopt(
            dynamic_cast<ETabulonCumulBufferOnVarCollection*>(calculations.Start()));
        ETabulonExtractValue extract;
        extract.Init(&calculations, nullptr);
        ForEachAt(tag, [&](const ETabulonCursor& at) {
            extract.ViewCurrent(at);
            buffers->AddValue(extract);
        });
        std::string text;
        for (unsigned int index = 0; index < count; ++index) {
            const auto buffer = ERef<ETabulonCumulBufferOnVar>::Adopt(buffers->Calculation(index));
            text += (text.empty() ? "" : " ") + Shown(buffer->Result());
        }
        return text;
    }
    void ExpectWalked(const EDataTreeNode& node, unsigned int count) {
        ASSERT_EQ(Of(node.Tag(), count), Walked(node.Tag(), count)) << Text(tree);
        for (unsigned int index = 0; index < node.Size(); ++index) {
            ExpectWalked(*node.Get(index), count);
        }
    }

    EDataTree tree{&cursor, "sales", nullptr};
    ETabulonCumulFuncOnVarCollection calculations;
    ERef<ETreeTotals> totals = ETreeTotals::Make(tree.SortDesc(), nullptr);
};

struct SomeSales {
    explicit SomeSales(unsigned int seed) : random(seed) {}
    [[nodiscard]] unsigned int Below(unsigned int bound) {
        return static_cast<unsigned int>(random() % bound);
    }
    void Append(EDataMemory& table, int id) {
        const char* const kNames[] = {"FR", "fr", "DE", ""};
        table.Append({id, kNames[Below(4)], Below(5) == 0 ? Missing() : EVariant(kNames[Below(3)]),
                      Below(6) == 0 ? Missing() : EVariant(2020 + static_cast<int>(Below(4))),
                      Below(4) == 0 ? Missing() : EVariant::FromDouble(Below(9) / 4.0)});
    }
    std::mt19937 random;
};

/// Deletes and adds records in one branch, and refreshes it.
void ChangeBranch(SalesTotals& sales, SomeSales& some, int& nextID) {
    const EDataTreeNode* node = sales.tree.Root();
    while (node->Size() != 0 && some.Below(3) != 0) {
        node = node->Get(some.Below(node->Size()));
    }
    const ETabulonTag tag = node->Tag();
    std::vector<int> gone;
    sales.ForEachAt(tag, [&](const ETabulonCursor& at) {
        if (some.Below(2) == 0) {
            gone.push_back(static_cast<int>(at.Field(ETabulonVariableID("id")).AsInt64()));
        }
    });
    sales.Delete(gone);
    if (tag.IsRoot()) {
        some.Append(*sales.table, nextID++);
    }
    EXPECT_EQ(sales.tree.Refresh(tag), StatusOk);
}

/// What a user does. Returns whether the tree is filled afterwards.
bool DoSomething(SalesTotals& sales, SomeSales& some, int& nextID, unsigned int& compared) {
    switch (some.Below(4)) {
        case 0:
            return !sales.tree.SetHideLevelFlags(
                some.Below(3), some.Below(2) == 0 ? kInTree : ETabulonSortDesc::HideFlag{});
        case 1:
            ChangeBranch(sales, some, nextID);
            compared = kUnordered;
            break;
        case 2:
            sales.meddler.act =
                AtRecord(1 + static_cast<int>(some.Below(20)), [&sales] { sales.cursor.Cancel(); });
            static_cast<void>(sales.tree.Refresh());
            break;
        default:
            if (const unsigned int shown = sales.Visible(); shown != 0) {
                static_cast<void>(sales.tree.MoveSortLevel(some.Below(shown), some.Below(shown)));
            }
            break;
    }
    return true;
}

// Neither a move nor a cancelled refresh changes them; a change of hidden levels asks for a fill. A
// refresh of a branch is a walk of its own: results that go by the order of records in one walk are
// compared until there is one.
TEST(TreeTotals, AreThoseOfAWalkOfEachNode) {
    for (unsigned int seed = 0; seed < 60; ++seed) {
        SalesTotals sales;
        SomeSales some(seed);
        int nextID = 100;
        sales.Delete({1, 2, 3, 4, 5});
        for (unsigned int count = some.Below(60); count != 0; --count) {
            some.Append(*sales.table, nextID++);
        }
        sales.tree.SetSortLevels(InOrder({0, 1, 2}));
        bool isFilled = false;
        unsigned int compared = 0;
        for (int step = 0; step < 12; ++step) {
            sales.meddler.act = some.Below(2) == 0 ? EndAt(1000, StatusOk) : RecordAction();
            if (isFilled) {
                isFilled = DoSomething(sales, some, nextID, compared);
            } else {
                ASSERT_EQ(sales.tree.Fill(), StatusOk);
                isFilled = true;
                compared = sales.calculations.Size();
            }
            if (isFilled) {
                SCOPED_TRACE("seed " + std::to_string(seed) + " step " + std::to_string(step));
                ASSERT_NO_FATAL_FAILURE(sales.ExpectWalked(*sales.tree.Root(), compared));
            }
        }
    }
}

}  // namespace
}  // namespace etabulon::test
