#pragma once

#include "apps/etabulon/walk/CliWalk.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace etabulon {

/// A cursor for a save. It finds the records that edits concern before the first write; its later
/// walks reach these records alone, at the places that they had then. Otherwise a write would move
/// the records behind it: through a link into the table itself, an action of a foreign key, or a
/// trigger.
class PlacedCursor : public CliCursor {
public:
    using CliCursor::CliCursor;

    /// Walks the table. A failure has been reported to the listeners.
    CursorStatus FindRecords(const ETabulonPendingChanges& changes);
    /// How many of the records weren't there when a later walk came to them.
    [[nodiscard]] std::uint64_t GoneCount() const noexcept { return gone_; }

protected:
    /// For each record that FindRecords finds, which is current; false ends the search.
    virtual bool OnFound(const ETabulonPrimaryKey& key, const ETabulonTag& place) = 0;

    CursorStatus Reset(const ETabulonTag& tag) override;
    CursorStatus GetNext() override;
    void ExtractCurrentTag(ETabulonTag& tag) const override;
    void ExtractTagOfFields(ETabulonTag& tag) const override { CliCursor::ExtractCurrentTag(tag); }
    void ExtractPrimaryKey(ETabulonPrimaryKey& key) const override;

private:
    struct Record {
        EPosition position;
        ETabulonTag place;
    };
    class Finder;

    std::vector<Record> found_;
    bool isFound_ = false;
    std::size_t next_ = 0;
    std::uint64_t gone_ = 0;
};

}  // namespace etabulon
