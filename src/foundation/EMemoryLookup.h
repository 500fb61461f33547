#pragma once

#include "foundation/EMemoryRecords.h"

#include <cstdint>
#include <memory>
#include <utility>

namespace etabulon {

/// Finds records in memory by the key of their rubric.
class EMemoryKeyLookup : public IRecordLookup {
public:
    explicit EMemoryKeyLookup(std::shared_ptr<EMemoryRecords> records)
        : records_(std::move(records)) {}
    ERecordRead Read(const EFieldKey& values, void* record) override;
    void Forget() override {}
    std::uint64_t Version() const override { return records_->Version(); }

protected:
    [[nodiscard]] virtual EPosition Find(const EFieldKey& values) {
        return records_->FindKey(values);
    }
    [[nodiscard]] EMemoryRecords& Records() const noexcept { return *records_; }

private:
    std::shared_ptr<EMemoryRecords> records_;
};

/// Finds records by other variables, through an index that the first lookup after a write builds,
/// in one pass over all records.
class EMemoryLookup final : public EMemoryKeyLookup {
public:
    EMemoryLookup(std::shared_ptr<EMemoryRecords> records, EKeyReader variables)
        : EMemoryKeyLookup(std::move(records)), variables_(std::move(variables)) {}
    void Forget() override;

protected:
    EPosition Find(const EFieldKey& values) override;

private:
    void MakeIndex();

    EKeyReader variables_;
    EKeyIndex index_;            // to the first record in the order of the rubric's key
    std::uint64_t indexed_ = 0;  // the records' version that index_ is of; 0 = none
};

}  // namespace etabulon
