// Results in parts: the orders of each country are folded by themselves, in a thread each, and the
// states are merged, as if one walk had met all records.

#include "Shop.h"
#include "etabulon/cumul/CumulPartial.h"
#include "etabulon/cumul/ETabulonCumulFuncOnVarCollection.h"
#include "etabulon/cursors/ECursorListener.h"
#include "etabulon/values/ETabulonExtractValue.h"

#include <cstdio>
#include <thread>

using namespace etabulon;

/// Folds the records of a walk into one state.
class Folded : public ECursorListener {
public:
    explicit Folded(const ETabulonCumulFuncOnVarCollection& calculations) : state(calculations) {
        record_.Init(&calculations, /*pending=*/nullptr);
    }
    CursorStatus OnMove(const ETabulonCursor& cursor) override {
        record_.ViewCurrent(cursor);
        state.AddValue(record_);
        return StatusOk;
    }

    CumulPartial state;

private:
    ETabulonExtractValue record_;
};

/// A thread has a cursor, calculations and a state of its own.
class Part {
public:
    explicit Part(const char* country) : country_(country) {
        calculations_.AddCalculation("MEAN", "amount", TYPE_DOUBLE, 9, "Amount");
        calculations_.AddCalculation("MEDIAN", "amount", TYPE_DOUBLE, 9, "Amount");
        folded_ = MakeRef<Folded>(calculations_);
    }
    void Walk() {
        const ECursorListening listening(shop_.cursor, *folded_);
        status = shop_.cursor.Browse(ETabulonTag{{kCountry, country_}});
    }
    [[nodiscard]] CumulPartial& State() { return folded_->state; }

    CursorStatus status = StatusOk;

private:
    const char* country_;
    Shop shop_;
    ETabulonCumulFuncOnVarCollection calculations_;
    ERef<Folded> folded_;
};

int main() {
    Part austria("Austria");
    Part france("France");
    std::thread other([&france] { france.Walk(); });
    austria.Walk();
    other.join();
    if (austria.status != StatusOk || france.status != StatusOk) {
        return 1;
    }
    austria.State().Merge(france.State());
    const ETabulonValue mean = austria.State().Result(0);
    const ETabulonValue median = austria.State().Result(1);
    std::printf("mean %s, median %s\n", mean.DisplayValue().c_str(), median.DisplayValue().c_str());
    return mean.Data() == EVariant::FromDouble(174) && median.Data() == EVariant::FromDouble(120)
               ? 0
               : 1;
}
