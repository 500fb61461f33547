#pragma once

#include <utility>

namespace etabulon::detail {

/// Holds an object whose destructor never runs, for statics that others use to the very end.
template <class T>
union ENeverDestroyed {
    template <class... Args>
    constexpr explicit ENeverDestroyed(Args&&... args) : value(std::forward<Args>(args)...) {}
    ENeverDestroyed(const ENeverDestroyed&) = delete;
    ENeverDestroyed& operator=(const ENeverDestroyed&) = delete;
    ~ENeverDestroyed() {}

    T value;
};

}  // namespace etabulon::detail
