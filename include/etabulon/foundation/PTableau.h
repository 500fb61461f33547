#pragma once

#include "etabulon/foundation/MiniConAArray.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <iterator>
#include <type_traits>
#include <utility>

namespace etabulon {

/// Walks over an array's pointers. Invalid once the array is changed, destroyed, or detached from a
/// block that it shares.
template <class T>
class TableauIterator {
public:
    using iterator_category = std::random_access_iterator_tag;
    using value_type = std::remove_const_t<T>;
    using difference_type = std::ptrdiff_t;
    using pointer = T*;
    using reference = T&;

    TableauIterator() noexcept = default;
    explicit TableauIterator(value_type* const* entry) noexcept : entry_(entry) {}
    operator TableauIterator<const T>() const noexcept requires(!std::is_const_v<T>) {
        return TableauIterator<const T>(entry_);
    }

    T& operator*() const noexcept { return **entry_; }
    T* operator->() const noexcept { return *entry_; }
    T& operator[](difference_type offset) const noexcept { return *entry_[offset]; }
    TableauIterator& operator++() noexcept { return *this += 1; }
    TableauIterator& operator--() noexcept { return *this += -1; }
    TableauIterator operator++(int) noexcept { return TableauIterator(entry_++); }
    TableauIterator operator--(int) noexcept { return TableauIterator(entry_--); }
    TableauIterator& operator+=(difference_type offset) noexcept {
        entry_ += offset;
        return *this;
    }
    TableauIterator& operator-=(difference_type offset) noexcept { return *this += -offset; }
    friend TableauIterator operator+(TableauIterator it, difference_type n) noexcept {
        return it += n;
    }
    friend TableauIterator operator+(difference_type n, TableauIterator it) noexcept {
        return it += n;
    }
    friend TableauIterator operator-(TableauIterator it, difference_type n) noexcept {
        return it -= n;
    }
    friend difference_type operator-(TableauIterator left, TableauIterator right) noexcept {
        return left.entry_ - right.entry_;
    }
    friend bool operator==(TableauIterator left, TableauIterator right) noexcept = default;
    friend auto operator<=>(TableauIterator left, TableauIterator right) noexcept = default;

private:
    value_type* const* entry_ = nullptr;
};

template <class Storage>
class TableauEx;

/// The array interface on top of MiniConAArray, with the same guarantees.
template <class T>
class TableauEx<MiniConAArray<T>> {
public:
    using value_type = T;
    using iterator = TableauIterator<T>;
    using const_iterator = TableauIterator<const T>;

    constexpr TableauEx() noexcept = default;
    TableauEx(std::initializer_list<T> items) {
        if (items.size() != 0) {
            array_.Own(static_cast<std::uint32_t>(items.size()));
        }
        for (const T& item : items) {
            Add(item);
        }
    }

    /// Accesses no element: a shared block stays shared.
    [[nodiscard]] std::uint32_t Size() const noexcept { return array_.Size(); }
    [[nodiscard]] bool IsEmpty() const noexcept { return Size() == 0; }
    [[nodiscard]] std::uint32_t Capacity() const noexcept { return array_.Capacity(); }
    [[nodiscard]] bool IsShared() const noexcept { return array_.IsShared(); }
    [[nodiscard]] bool IsInAllocationOrder() const noexcept { return array_.IsInAllocationOrder(); }

    /// Extends the array with default elements until `index` exists; -1 extends nothing and isn't
    /// allowed.
    T& operator[](std::uint32_t index) {
        // In 32 bits -1 + 1 is 0.
        if (index + 1 > Size()) {
            Extend(index + 1);
        }
        return array_.At(index);
    }
    /// Requires index < Size().
    const T& operator[](std::uint32_t index) const { return array_.At(index); }
    /// The element without extending. Requires index < Size().
    [[nodiscard]] T& At(std::uint32_t index) { return array_.At(index); }
    [[nodiscard]] const T& At(std::uint32_t index) const { return array_.At(index); }

    T& Add(const T& item) { return array_.Emplace(Size(), item); }
    T& Add(T&& item) { return array_.Emplace(Size(), std::move(item)); }
    /// Constructs an element before `position`. Requires position <= Size().
    template <class... Args>
    T& Emplace(std::uint32_t position, Args&&... args) {
        return array_.Emplace(position, std::forward<Args>(args)...);
    }
    /// Inserts before `position`.
    void InsertAt(std::uint32_t position, const T& item) {
        E_EXPECTS(position + 1 != 0);
        const std::uint32_t size = Size();
        if (position <= size) {
            array_.Emplace(position, item);
            return;
        }
        // Deliberate: the item itself fills the gap, up to and at `position`, and not default
        // elements as operator[] would leave. Callers rely on these copies.
        // BeyondTheEndAreFilledAsEachOperationTells holds it.
        array_.Own(position - size + 1);
        while (Size() <= position) {
            array_.Emplace(Size(), item);
        }
    }
    /// `count` is cut to what lies after `index`; an index beyond the end removes nothing.
    void RemoveAt(std::uint32_t index, std::uint32_t count = 1) { array_.Remove(index, count); }
    /// Puts the element at `from` so that it stands at `to`. Requires both below Size().
    void Move(std::uint32_t from, std::uint32_t to) { array_.Move(from, to); }
    void Free() noexcept { array_.Free(); }
    void RemoveAll() noexcept { array_.Free(); }

    /// Makes the storage this array's own at once, where a copy must share nothing.
    void Detach() const { array_.Detach(); }
    /// A copy of `other` that shares nothing and keeps this array's storage where it is large
    /// enough, so that arrays of one size are assigned without an allocation.
    void AssignReusing(const TableauEx& other) { array_.AssignReusing(other.array_); }
    void Swap(TableauEx& other) noexcept { array_.Swap(other.array_); }

    /// Detaches a shared block, as each access to an element does.
    [[nodiscard]] iterator begin() { return iterator(array_.Table()); }
    [[nodiscard]] iterator end() { return begin() + Size(); }
    [[nodiscard]] const_iterator begin() const { return const_iterator(array_.Table()); }
    [[nodiscard]] const_iterator end() const { return begin() + Size(); }

    friend bool operator==(const TableauEx& left, const TableauEx& right) {
        // A block is equal to itself without access to its elements, and stays shared.
        return left.array_.IsSameBlock(right.array_) ||
               (left.Size() == right.Size() && std::equal(left.begin(), left.end(), right.begin()));
    }

private:
    void Extend(std::uint32_t size) {
        array_.Own(size - Size());
        while (Size() < size) {
            array_.Emplace(Size());
        }
    }

    MiniConAArray<T> array_;
};

/// The array type of the library's signatures. A copy shares its block until an element of either
/// array is accessed.
/// Example    examples/score.cpp
template <class T>
class PTableau : public TableauEx<MiniConAArray<T>> {
public:
    using TableauEx<MiniConAArray<T>>::TableauEx;
    constexpr PTableau() noexcept = default;
};

}  // namespace etabulon
