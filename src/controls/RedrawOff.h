#pragma once

#include "etabulon/controls/ITreeView.h"

namespace etabulon::detail {

/// Turns a view's redraw off for a scope. The end of the scope turns it on, even if an inner scope
/// did so before.
class [[nodiscard]] RedrawOff {
public:
    explicit RedrawOff(ITreeView& view) : view_(view) { view_.SetRedraw(/*on=*/false); }
    ~RedrawOff() { view_.SetRedraw(/*on=*/true); }
    RedrawOff(const RedrawOff&) = delete;
    RedrawOff& operator=(const RedrawOff&) = delete;

private:
    ITreeView& view_;
};

}  // namespace etabulon::detail
