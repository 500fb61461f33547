#pragma once

#include "apps/etabulon/CliDictionary.h"
#include "apps/etabulon/CliFailure.h"
#include "apps/etabulon/CliLevels.h"
#include "etabulon/cursors/ETabulonCursor.h"
#include "etabulon/foundation/ECountedUnknown.h"
#include "etabulon/sql/ETabulonCursorSql.h"

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
class CliCursor final : public ETabulonCursorSql {
public:
    explicit CliCursor(const CliInterrupt& interrupt) : interrupt_(interrupt) {}

protected:
    void ResetCancel() override;

private:
    const CliInterrupt& interrupt_;
};

/// What all walks of a command share.
struct CliWalkContext {
    const CliDictionary& dictionary;
    const ESqlTableInfo& table;
    CliInterrupt& interrupt;
    bool showsProgress = false;
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
