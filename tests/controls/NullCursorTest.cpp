#include "etabulon/controls/EDataTreeCtrl.h"
#include "etabulon/cross/ECrossFiller.h"
#include "etabulon/cursors/ETabulonCursorPending.h"
#include "etabulon/grid/ETabulonGridFiller.h"
#include "etabulon/pending/ETabulonPendingChanges.h"
#include "etabulon/score/ETabulonScoreFiller.h"
#include "etabulon/testing/EMemoryScreen.h"
#include "etabulon/tree/EDataTree.h"

#include <gtest/gtest.h>

namespace etabulon {
namespace {

#if defined(ETABULON_CHECKS)
TEST(NullCursor, EndsTheProcessWithTheExpectation) {
    EXPECT_DEATH(EDataTree(nullptr, "all", nullptr), "expected: cursor != nullptr");
    EXPECT_DEATH(static_cast<void>(ETabulonGridFiller::Make(nullptr, nullptr)),
                 "expected: cursor != nullptr");
    EXPECT_DEATH(static_cast<void>(ETabulonScoreFiller::Make(nullptr, nullptr)),
                 "expected: cursor != nullptr");
    EXPECT_DEATH(static_cast<void>(ECrossFiller::Make(nullptr, nullptr)),
                 "expected: cursor != nullptr");
    const ETabulonPendingChanges changes;
    EXPECT_DEATH(ETabulonCursorPending(nullptr, &changes), "expected: source_ != nullptr");
    EMemoryScreen screen;
    EDataTreeCtrl control(screen);
    EXPECT_DEATH(control.Init(nullptr, "all", nullptr), "cursor != nullptr");
}
#endif

}  // namespace
}  // namespace etabulon
