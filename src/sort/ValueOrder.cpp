#include "sort/ValueOrder.h"

#include "foundation/EVariantOrderKey.h"

namespace etabulon::detail {

namespace {

// Below the first byte of any other key: a marked non-value stands between missing and the rest.
constexpr char kNull = 0;
constexpr char kSpecial = 1;

bool HasLabel(const ETabulonValue& value) {
    if (value.IsPlain()) {
        return false;
    }
    EVariant::TextBuffer shownBuffer;
    EVariant::TextBuffer ownBuffer;
    Chaine shownHolder;
    Chaine ownHolder;
    return value.DisplayText(shownBuffer, shownHolder) != value.Data().AsText(ownBuffer, ownHolder);
}

bool IsPlainNumber(const ETabulonValue& value) {
    return value.IsPlain() && TypeInfo(value.Data().Type()).valueClass == EValueClass::Number;
}

}  // namespace

void AppendValueKey(const ETabulonValue& value, std::string& key) {
    if (value.Status() != ETabulonValue::ValNormal) {
        key += value.IsNull() ? kNull : kSpecial;
        return;
    }
    if (HasLabel(value)) {
        EVariant::TextBuffer buffer;
        Chaine holder;
        AppendOrderKey(value.DisplayText(buffer, holder), key);
    }
    AppendOrderKey(value.Data(), key);
}

int CompareByValue(const ETabulonValue& a, const ETabulonValue& b) {
    if (IsPlainNumber(a) && IsPlainNumber(b)) {
        return EVariant::Compare(a.Data(), b.Data());
    }
    std::string left;
    std::string right;
    AppendValueKey(a, left);
    AppendValueKey(b, right);
    return left.compare(right);
}

}  // namespace etabulon::detail
