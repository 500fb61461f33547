#pragma once

#include "etabulon/controls/EMessagePort.h"
#include "etabulon/controls/EPlainScreen.h"

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace etabulon {

class EMemoryTreeView;

/// A screen whose clock a test moves and whose message loop a test turns. What it hands out tells
/// its name.
///
/// Ownership  outlives its views and the controls. Icons it loads and fonts it makes are counted,
///            and are never freed before it goes.
/// Threads    the test's; wakers may be called from any.
class ETABULON_API EMemoryScreen : public EPlainScreen {
public:
    EMemoryScreen();
    ~EMemoryScreen() override;

    [[nodiscard]] EPoint PointerPosition() const override { return position_; }
    [[nodiscard]] HCURSOR LoadCursor(SystemCursor cursor) override;
    void BeginWaitCursor() override { ++waitCursors; }
    void EndWaitCursor() override { --waitCursors; }
    [[nodiscard]] std::unique_ptr<IImageList> NewImageList(int width, int height, unsigned flags,
                                                           int initial, int growth) override;
    [[nodiscard]] HICON LoadIcon(unsigned iconID, int width, int height) override;
    [[nodiscard]] HFONT NewFont(const ELogFont& font) override;
    void DeleteFont(HFONT font) override;
    [[nodiscard]] unsigned CaretBlinkTime() const override { return 500; }

    /// An icon of that name; one for each call.
    [[nodiscard]] HICON NewIcon(const std::string& name);
    /// The name of an icon, cursor or font of this screen; "-" for null.
    [[nodiscard]] std::string NameOf(const void* handle) const;
    void MovePointer(EPoint position) { position_ = position; }

    /// Moves the clock and lets the timers ring, each in its turn.
    void Advance(unsigned milliseconds);
    /// Dispatches one message; waits for it as long as it takes. Requires somebody who will post.
    void Pump();
    void PumpUntil(const std::function<bool()>& done);
    /// Dispatches what is there, and returns how many that was.
    int PumpWaiting();

    int waitCursors = 0;        // that have begun and not ended
    int fonts = 0;              // made and not deleted
    bool refusesFonts = false;  // a new one can't be made

private:
    friend class EMemoryTreeView;
    struct Loop;
    class ImageList;
    struct Timer {
        EMemoryTreeView* view;
        unsigned timerID;
        unsigned period;
        std::uint64_t due;
    };
    void StartTimer(EMemoryTreeView& view, unsigned timerID, unsigned period);
    void StopTimer(const EMemoryTreeView& view, unsigned timerID);
    void StopTimers(const EMemoryTreeView& view);
    [[nodiscard]] std::string NameOfImage(const IImageList* images, int image) const;
    [[nodiscard]] EMessagePort::Waker MakeWaker(std::weak_ptr<EMessagePort> port);
    template <class Handle>
    [[nodiscard]] Handle Name(const std::string& name);

    std::shared_ptr<Loop> loop_;
    std::vector<Timer> timers_;
    std::uint64_t now_ = 0;
    EPoint position_;
    std::map<const void*, std::string> names_;
    std::vector<std::unique_ptr<char>> handles_;
};

}  // namespace etabulon
