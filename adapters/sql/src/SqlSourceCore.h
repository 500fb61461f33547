#pragma once

#include "ESqlKeyRegistry.h"
#include "etabulon/foundation/DDico.h"
#include "etabulon/sql/ESqlSchema.h"
#include "etabulon/sql/ESqlSource.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <set>
#include <vector>

namespace etabulon::detail {

/// What the tables, cursors and link lookups of a source use of it, shared with all of them: one
/// that outlives the source finds everything in place, and `isOpen` false.
struct SqlSourceCore {
    SqlSourceCore(const Chaine& ofLocation, ESqlOpenMode ofMode)
        : location(ofLocation), mode(ofMode) {}

    /// The failure of a step, read or write after the end of the source.
    [[nodiscard]] ESqlError ClosedError() const {
        ESqlError error;
        error.status = DataConnectionLost;
        error.text = location;
        error.text.Append(": the source was closed before its table");
        return error;
    }

    Chaine location;
    ESqlOpenMode mode;
    std::vector<ESqlTableInfo> tables;
    std::vector<std::shared_ptr<ESqlKeyRegistry>> keys;  // by table
    DDico dico;
    std::atomic<std::uint64_t> walks{0};
    std::mutex misreadLock;
    // Columns of linked tables, guarded by misreadLock.
    std::set<Chaine> misreads;
    std::set<Chaine> cuts;  // to milliseconds
    [[nodiscard]] Chaine MisreadList(const std::set<Chaine>& columns) {
        const std::lock_guard<std::mutex> guard(misreadLock);
        Chaine all;
        for (const Chaine& column : columns) {
            all.Append(all.IsEmpty() ? "" : ", ");
            all += column;
        }
        return all;
    }
    std::atomic<bool> isOpen{true};
};

}  // namespace etabulon::detail
