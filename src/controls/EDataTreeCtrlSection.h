#pragma once

#include "controls/EDataTreeCtrlParts.h"

namespace etabulon::detail {

/// Holds the cursor's lock for a scope. Waits for a running walk, and leaves it running.
class [[nodiscard]] CursorSection {
public:
    explicit CursorSection(const EDataTreeCtrlParts& parts) : cursor_(*parts.Cursor()) {
        cursor_.CursorLock(/*wait=*/true);
    }
    ~CursorSection() { cursor_.CursorUnlock(); }
    CursorSection(const CursorSection&) = delete;
    CursorSection& operator=(const CursorSection&) = delete;

private:
    ETabulonCursor& cursor_;
};

/// A call into the tree, which takes the cursor away from a run.
class [[nodiscard]] TreeCall {
public:
    explicit TreeCall(EDataTreeCtrlParts& parts) : parts_(parts) {
        // The cursor's own cancel doesn't reach a run whose walk hasn't begun.
        parts_.runs.Cancel();
    }
    TreeCall(const TreeCall&) = delete;
    TreeCall& operator=(const TreeCall&) = delete;

    EDataTree* operator->() const noexcept { return parts_.tree.get(); }

private:
    EDataTreeCtrlParts& parts_;
};

/// Marks the scope in which the control changes items itself. Scopes aren't counted: the end of an
/// inner one clears the mark for all.
class [[nodiscard]] Updating {
public:
    explicit Updating(EDataTreeCtrlParts& parts) noexcept : parts_(parts) {
        parts_.inUpdate = true;
    }
    ~Updating() { parts_.inUpdate = false; }
    Updating(const Updating&) = delete;
    Updating& operator=(const Updating&) = delete;

private:
    EDataTreeCtrlParts& parts_;
};

}  // namespace etabulon::detail
