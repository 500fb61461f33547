#pragma once

#include "etabulon/foundation/ECountedUnknown.h"
#include "etabulon/sort/ETabulonSortDesc.h"

#include <functional>
#include <string>
#include <string_view>
#include <utility>

namespace etabulon::test {

/// Renders what a sort description tells as one string: "a?move" when asked, "a!none" when told.
/// Several may write into one log, to see who was called when.
class SortTrace : public ETabulonSortDesc::INotifier, public virtual ECountedUnknown {
public:
    explicit SortTrace(std::string name = "", std::string* log = nullptr)
        : name_(std::move(name)), log_(log != nullptr ? log : &own_) {}

    /// Refuses the n-th asking from here on, counted from 1; 0 refuses none.
    void RefuseAt(int asking) noexcept { untilRefusal_ = asking; }
    /// Called at each asking (true) and telling (false), after it was logged.
    void OnCalled(std::function<void(bool asked)> called) { called_ = std::move(called); }
    /// What was heard since the last time.
    [[nodiscard]] std::string Take() { return std::exchange(*log_, std::string()); }

    bool OnSortChanging(const ETabulonSortDesc* /*sort*/, SortChange change) override {
        Log('?', change);
        Call(true);
        return untilRefusal_ == 0 || --untilRefusal_ != 0;
    }
    void OnSortChanged(const ETabulonSortDesc* /*sort*/, SortChange change) override {
        Log('!', change);
        Call(false);
    }

private:
    void Log(char sign, SortChange change) {
        constexpr std::string_view kNames[] = {"levels", "move", "hidden", "none"};
        if (!log_->empty()) {
            *log_ += ' ';
        }
        *log_ += name_;
        *log_ += sign;
        *log_ += kNames[change];
    }
    void Call(bool asked) {
        if (called_) {
            called_(asked);
        }
    }

    std::string name_;
    std::string own_;
    std::string* log_;
    int untilRefusal_ = 0;
    std::function<void(bool)> called_;
};

}  // namespace etabulon::test
