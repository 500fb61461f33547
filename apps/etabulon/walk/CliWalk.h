#pragma once

#include "apps/etabulon/request/CliCondition.h"
#include "apps/etabulon/request/CliLevels.h"
#include "apps/etabulon/request/CliResult.h"
#include "apps/etabulon/request/CliTable.h"
#include "etabulon/cursors/ETabulonCursor.h"
#include "etabulon/cursors/ETabulonCursorPending.h"
#include "etabulon/sql/ETabulonCursorSql.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace etabulon {

class CliExplanation;
class CliInterrupt;

/// A cursor that SIGINT cancels at any time. The reset at the start of a walk clears the cancel
/// flag; here it sets the flag again if a signal has come before.
class CliCursor : public ETabulonCursorSql {
public:
    explicit CliCursor(const CliInterrupt& interrupt) : interrupt_(interrupt) {}

    /// What the table said at its last failure.
    [[nodiscard]] Chaine FailureText() const;
    /// The cursor that a command walks: this one, or the overlay that shows edits.
    [[nodiscard]] ETabulonCursor& Seen() noexcept;
    /// Makes an overlay that shows the edits as saved. They must outlive the cursor, which must
    /// have its levels. With `moveRecords` edits may move records into a walk's place.
    void ShowPending(const ETabulonPendingChanges& changes, bool moveRecords);

    /// The columns that it reads of a source that is held in memory.
    [[nodiscard]] const std::vector<unsigned int>& ColumnsInMemory() const noexcept {
        return inMemory_;
    }
    void SetColumnsInMemory(const std::vector<unsigned int>& columns) { inMemory_ = columns; }
    /// The paths through links that it reads, as they are coded.
    [[nodiscard]] const std::vector<std::string>& ReadLinks() const noexcept { return links_; }
    void AddLink(const ETabulonVariableID& id);
    /// Edits may move records into the place of a walk, which then reads all of them.
    [[nodiscard]] bool MovesRecords() const noexcept { return moved_ != nullptr; }

protected:
    void ResetCancel() override;
    [[nodiscard]] bool HasOwnSteps() const noexcept override;
    [[nodiscard]] bool IsInterrupted() const noexcept;

private:
    const CliInterrupt& interrupt_;
    std::unique_ptr<ETabulonCursorPending> overlay_;
    std::unique_ptr<ETabulonCursorRelay> moved_;  // in front of overlay_ if edits move records
    std::vector<unsigned int> inMemory_;
    std::vector<std::string> links_;
};

/// The parts that all walks of a command share.
struct CliWalkContext {
    CliTable table;
    CliInterrupt& interrupt;
    bool showsProgress = false;
    const ETabulonPendingChanges* changes = nullptr;  // edits that walks show as saved; may be null
    CliCondition condition = {};                      // that all records meet which a walk shows
    // Whether the user knows what links of new records show: a command may open several cursors.
    bool* hasToldLinks = nullptr;           // required with `changes`
    CliExplanation* explanation = nullptr;  // of the walk, which then fails with CliExit::Done
    static constexpr auto kAll = static_cast<std::uint64_t>(-1);
    std::uint64_t mostRecords = kAll;  // after which a listener ends a walk; progress tells of them
};

/// Initializes the cursor on the table with the levels. The cursor reads only the columns that the
/// levels and `others` need.
[[nodiscard]] CliResult<> OpenCursor(const CliWalkContext& context, const ETabulonLevels& levels,
                                     const std::vector<CliVariable>& others, CliCursor& cursor);

/// Walks the records under `tag` with one listener. SIGINT cancels the walk. A walk that the
/// listener ends with StatusEnd has succeeded.
[[nodiscard]] CliResult<> Walk(const CliWalkContext& context, CliCursor& cursor,
                               const ETabulonTag& tag, ETabulonCursor::INotifier& listener);

/// Explains why there is no record under `tag`: walks the table once and names a value that no
/// record has at its level, or else states that no record has all values together.
[[nodiscard]] CliFailure ExplainNothingThere(const CliWalkContext& context, const CliLevels& levels,
                                             const ETabulonTag& tag);

}  // namespace etabulon
