#pragma once

#include "apps/etabulon/request/CliDictionary.h"
#include "apps/etabulon/request/CliFailure.h"
#include "apps/etabulon/request/CliLevels.h"
#include "etabulon/cursors/ETabulonCursor.h"
#include "etabulon/cursors/ETabulonCursorPending.h"
#include "etabulon/foundation/ECountedUnknown.h"
#include "etabulon/sql/ETabulonCursorSql.h"

#include <memory>
#include <string>
#include <vector>

namespace etabulon {

class CliInterrupt;

/// A listener that lets what it doesn't care for pass.
class CliListener : public ETabulonCursor::INotifier, public virtual ECountedUnknown {
public:
    CursorStatus OnReset(const ETabulonTag& /*tag*/, const ETabulonCursor& /*cursor*/) override {
        return StatusOk;
    }
    CursorStatus OnMove(const ETabulonCursor& /*cursor*/) override { return StatusOk; }
    void OnDone(const ETabulonCursor& /*cursor*/) override {}
    void OnCancel(const ETabulonCursor& /*cursor*/) override {}
    void OnError(const ETabulonCursor& /*cursor*/, CursorStatus /*status*/) override {}
};

/// A cursor that SIGINT cancels whenever it comes: the reset that begins a walk would otherwise
/// forget one that came just before.
class CliCursor : public ETabulonCursorSql {
public:
    explicit CliCursor(const CliInterrupt& interrupt) : interrupt_(interrupt) {}

    /// What a command walks: this, or the table with its edits on it.
    [[nodiscard]] ETabulonCursor& Seen() noexcept;
    /// Lays edits on the table, which must outlive this. Requires levels.
    void ShowPending(const ETabulonPendingChanges& changes);

protected:
    void ResetCancel() override;
    [[nodiscard]] bool IsInterrupted() const noexcept;

private:
    const CliInterrupt& interrupt_;
    std::unique_ptr<ETabulonCursorPending> overlay_;
    std::unique_ptr<ETabulonCursorRelay> moved_;  // before overlay_, where edits move records
};

/// What all walks of a command share.
struct CliWalkContext {
    const CliDictionary& dictionary;
    const ESqlTableInfo& table;
    CliInterrupt& interrupt;
    bool showsProgress = false;
    const ETabulonPendingChanges* changes = nullptr;  // edits that walks are to show as saved
};

/// Puts the cursor on the table, with the levels, and with nothing read but what they and `others`
/// need.
[[nodiscard]] bool OpenCursor(const CliWalkContext& context, const ETabulonLevels& levels,
                              const std::vector<CliVariable>& others, CliCursor& cursor,
                              CliFailure& failure);

/// A walk under `tag` with one listener, which SIGINT cancels. A walk that the listener ends with
/// StatusEnd is done.
[[nodiscard]] bool Walk(const CliWalkContext& context, CliCursor& cursor, const ETabulonTag& tag,
                        CliListener& listener, CliFailure& failure);

/// Why there is no record under `tag`: walks the table once and says which value is at no record's
/// level, or that no record has them together. Always a failure.
void ExplainNothingThere(const CliWalkContext& context, const CliLevels& levels,
                         const ETabulonTag& tag, CliFailure& failure);

}  // namespace etabulon
