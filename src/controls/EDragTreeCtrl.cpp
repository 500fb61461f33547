#include "etabulon/controls/EDragTreeCtrl.h"

#include "controls/NoTreeView.h"

#include <utility>

namespace etabulon {

EDragTreeCtrl::~EDragTreeCtrl() {
    if (view_ != nullptr) {
        view_->SetEvents(nullptr);
    }
}

void EDragTreeCtrl::Attach(ITreeView* view) {
    Detach();
    view_ = view;
    if (view_ != nullptr) {
        view_->SetEvents(this);
        OnAttached();
    }
}

void EDragTreeCtrl::Detach() {
    if (view_ == nullptr) {
        return;
    }
    OnDetaching();
    view_->DeleteItem(kTreeRoot);
    std::exchange(view_, nullptr)->SetEvents(nullptr);
    OnDetached();
}

void EDragTreeCtrl::OnViewDestroyed() {
    view_ = nullptr;
    OnDetached();
}

ITreeView& EDragTreeCtrl::View() const noexcept {
    static detail::NoTreeView none;
    return view_ != nullptr ? *view_ : none;
}

}  // namespace etabulon
