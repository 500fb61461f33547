#include "etabulon/tree/EDataTreeAlertDesc.h"

namespace etabulon {

EDataTreeAlertDesc EDataTreeAlertDesc::Merge(const EDataTreeAlertDesc& a,
                                             const EDataTreeAlertDesc& b) {
    EDataTreeAlertDesc merged(a.id_ + Chaine(",") + b.id_);
    if (a.hasTextColor_ || b.hasTextColor_) {
        // Deliberate: the colours are added as numbers, so that one component carries into the
        // next; a reader would expect a blend or a precedence. Applications choose the colours of
        // their alerts by these sums. ColoursAddUpAsNumbers holds it.
        merged.SetTextColor((a.hasTextColor_ ? a.textColor_ : 0) +
                            (b.hasTextColor_ ? b.textColor_ : 0));
    }
    merged.textBold_ = a.textBold_ || b.textBold_;
    merged.textItalic_ = a.textItalic_ || b.textItalic_;
    merged.propagateToParent_ = a.propagateToParent_ || b.propagateToParent_;
    return merged;
}

}  // namespace etabulon
