#pragma once

#include "etabulon/foundation/EDataError.h"
#include "etabulon/foundation/EExport.h"
#include "etabulon/foundation/EFieldKey.h"
#include "etabulon/foundation/fwd.h"

#include <cstdint>
#include <memory>
#include <span>

namespace etabulon {

enum class ERecordRead : std::uint8_t {
    Found = 0,
    Missing = 1,  // there is no such record
    Failed = 2,   // whether there is such a record isn't known
};

/// Finds records of a rubric by the values of some of its variables.
/// Example    adapters/sql/src/ESqlLinkSource.cpp
class ETABULON_API IRecordLookup {
public:
    virtual ~IRecordLookup() = default;
    /// Reads the first record, in the order of the rubric's key, with these values into `record`
    /// (constructed, in the rubric's layout), which is blank unless the record is found. A failure
    /// isn't cached: the next call reads again.
    [[nodiscard]] virtual ERecordRead Read(const EFieldKey& values, void* record) = 0;
    /// Why Read failed last; its text names the rubric's table.
    [[nodiscard]] virtual EDataError LastError() const { return {}; }
    /// Drops rows cached by earlier reads.
    virtual void Forget() = 0;
    /// Changes whenever reading an earlier row again could give another result.
    [[nodiscard]] virtual std::uint64_t Version() const = 0;
};

/// Where the records of a rubric come from.
/// Example    adapters/sql/src/ESqlLinkSource.h
class ETABULON_API IRecordSource {
public:
    virtual ~IRecordSource() = default;
    /// A lookup by `keyVariables` that fills at least `columns` (both by variable index); null with
    /// `error`. An array variable in the key stands for its first element. `from` is the table that
    /// the links start at, null if there is none: a source that knows it reads as that table does,
    /// within its transactions. The lookup keeps alive what it reads from, even when the rubric
    /// gets another source or `from` is destroyed.
    [[nodiscard]] virtual std::unique_ptr<IRecordLookup> OpenLookup(
        const DRubric& rubric, std::span<const unsigned int> keyVariables,
        std::span<const unsigned int> columns, EData* from, EDataError& error) = 0;
};

}  // namespace etabulon
