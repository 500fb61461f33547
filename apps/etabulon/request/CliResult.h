#pragma once

#include "apps/etabulon/request/CliFailure.h"

#include <optional>
#include <utility>
#include <variant>

namespace etabulon {

/// What a step of a command gives: its value, or the failure that keeps the command from going on.
/// A step without a value gives a CliResult<>.
template <class T = void>
class [[nodiscard]] CliResult {
public:
    CliResult(T value) : held_(std::in_place_index<0>, std::move(value)) {}
    CliResult(CliFailure failure) : held_(std::in_place_index<1>, std::move(failure)) {}

    /// There is a value.
    explicit operator bool() const noexcept { return held_.index() == 0; }
    /// The value, which is required.
    [[nodiscard]] T& operator*() noexcept { return *std::get_if<0>(&held_); }
    [[nodiscard]] const T& operator*() const noexcept { return *std::get_if<0>(&held_); }
    [[nodiscard]] T* operator->() noexcept { return std::get_if<0>(&held_); }
    [[nodiscard]] const T* operator->() const noexcept { return std::get_if<0>(&held_); }
    /// Requires that there is no value.
    [[nodiscard]] const CliFailure& Failure() const noexcept { return *std::get_if<1>(&held_); }

private:
    std::variant<T, CliFailure> held_;
};

template <>
class [[nodiscard]] CliResult<void> {
public:
    CliResult() = default;
    CliResult(CliFailure failure) : failure_(std::move(failure)) {}

    /// The step is done.
    explicit operator bool() const noexcept { return !failure_; }
    /// Requires that the step isn't done.
    [[nodiscard]] const CliFailure& Failure() const noexcept { return *failure_; }

private:
    std::optional<CliFailure> failure_;
};

}  // namespace etabulon
