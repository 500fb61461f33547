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

/// A screen in memory. A test moves its clock and runs its message loop. NameOf gives the names of
/// its icons, cursors and fonts.
///
/// Ownership  outlives its views and the controls. It frees its icons and fonts in its destructor.
/// Threads    the test's thread; wakers may be called from any thread.
/// Example    examples/screen.cpp
class ETABULON_API EMemoryScreen : public EPlainScreen {
public:
    EMemoryScreen();
    ~EMemoryScreen() override;

    [[nodiscard]] EPoint PointerPosition() const override { return position_; }
    [[nodiscard]] HCURSOR LoadCursor(SystemCursor cursor) override;
    void BeginWaitCursor() override { ++waitCursors; }
    void EndWaitCursor() override { --waitCursors; }
    [[nodiscard]] std::unique_ptr<IImageList> NewImageList(int width, int height,
                                                           unsigned int flags, int initial,
                                                           int growth) override;
    [[nodiscard]] HICON LoadIcon(unsigned int iconID, int width, int height) override;
    [[nodiscard]] HFONT NewFont(const ELogFont& font) override;
    void DeleteFont(HFONT font) override;
    [[nodiscard]] unsigned int CaretBlinkTime() const override { return 500; }

    /// A new icon of that name.
    [[nodiscard]] HICON NewIcon(const std::string& name);
    /// The name of an icon, cursor or font of this screen; "-" for null.
    [[nodiscard]] std::string NameOf(const void* handle) const;
    void MovePointer(EPoint position) { position_ = position; }

    /// Moves the clock and fires the timers in the order of their times.
    void Advance(unsigned int milliseconds);
    /// Dispatches one message, and waits for it without a limit. Requires that a thread will post.
    void Pump();
    void PumpUntil(const std::function<bool()>& done);
    /// Dispatches the waiting messages, and returns their number.
    int PumpWaiting();

    int waitCursors = 0;        // begun and not ended
    int fonts = 0;              // made and not deleted
    bool refusesFonts = false;  // NewFont fails

private:
    friend class EMemoryTreeView;
    struct Loop;
    class ImageList;
    struct Timer {
        EMemoryTreeView* view;
        unsigned int timerID;
        unsigned int period;
        std::uint64_t due;
    };
    void StartTimer(EMemoryTreeView& view, unsigned int timerID, unsigned int period);
    void StopTimer(const EMemoryTreeView& view, unsigned int timerID);
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
