#pragma once

#include "etabulon/foundation/EData.h"
#include "etabulon/foundation/EFieldKey.h"
#include "etabulon/values/ETabulonValue.h"

namespace etabulon {

/// Identifies one record: the table's key and the record's position in the table.
///
/// Ownership  a value type. Set and assignment reuse storage: nothing is allocated per record.
/// Example    examples/function.cpp
class ETABULON_API ETabulonPrimaryKey {
public:
    ETabulonPrimaryKey() = default;
    ETabulonPrimaryKey(const EFieldKey& key, EPosition position);
    ETabulonPrimaryKey(const ETabulonPrimaryKey& other);
    ETabulonPrimaryKey(ETabulonPrimaryKey&& other) noexcept = default;
    ETabulonPrimaryKey& operator=(ETabulonPrimaryKey&& other) noexcept = default;
    void operator=(const ETabulonPrimaryKey& other);
    virtual ~ETabulonPrimaryKey() = default;

    void Set(const EFieldKey& key, EPosition position);
    void Reset();
    /// There is a position or at least one segment.
    [[nodiscard]] bool IsSet() const noexcept {
        return position_ != kNoPosition || fields_.Size() != 0;
    }
    [[nodiscard]] EPosition Position() const noexcept { return position_; }
    [[nodiscard]] const EFieldKey& Fields() const noexcept { return fields_; }
    /// The whole key as one value: a single segment as it is, several joined by "/", Null if unset.
    [[nodiscard]] ETabulonValue SingleCode() const;

private:
    EFieldKey fields_;
    EPosition position_ = kNoPosition;
};

}  // namespace etabulon
