#pragma once

#include "apps/etabulon/request/CliFailure.h"

#include <optional>
#include <utility>
#include <variant>

namespace etabulon {

/// The result of a step of a command: a value, or the failure that stops the command. A step that
/// has no value to return returns a CliResult<>.
template <class T = void>
class [[nodiscard]] CliResult {
public:
    CliResult(T value) : held_(std::in_place_index<0>, std::move(value)) {}
    CliResult(CliFailure failure) : held_(std::in_place_index<1>, std::move(failure)) {}

    /// The step succeeded, and there is a value.
    explicit operator bool() const noexcept { return held_.index() == 0; }
    /// The value. Requires that there is one.
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

    /// The step succeeded.
    explicit operator bool() const noexcept { return !failure_; }
    /// Requires that the step failed.
    [[nodiscard]] const CliFailure& Failure() const noexcept { return *failure_; }

private:
    std::optional<CliFailure> failure_;
};

}  // namespace etabulon
