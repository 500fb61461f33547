// A function of the application's own: the spread, highest less lowest.

#include "Shop.h"
#include "etabulon/cumul/ETabulonCumulFunc.h"
#include "etabulon/cursors/ECursorScopes.h"
#include "etabulon/grid/EGridView.h"
#include "etabulon/grid/ETabulonGridFiller.h"
#include "etabulon/sort/ETabulonSortDesc.h"
#include "etabulon/values/ETabulonVariableDesc.h"

#include <algorithm>
#include <cstdio>

using namespace etabulon;

class Spread : public ETabulonCumulFunc {
public:
    Spread() : ETabulonCumulFunc("SPREAD", "Spread", nullptr) {}
    /// One buffer for each cell and each total.
    ETabulonCumulBuffer* Start(int type, unsigned int size) override {
        return new Buffer(this, type, size);
    }
    int ResultType(int /*type*/) const override { return TYPE_DOUBLE; }
    unsigned int ResultSize(unsigned int /*size*/) const override { return 8; }

private:
    class Buffer : public ETabulonCumulBuffer {
    public:
        using ETabulonCumulBuffer::ETabulonCumulBuffer;
        void AddValue(const EVariant& value, bool modified,
                      const ETabulonPrimaryKey& /*context*/) override {
            if (value.IsMissing()) {
                return;  // the library's functions don't skip missing values; this one does
            }
            const double number = value.AsDouble();
            lowest_ = hasValue_ ? std::min(lowest_, number) : number;
            highest_ = hasValue_ ? std::max(highest_, number) : number;
            hasValue_ = true;
            SetResult(EVariant::FromDouble(highest_ - lowest_), modified || Result().IsModified());
        }

    private:
        bool hasValue_ = false;
        double lowest_ = 0;
        double highest_ = 0;
    };
};

class Printed : public EGridView {
public:
    void SetValue(unsigned int /*column*/, unsigned int line, const ETabulonValue& value) override {
        std::printf("country %u: %s\n", line, value.DisplayValue().c_str());
    }
    void SetTotal(const ETabulonValue& value) override { total = value.Data().AsDouble(); }
    void SetTotal(AxeDirection /*direction*/, unsigned int /*index*/,
                  const ETabulonValue& value) override {
        total = value.Data().AsDouble();
    }

    double total = 0;
};

int main() {
    Shop shop;
    ETabulonSortDesc order(shop.levels);
    const auto function = MakeRef<Spread>();
    const auto amount = ETabulonVariableDesc::Make("amount", TYPE_DOUBLE, 9U, "Amount", nullptr);
    ETabulonCumulFuncOnVarCollection calculations;
    calculations.AddCalculation(ETabulonCumulFuncOnVar::Build(function.Get(), amount.Get()),
                                /*addRef=*/false);

    const auto grid = ETabulonGridFiller::Make(&shop.cursor, nullptr);
    grid->SetParams(&calculations, /*axesCount=*/1, &order);
    const ECursorListening listening(shop.cursor, *grid);
    if (shop.cursor.Browse(ETabulonTag::Null) != StatusOk) {
        return 1;
    }
    Printed view;
    grid->SendTo(&view);
    return view.total == 435 ? 0 : 1;
}
