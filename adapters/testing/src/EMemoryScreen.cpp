#include "etabulon/testing/EMemoryScreen.h"

#include "etabulon/testing/EMemoryTreeView.h"

#include <algorithm>
#include <deque>
#include <utility>

namespace etabulon {

/// The ports with waiting messages. It outlives the screen, since a worker may wake it late.
struct EMemoryScreen::Loop {
    std::mutex mutex;
    std::condition_variable woken;
    std::deque<std::weak_ptr<EMessagePort>> waiting;  // guarded by mutex
};

class EMemoryScreen::ImageList final : public IImageList {
public:
    int Add(HICON icon) override {
        icons.push_back(icon);
        return static_cast<int>(icons.size()) - 1;
    }
    std::vector<HICON> icons;
};

EMemoryScreen::EMemoryScreen() : loop_(std::make_shared<Loop>()) {
    SetPointer(EMemoryScreen::LoadCursor(CursorArrow));
}

EMemoryScreen::~EMemoryScreen() = default;

template <class Handle>
Handle EMemoryScreen::Name(const std::string& name) {
    handles_.push_back(std::make_unique<char>());
    names_[handles_.back().get()] = name;
    return reinterpret_cast<Handle>(handles_.back().get());
}

std::string EMemoryScreen::NameOf(const void* handle) const {
    const auto found = names_.find(handle);
    return found != names_.end() ? found->second : handle == nullptr ? "-" : "unknown";
}

HICON EMemoryScreen::NewIcon(const std::string& name) { return Name<HICON>(name); }

HCURSOR EMemoryScreen::LoadCursor(SystemCursor cursor) {
    return NewIcon(cursor == CursorArrow ? "arrow" : cursor == CursorWait ? "wait" : "busy");
}

HICON EMemoryScreen::LoadIcon(unsigned int iconID, int width, int height) {
    return NewIcon(std::to_string(iconID) + ":" + std::to_string(width) + "x" +
                   std::to_string(height));
}

HFONT EMemoryScreen::NewFont(const ELogFont& font) {
    if (refusesFonts) {
        return nullptr;
    }
    ++fonts;
    return Name<HFONT>(std::to_string(font.weight) + (font.italic != 0 ? " italic" : ""));
}

void EMemoryScreen::DeleteFont(HFONT) { --fonts; }

std::unique_ptr<IImageList> EMemoryScreen::NewImageList(int, int, unsigned int, int, int) {
    return std::make_unique<ImageList>();
}

std::string EMemoryScreen::NameOfImage(const IImageList* images, int image) const {
    const auto* list = dynamic_cast<const ImageList*>(images);
    return list != nullptr && image >= 0 ? NameOf(list->icons.at(static_cast<std::size_t>(image)))
                                         : "-";
}

// --------------------------------------------------------------------------------------- the clock

void EMemoryScreen::StartTimer(EMemoryTreeView& view, unsigned int timerID, unsigned int period) {
    StopTimer(view, timerID);
    timers_.push_back({&view, timerID, std::max(period, 1U), now_ + std::max(period, 1U)});
}

void EMemoryScreen::StopTimer(const EMemoryTreeView& view, unsigned int timerID) {
    std::erase_if(timers_, [&](const Timer& timer) {
        return timer.view == &view && timer.timerID == timerID;
    });
}

void EMemoryScreen::StopTimers(const EMemoryTreeView& view) {
    std::erase_if(timers_, [&](const Timer& timer) { return timer.view == &view; });
}

void EMemoryScreen::Advance(unsigned int milliseconds) {
    const std::uint64_t end = now_ + milliseconds;
    for (;;) {
        const auto next = std::min_element(
            timers_.begin(), timers_.end(),
            [](const Timer& left, const Timer& right) { return left.due < right.due; });
        if (next == timers_.end() || next->due > end) {
            break;
        }
        now_ = next->due;
        next->due += next->period;
        next->view->Ring(next->timerID);  // may start and stop timers
    }
    now_ = end;
}

// -------------------------------------------------------------------------------- the message loop

EMessagePort::Waker EMemoryScreen::MakeWaker(std::weak_ptr<EMessagePort> port) {
    return [loop = loop_, port = std::move(port)] {
        const std::lock_guard hold(loop->mutex);
        loop->waiting.push_back(port);
        loop->woken.notify_one();
    };
}

void EMemoryScreen::Pump() {
    std::weak_ptr<EMessagePort> port;
    {
        std::unique_lock hold(loop_->mutex);
        loop_->woken.wait(hold, [this] { return !loop_->waiting.empty(); });
        port = std::move(loop_->waiting.front());
        loop_->waiting.pop_front();
    }
    if (const auto alive = port.lock()) {
        alive->Dispatch();
    }
}

void EMemoryScreen::PumpUntil(const std::function<bool()>& done) {
    while (!done()) {
        Pump();
    }
}

int EMemoryScreen::PumpWaiting() {
    for (int count = 0;; ++count) {
        {
            const std::lock_guard hold(loop_->mutex);
            if (loop_->waiting.empty()) {
                return count;
            }
        }
        Pump();
    }
}

}  // namespace etabulon
