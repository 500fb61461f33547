#pragma once

#include "etabulon/cursors/ETabulonCursor.h"

namespace etabulon {

/// Holds a cursor exclusively for a scope: calls GetCursorExclusive, and CursorUnlock at its end.
/// Example    examples/errors.cpp
class [[nodiscard]] ECursorExclusive {
public:
    explicit ECursorExclusive(ETabulonCursor& cursor) : cursor_(cursor) {
        cursor_.GetCursorExclusive();
    }
    ~ECursorExclusive() { cursor_.CursorUnlock(); }
    ECursorExclusive(const ECursorExclusive&) = delete;
    ECursorExclusive& operator=(const ECursorExclusive&) = delete;

private:
    ETabulonCursor& cursor_;
};

/// Holds a cursor's lock for a scope. It waits until a walk under the lock releases it, where
/// ECursorExclusive cancels the walk.
/// Example    examples/errors.cpp
class [[nodiscard]] ECursorLocking {
public:
    explicit ECursorLocking(ETabulonCursor& cursor) : cursor_(cursor) {
        cursor_.CursorLock(/*wait=*/true);
    }
    ~ECursorLocking() { cursor_.CursorUnlock(); }
    ECursorLocking(const ECursorLocking&) = delete;
    ECursorLocking& operator=(const ECursorLocking&) = delete;

private:
    ETabulonCursor& cursor_;
};

/// Keeps a listener on a cursor for a scope.
/// Example    examples/grid.cpp
class [[nodiscard]] ECursorListening {
public:
    ECursorListening(ETabulonCursor& cursor, ETabulonCursor::INotifier& notifier)
        : cursor_(cursor), notifier_(notifier) {
        cursor_.AddNotifier(&notifier_);
    }
    ~ECursorListening() { cursor_.RemNotifier(&notifier_); }
    ECursorListening(const ECursorListening&) = delete;
    ECursorListening& operator=(const ECursorListening&) = delete;

private:
    ETabulonCursor& cursor_;
    ETabulonCursor::INotifier& notifier_;
};

}  // namespace etabulon
