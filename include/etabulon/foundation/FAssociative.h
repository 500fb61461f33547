#pragma once

#include "etabulon/foundation/EAssociative.h"
#include "etabulon/foundation/EHash.h"
#include "etabulon/foundation/detail/HashIndex.h"

#include <cstdint>
#include <utility>

namespace etabulon {

/// The unsorted map: insertion order. Above kScanned entries, keys that can be hashed are found
/// through a hash index beside the pairs, with the results and hints of the scan. A CompareKey that
/// a derived class overrides must find keys equal only if their hashes are.
/// Example    tests/foundation/ContainerLookupTest.cpp
template <class K, class V>
class FAssociative : public EAssociative<EPair<K, V>> {
    using Base = EAssociative<EPair<K, V>>;

public:
    static constexpr std::uint32_t kScanned = 16;

    bool ChangeKey(const K& oldKey, const K& newKey) override {
        const bool isChanged = Base::ChangeKey(oldKey, newKey);
        index_.Clear();
        return isChanged;
    }
    std::int32_t Find(const K& key, FindMode mode) override {
        if constexpr (detail::Hashable<K>) {
            if (this->Size() > kScanned) {
                return FindIndexed(key, mode);
            }
            index_.Clear();
        }
        return Base::Find(key, mode);
    }
    using Base::Find;

    void RemoveAt(std::uint32_t index, std::uint32_t count = 1) {
        if constexpr (detail::Hashable<K>) {
            if (count == 1 && IsIndexed() && index < this->Size()) {
                const auto position = static_cast<std::int32_t>(index);
                index_.Remove(detail::HashOfKey(this->Key(index)), position);
                if (index + 1 != this->Size()) {
                    index_.CloseGap(position);
                }
            } else {
                index_.Clear();
            }
        }
        Base::RemoveAt(index, count);
    }
    bool RemoveKey(const K& key) {
        const std::int32_t index = Find(key, FindExact);
        if (index != -1) {
            RemoveAt(index);
        }
        return index != -1;
    }
    void Free() noexcept {
        index_.Clear();
        Base::Free();
    }
    void RemoveAll() noexcept { Free(); }
    /// A copy of `other` that shares nothing, hint included, and keeps this map's storage where it
    /// is large enough.
    void AssignReusing(const FAssociative& other) {
        if (this != &other) {
            index_.Clear();
        }
        Base::AssignReusing(other);
    }
    void Swap(FAssociative& other) noexcept {
        index_.Swap(other.index_);
        Base::Swap(other);
    }

private:
    // The index is current if it holds as many pairs as the map. The base's operations don't update
    // it: those that remove pairs leave another size, and Find rebuilds the index before it adds a
    // pair.
    [[nodiscard]] bool IsIndexed() const noexcept { return index_.Size() == this->Size(); }

    void FillIndex() {
        index_.Clear();
        index_.Reserve(this->Size());
        std::int32_t position = 0;
        for (const auto& pair : std::as_const(this->pairs_)) {
            index_.Add(detail::HashOfKey(pair.key), position++);
        }
    }
    std::int32_t FindIndexed(const K& key, FindMode mode) {
        std::uint32_t hash = 0;
        const detail::LookupEnd end = this->FindFromHint(
            key, mode,
            [&](std::int32_t size, std::int32_t& hint, FindMode how, const auto& compare) {
                if (hint != -1 && compare(hint) == 0) {
                    return detail::LookupEnd{hint};
                }
                if (!IsIndexed()) {
                    FillIndex();
                }
                hash = detail::HashOfKey(key);
                const std::int32_t found =
                    index_.Find(hash, [&](std::int32_t index) { return compare(index) == 0; });
                if (found == -1) {
                    return detail::MissUnsorted(size, hint, how);
                }
                hint = found;
                return detail::LookupEnd{found};
            });
        if (end.insert) {
            // Reserves first: a pair that the index lacked for want of memory would be inserted
            // twice.
            index_.Reserve(this->Size() + 1);
            this->pairs_.Emplace(end.index, key);
            index_.Add(hash, end.index);
            this->hint_.Set(end.index);
        }
        return end.index;
    }

    detail::HashIndex index_;
};

}  // namespace etabulon
