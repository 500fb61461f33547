#include "foundation/EMemoryLookup.h"

namespace etabulon {

namespace {

bool IsBelow(const EFieldKey& a, const EFieldKey& b) noexcept {
    for (std::uint16_t i = 0; i < a.Size() && i < b.Size(); ++i) {
        if (const int order = EVariant::Compare(a.At(i), b.At(i)); order != 0) {
            return order < 0;
        }
    }
    return false;
}

}  // namespace

ERecordRead EMemoryKeyLookup::Read(const EFieldKey& values, void* record) {
    const std::byte* const found = records_->At(Find(values));
    if (found == nullptr) {
        records_->Layout().DestroyRecord(record);
        records_->Layout().ConstructRecord(record);
        return ERecordRead::Missing;
    }
    records_->Layout().CopyRecord(record, found);
    return ERecordRead::Found;
}

void EMemoryLookup::Forget() {
    index_.clear();
    indexed_ = 0;
}

EPosition EMemoryLookup::Find(const EFieldKey& values) {
    if (indexed_ != Records().Version()) {
        MakeIndex();
    }
    const auto found = index_.find(values);
    return found == index_.end() ? kNoPosition : found->second;
}

void EMemoryLookup::MakeIndex() {
    const EMemoryRecords& records = Records();
    Forget();
    EFieldKey values;
    EFieldKey key;
    EFieldKey firstKey;
    for (EPosition at = records.FindNext(0); at != kNoPosition; at = records.FindNext(at + 1)) {
        variables_.Read(records.At(at), values);
        const auto [entry, isNew] = index_.try_emplace(values, at);
        if (isNew) {
            continue;
        }
        // Without a key the order is that of arrival, in which this loop walks.
        records.ReadKey(records.At(at), key);
        records.ReadKey(records.At(entry->second), firstKey);
        if (IsBelow(key, firstKey)) {
            entry->second = at;
        }
    }
    indexed_ = records.Version();
}

}  // namespace etabulon
