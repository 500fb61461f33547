#pragma once

#include "etabulon/foundation/EExpects.h"
#include "etabulon/foundation/EPair.h"
#include "etabulon/foundation/FindMode.h"
#include "etabulon/foundation/PTableau.h"
#include "etabulon/foundation/detail/EHint.h"
#include "etabulon/foundation/detail/Lookup.h"

#include <cstdint>
#include <utility>

namespace etabulon {

template <class Pair>
class EAssociative;

/// An array of pairs with distinct keys, in insertion order and searched one by one from the
/// element that the last lookup reached; the base of all maps.
///
/// Ownership  copies share the storage until an element of either is first accessed, and copy the
///            hint.
/// Threads    one thread at a time, const operations included: they detach and move the hint.
/// Failure    none is reported. A missing key gives -1, which the caller must not use as an index.
/// Example    tests/foundation/ContainerLookupTest.cpp
template <class K, class V>
class EAssociative<EPair<K, V>> {
public:
    using Pair = EPair<K, V>;
    using iterator = typename PTableau<Pair>::iterator;
    using const_iterator = typename PTableau<Pair>::const_iterator;

    constexpr EAssociative() noexcept = default;
    EAssociative(const EAssociative&) = default;
    EAssociative(EAssociative&&) noexcept = default;
    virtual ~EAssociative() = default;

    /// True if `oldKey` exists and `newKey` doesn't; then the element has the new key.
    virtual bool ChangeKey(const K& oldKey, const K& newKey) {
        const std::int32_t index = IndexToRename(oldKey, newKey);
        if (index == -1) {
            return false;
        }
        pairs_.At(index).key = newKey;
        return true;
    }
    /// 0 if the key is the element's, otherwise 1.
    [[nodiscard]] virtual int CompareKey(const K& key, const Pair& element) const {
        return key == element.key ? 0 : 1;
    }
    /// The index of the key, or what `mode` says for a missing one.
    virtual std::int32_t Find(const K& key, FindMode mode) {
        return FindWith(
            key, mode,
            [](std::int32_t size, std::int32_t& hint, FindMode how, const auto& compare) {
                return detail::FindUnsorted(size, hint, how, compare);
            });
    }
    /// Requires a mode other than FindOrInsert.
    [[nodiscard]] std::int32_t Find(const K& key, FindMode mode = FindExact) const {
        E_EXPECTS(mode != FindOrInsert);
        // The other modes write mutable members only.
        return const_cast<EAssociative*>(this)->Find(key, mode);
    }

    [[nodiscard]] std::uint32_t Size() const noexcept { return pairs_.Size(); }
    [[nodiscard]] bool IsEmpty() const noexcept { return Size() == 0; }
    [[nodiscard]] bool IsShared() const noexcept { return pairs_.IsShared(); }
    [[nodiscard]] std::int32_t Hint() const noexcept { return hint_.Get(); }

    /// The pair at a position. Requires index < Size().
    [[nodiscard]] Pair& At(std::uint32_t index) { return pairs_.At(index); }
    [[nodiscard]] const Pair& At(std::uint32_t index) const { return pairs_.At(index); }
    [[nodiscard]] const K& Key(std::uint32_t index) const { return pairs_.At(index).key; }
    [[nodiscard]] V& Value(std::uint32_t index) { return pairs_.At(index).value; }
    [[nodiscard]] const V& Value(std::uint32_t index) const { return pairs_.At(index).value; }
    [[nodiscard]] iterator begin() { return pairs_.begin(); }
    [[nodiscard]] iterator end() { return pairs_.end(); }
    [[nodiscard]] const_iterator begin() const { return pairs_.begin(); }
    [[nodiscard]] const_iterator end() const { return pairs_.end(); }

    /// The key's value; a missing key is inserted with a default one.
    V& operator[](const K& key) { return pairs_.At(Find(key, FindOrInsert)).value; }
    /// Requires that the key exists.
    const V& operator[](const K& key) const { return pairs_.At(Find(key, FindExact)).value; }
    /// The key's value, or null.
    [[nodiscard]] V* FindValue(const K& key) { return ValueOrNull(Find(key, FindExact)); }
    [[nodiscard]] const V* FindValue(const K& key) const {
        return ValueOrNull(Find(key, FindExact));
    }

    void RemoveAt(std::uint32_t index, std::uint32_t count = 1) {
        if (index < Size()) {
            pairs_.RemoveAt(index, count);
            hint_.Set(-1);
        }
    }
    /// False if there was no such key.
    bool RemoveKey(const K& key) {
        const std::int32_t index = Find(key, FindExact);
        if (index != -1) {
            RemoveAt(index);
        }
        return index != -1;
    }
    void Free() noexcept {
        pairs_.Free();
        hint_.Set(-1);
    }
    void RemoveAll() noexcept { Free(); }
    /// Makes the storage this map's own at once.
    void Detach() const { pairs_.Detach(); }

    friend bool operator==(const EAssociative& left, const EAssociative& right) {
        return left.pairs_ == right.pairs_;
    }

protected:
    // Protected: callers would slice through the base class.
    EAssociative& operator=(const EAssociative&) = default;
    EAssociative& operator=(EAssociative&&) noexcept = default;
    void AssignReusing(const EAssociative& other) {
        pairs_.AssignReusing(other.pairs_);
        hint_ = other.hint_;
    }
    void Swap(EAssociative& other) noexcept {
        pairs_.Swap(other.pairs_);
        std::swap(hint_, other.hint_);
    }

    /// The index of `oldKey` if it may become `newKey`, otherwise -1.
    [[nodiscard]] std::int32_t IndexToRename(const K& oldKey, const K& newKey) {
        const std::int32_t index = Find(oldKey, FindExact);
        return index != -1 && Find(newKey, FindExact) == -1 ? index : -1;
    }
    /// Runs `walk(size, hint, mode, compare)` from the hint, keeps the hint, and inserts where the
    /// walk says so.
    template <class Walk>
    std::int32_t FindWith(const K& key, FindMode mode, const Walk& walk) {
        const detail::LookupEnd end = FindFromHint(key, mode, walk);
        if (end.insert) {
            pairs_.Emplace(end.index, key);
            hint_.Set(end.index);
        }
        return end.index;
    }
    template <class Walk>
    [[nodiscard]] detail::LookupEnd FindFromHint(const K& key, FindMode mode,
                                                 const Walk& walk) const {
        const auto size = static_cast<std::int32_t>(pairs_.Size());
        const const_iterator first = pairs_.begin();
        std::int32_t hint = hint_.Within(size);
        const detail::LookupEnd end = walk(
            size, hint, mode, [&](std::int32_t index) { return CompareKey(key, first[index]); });
        if (!end.insert) {
            hint_.Set(hint);
        }
        return end;
    }
    [[nodiscard]] V* ValueOrNull(std::int32_t index) {
        return index != -1 ? &pairs_.At(index).value : nullptr;
    }
    [[nodiscard]] const V* ValueOrNull(std::int32_t index) const {
        return index != -1 ? &pairs_.At(index).value : nullptr;
    }

    PTableau<Pair> pairs_;
    detail::EHint hint_;
};

}  // namespace etabulon
