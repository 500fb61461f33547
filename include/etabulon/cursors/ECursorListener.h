#pragma once

#include "etabulon/cursors/ECursorScopes.h"
#include "etabulon/cursors/ETabulonCursor.h"

namespace etabulon {

/// A listener that accepts every step and does nothing: derive from it and override the events that
/// matter.
///
/// Ownership  counted, with one reference for its creator. A listener on the stack keeps that
///            reference, and must leave the cursor (ECursorListening) before its scope ends.
/// Example    examples/grid.cpp
class ETABULON_API ECursorListener : public ETabulonCursor::INotifier,
                                     public virtual ECountedUnknown {
public:
    CursorStatus OnReset(const ETabulonTag& /*tag*/, const ETabulonCursor& /*cursor*/) override {
        return StatusOk;
    }
    CursorStatus OnMove(const ETabulonCursor& /*cursor*/) override { return StatusOk; }
    void OnDone(const ETabulonCursor& /*cursor*/) override {}
    void OnCancel(const ETabulonCursor& /*cursor*/) override {}
    void OnError(const ETabulonCursor& /*cursor*/, CursorStatus /*status*/) override {}
};

}  // namespace etabulon
