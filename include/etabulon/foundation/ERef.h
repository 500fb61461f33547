#pragma once

#include "etabulon/foundation/EExpects.h"

#include <compare>
#include <concepts>
#include <cstddef>
#include <functional>
#include <type_traits>
#include <utility>

namespace etabulon {

/// Holds one reference to a counted object, or none.
///
/// Ownership  copying adds a reference, moving steals it, the destructor gives it back.
///            There is no conversion from T*: Adopt or Retain says which is meant.
/// Threads    as for the object, whose count may be a plain integer.
/// Example    examples/errors.cpp
template <class T>
class [[nodiscard]] ERef {
public:
    constexpr ERef() noexcept = default;
    constexpr ERef(std::nullptr_t) noexcept {}
    ERef(const ERef& other) noexcept : object_(other.object_) { AddTo(object_); }
    ERef(ERef&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
    template <class Derived>
    requires(!std::same_as<Derived, T> && std::convertible_to<Derived*, T*>)
        ERef(const ERef<Derived>& other)
    noexcept : object_(other.Get()) { AddTo(object_); }
    template <class Derived>
    requires(!std::same_as<Derived, T> && std::convertible_to<Derived*, T*>)
        ERef(ERef<Derived>&& other)
    noexcept : object_(other.Detach()) {}
    ~ERef() { ReleaseFrom(object_); }

    // By value: the old object is released last, when this reference holds the new one, because the
    // old object's destructor may read this reference.
    ERef& operator=(ERef other) noexcept {
        Swap(other);
        return *this;
    }

    /// Takes over the caller's reference.
    static ERef Adopt(T* object) noexcept { return ERef(object); }
    /// Adds a reference; the caller keeps its own.
    static ERef Retain(T* object) noexcept {
        AddTo(object);
        return ERef(object);
    }
    /// For parameters named addRef: Retain if true, Adopt if false.
    static ERef Take(T* object, bool addRef) noexcept {
        return addRef ? Retain(object) : Adopt(object);
    }

    /// Gives the reference to the caller, and holds none afterwards.
    [[nodiscard]] T* Detach() noexcept { return std::exchange(object_, nullptr); }
    /// Borrows.
    [[nodiscard]] T* Get() const noexcept { return object_; }
    T* operator->() const noexcept {
        E_EXPECTS(object_ != nullptr);
        return object_;
    }
    T& operator*() const noexcept {
        E_EXPECTS(object_ != nullptr);
        return *object_;
    }
    explicit operator bool() const noexcept { return object_ != nullptr; }
    void Swap(ERef& other) noexcept { std::swap(object_, other.object_); }

private:
    explicit ERef(T* object) noexcept : object_(object) {}

    // Const objects are counted too, and the count isn't part of what const promises.
    static void AddTo(T* object) noexcept {
        if (object != nullptr) {
            const_cast<std::remove_const_t<T>*>(object)->AddRef();
        }
    }
    static void ReleaseFrom(T* object) noexcept {
        if (object != nullptr) {
            const_cast<std::remove_const_t<T>*>(object)->Release();
        }
    }

    T* object_ = nullptr;
};

template <class T, class U>
bool operator==(const ERef<T>& left, const ERef<U>& right) noexcept {
    return left.Get() == right.Get();
}
template <class T, class U>
bool operator==(const ERef<T>& left, const U* right) noexcept {
    return left.Get() == right;
}
template <class T>
bool operator==(const ERef<T>& left, std::nullptr_t) noexcept {
    return left.Get() == nullptr;
}
/// By address: for sorted containers, never for an order that a user sees.
template <class T>
std::strong_ordering operator<=>(const ERef<T>& left, const ERef<T>& right) noexcept {
    return std::compare_three_way{}(left.Get(), right.Get());
}

/// A new object and its creator's reference.
template <class T, class... Args>
ERef<T> MakeRef(Args&&... args) {
    return ERef<T>::Adopt(new T(std::forward<Args>(args)...));
}

}  // namespace etabulon

template <class T>
struct std::hash<etabulon::ERef<T>> {
    std::size_t operator()(const etabulon::ERef<T>& reference) const noexcept {
        return std::hash<const void*>{}(reference.Get());
    }
};
