#pragma once

#include "apps/etabulon/request/CliLevels.h"
#include "apps/etabulon/request/CliResult.h"
#include "apps/etabulon/request/CliTable.h"
#include "etabulon/cursors/ETabulonCursor.h"
#include "etabulon/cursors/ETabulonCursorPending.h"
#include "etabulon/sql/ETabulonCursorSql.h"

#include <memory>
#include <string>
#include <vector>

namespace etabulon {

class CliInterrupt;

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
    CliTable table;
    CliInterrupt& interrupt;
    bool showsProgress = false;
    const ETabulonPendingChanges* changes = nullptr;  // edits that walks are to show as saved
};

/// Puts the cursor on the table, with the levels, and with nothing read but what they and `others`
/// need.
[[nodiscard]] CliResult<> OpenCursor(const CliWalkContext& context, const ETabulonLevels& levels,
                                     const std::vector<CliVariable>& others, CliCursor& cursor);

/// A walk under `tag` with one listener, which SIGINT cancels. A walk that the listener ends with
/// StatusEnd is done.
[[nodiscard]] CliResult<> Walk(const CliWalkContext& context, CliCursor& cursor,
                               const ETabulonTag& tag, ETabulonCursor::INotifier& listener);

/// Why there is no record under `tag`: walks the table once and says which value is at no record's
/// level, or that no record has them together.
[[nodiscard]] CliFailure ExplainNothingThere(const CliWalkContext& context, const CliLevels& levels,
                                             const ETabulonTag& tag);

}  // namespace etabulon
