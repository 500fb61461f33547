// A ranking: the cities by amount, the largest first, and how many orders each has.

#include "Shop.h"
#include "etabulon/cursors/ECursorScopes.h"
#include "etabulon/score/EScoreView.h"
#include "etabulon/score/ETabulonScoreFiller.h"
#include "etabulon/sort/ETabulonSortDesc.h"

#include <cstdio>

using namespace etabulon;

class Printed : public EScoreView {
public:
    void SetScoreLine(const ETabulonTag& label, const PTableau<ETabulonValue>& values) override {
        if (first.IsEmpty()) {
            first = label.DisplayID();
        }
        std::printf("%s %s %s\n", label.DisplayID().c_str(), values.At(0).DisplayValue().c_str(),
                    values.At(1).DisplayValue().c_str());
    }
    void SetScoreTotal(const PTableau<ETabulonValue>& values) override {
        std::printf("all %s %s\n", values.At(0).DisplayValue().c_str(),
                    values.At(1).DisplayValue().c_str());
    }

    Chaine first;
};

int main() {
    Shop shop;
    ETabulonSortDesc order(shop.levels);
    ETabulonCumulFuncOnVarCollection calculations;
    if (calculations.AddCalculation("SUM", "amount", TYPE_DOUBLE, 9, "Amount") < 0 ||
        calculations.AddCalculation("COUNT", "id", TYPE_LONG, 4, "Orders") < 0 ||
        !shop.cursor.FindUnresolved({"amount", "id"}).empty()) {
        return 1;
    }

    const auto score = ETabulonScoreFiller::Make(&shop.cursor, nullptr);
    score->SetParams(&calculations, &order, /*levelCount=*/2);  // country and city make a label
    const ECursorListening listening(shop.cursor, *score);
    if (shop.cursor.Browse(ETabulonTag::Null) != StatusOk) {
        return 1;
    }
    Printed view;
    score->SendTo(&view);
    return view.first == Chaine("[France, Lyon]") ? 0 : 1;
}
