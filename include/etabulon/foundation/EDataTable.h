#pragma once

#include "etabulon/foundation/EData.h"

namespace etabulon {

/// A table with locks on single records: the abstract base of the tables that hold data.
/// Example    apps/etabulon/request/CliTables.h
class ETABULON_API EDataTable : public EData {
public:
    using EData::EData;
    /// -1 is the current record. Returns a status: 0, or 1001 where another table holds the record.
    [[nodiscard]] virtual std::int32_t LockRecord(EPosition where, bool wait) = 0;
    virtual std::int32_t UnlockRecord(EPosition where) = 0;
    /// What the engine said at the last failure; empty after a success.
    [[nodiscard]] virtual Chaine LastErrorText() const { return {}; }
    /// The engine's own code of the last failure; 0 after a success.
    [[nodiscard]] virtual int LastErrorCode() const { return 0; }
};

}  // namespace etabulon
