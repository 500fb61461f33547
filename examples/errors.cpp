// Failures and threads: what a failed read tells, who holds which reference, how a walk is
// cancelled, and how a thread gets the cursor for itself.

#include "Shop.h"
#include "etabulon/cursors/ECursorListener.h"
#include "etabulon/cursors/ECursorScopes.h"
#include "etabulon/foundation/ERef.h"
#include "etabulon/grid/ETabulonGridFiller.h"

#include <cstdio>
#include <future>
#include <thread>

using namespace etabulon;

/// The orders on a disk that fails after two records: the table has a status and a text for that.
class BadDisk : public EDataMemory {
public:
    explicit BadDisk(const EDataMemory& records) : EDataMemory(records) {}
    EPosition GetNext() override {
        return ++steps < 2 ? EDataMemory::GetNext() : LeaveRecord(DataOther);
    }
    [[nodiscard]] Chaine LastErrorText() const override {
        return status == DataOther ? "orders: the disk doesn't answer" : "";
    }
    int steps = 0;
};

/// Counts records. After the first one it waits until the other thread has cancelled the walk.
class Counter : public ECursorListener {
public:
    CursorStatus OnMove(const ETabulonCursor& /*cursor*/) override {
        if (++count == 1) {
            started.set_value();
            cancelled.get_future().wait();
        }
        return StatusOk;
    }
    std::promise<void> started;
    std::promise<void> cancelled;
    int count = 0;
};

static bool FailsWithItsText(const Shop& shop) {
    BadDisk table(*shop.table);
    ETabulonCursorEData cursor;
    cursor.Init(shop.levels, &table, /*ownsTable=*/false);
    const CursorStatus status = cursor.Browse(ETabulonTag::Null);
    if (status != StatusOk) {
        std::printf("%s (status %d)\n", table.LastErrorText().c_str(), status);
    }
    return status == static_cast<CursorStatus>(DataOther);
}

static void HoldReferences(Shop& shop) {
    // MakeRef and Make hand over the creator's reference, which ends with the ERef.
    const ERef<Counter> counter = MakeRef<Counter>();
    shop.cursor.AddNotifier(counter.Get());  // borrows; the cursor adds a reference of its own
    shop.cursor.RemNotifier(counter.Get());
    // Build returns a reference for its caller, who adopts it.
    const auto grid = ERef<ETabulonGridFiller>::Adopt(
        ETabulonGridFiller::Build(&shop.cursor, /*pending=*/nullptr));
    const ERef<ETabulonGridFiller> second = grid;  // a copy adds one
}

static bool CancelsFromAnotherThread(Shop& shop) {
    const auto counter = MakeRef<Counter>();
    const ECursorListening listening(shop.cursor, *counter);
    CursorStatus status = StatusOk;
    std::thread worker([&shop, &status] {
        const ECursorLocking locking(shop.cursor);  // for the whole walk
        status = shop.cursor.Browse(ETabulonTag::Null);
    });
    counter->started.get_future().wait();
    shop.cursor.Cancel();  // any thread may do this; the walk ends at its next step
    counter->cancelled.set_value();
    {
        // Cancels a walk too, and waits until it has given the lock back.
        const ECursorExclusive exclusive(shop.cursor);
        std::printf("%d of %zu records\n", counter->count, shop.table->Count());
    }
    worker.join();
    return status == StatusCancelled && counter->count == 1;
}

int main() {
    Shop shop;
    HoldReferences(shop);
    return FailsWithItsText(shop) && CancelsFromAnotherThread(shop) ? 0 : 1;
}
