#pragma once

#include "etabulon/cursors/ETabulonCursor.h"

#include <functional>
#include <map>
#include <string>
#include <utility>

namespace etabulon::test {

/// A listener that renders what it hears as one string: "reset [FR] | Lyon | Paris", with "done",
/// "cancel" and "error(5)". A record shows as the text of its deepest level, or of `shown`.
/// Several may write into one log, each with its name in front: "a:Lyon | b:Lyon".
class WalkTrace : public ETabulonCursor::INotifier, public virtual ECountedUnknown {
public:
    using Action = std::function<CursorStatus()>;

    WalkTrace() : log_(&own_) {}
    explicit WalkTrace(const ETabulonVariableID& shown) : shown_(shown), log_(&own_) {}
    WalkTrace(const char* name, std::string& log) : name_(std::string(name) + ":"), log_(&log) {}

    /// At the n-th "reset", "move", "done", "cancel" or "error" (from 1): do this and answer so.
    void At(const std::string& event, int count, Action action) {
        actions_[event + std::to_string(count)] = std::move(action);
    }
    void AnswerAt(const std::string& event, int count, CursorStatus status) {
        At(event, count, [status] { return status; });
    }
    /// What was heard since the last time; the counting begins anew.
    [[nodiscard]] std::string Take() {
        counts_.clear();
        return std::exchange(*log_, std::string());
    }

    CursorStatus OnReset(const ETabulonTag& tag, const ETabulonCursor& /*cursor*/) override {
        return Hear("reset", std::string("reset ") + tag.DisplayID().c_str());
    }
    CursorStatus OnMove(const ETabulonCursor& cursor) override {
        return Hear("move", Shown(cursor));
    }
    void OnDone(const ETabulonCursor& /*cursor*/) override { Hear("done", "done"); }
    void OnCancel(const ETabulonCursor& /*cursor*/) override { Hear("cancel", "cancel"); }
    void OnError(const ETabulonCursor& /*cursor*/, CursorStatus status) override {
        Hear("error", "error(" + std::to_string(status) + ")");
    }

private:
    [[nodiscard]] std::string Shown(const ETabulonCursor& cursor) const {
        if (shown_.IsValid()) {
            return cursor.Field(shown_).AsChaine().c_str();
        }
        const ETabulonTag& tag = cursor.CurrentTag();
        return tag.IsRoot() ? "-" : tag.ValueAt(tag.KnownLevelsCount() - 1).DisplayValue().c_str();
    }
    CursorStatus Hear(const std::string& event, const std::string& text) {
        *log_ += (log_->empty() ? "" : " | ") + name_ + text;
        const auto action = actions_.find(event + std::to_string(++counts_[event]));
        // Called as a copy: it may take this listener's last reference, or plan anew.
        return action == actions_.end() ? StatusOk : Action(action->second)();
    }

    ETabulonVariableID shown_;
    std::string name_;
    std::string own_;
    std::string* log_;
    std::map<std::string, int> counts_;
    std::map<std::string, Action> actions_;
};

}  // namespace etabulon::test
