// The smallest window system: a view that prints its lines, and a loop that passes messages from
// the worker. An application draws where this program prints.

#include "Shop.h"
#include "etabulon/controls/EDataTreeCtrl.h"
#include "etabulon/controls/EDataTreeMessages.h"
#include "etabulon/controls/EPlainScreen.h"
#include "etabulon/controls/ETreeViewItems.h"

#include <condition_variable>
#include <cstdio>
#include <deque>
#include <memory>
#include <mutex>

using namespace etabulon;

/// The message loop: the worker's thread adds a port, the screen's thread lets it deliver.
class Loop {
public:
    [[nodiscard]] EMessagePort::Waker MakeWaker(std::weak_ptr<EMessagePort> port) const {
        return [queue = queue_, port = std::move(port)] {
            const std::lock_guard guard(queue->lock);
            queue->ports.push_back(port);
            queue->isFilled.notify_one();
        };
    }
    /// Waits for a message and delivers it.
    void Step() {
        std::unique_lock guard(queue_->lock);
        queue_->isFilled.wait(guard, [this] { return !queue_->ports.empty(); });
        const std::shared_ptr<EMessagePort> port = queue_->ports.front().lock();
        queue_->ports.pop_front();
        guard.unlock();
        if (port != nullptr) {
            port->Dispatch();
        }
    }

private:
    struct Queue {
        std::mutex lock;
        std::condition_variable isFilled;
        std::deque<std::weak_ptr<EMessagePort>> ports;
    };
    std::shared_ptr<Queue> queue_ = std::make_shared<Queue>();  // a waker may outlive the loop
};

/// ETreeViewItems has the items. What is left is drawing, timers and messages.
class View : public ETreeViewItems {
public:
    explicit View(const Loop& loop) : loop_(loop) {}
    ~View() override { Close(); }

    void Draw() {
        for (_TREEITEM* item = FirstItem(); item != nullptr; item = NextVisibleItem(item)) {
            int depth = 0;
            for (_TREEITEM* at = ParentItem(item); at != nullptr; at = ParentItem(at)) {
                ++depth;
            }
            std::printf("%*s%s%s\n", 2 * depth, "", item == SelectedItem() ? "*" : "",
                        ItemText(item).c_str());
        }
        isDirty = false;
    }

    void SetRedraw(bool on) override { isRedrawOn = on; }
    void AttachImages(IImageList*) override {}
    void Invalidate() override { isDirty = true; }
    void InvalidateItem(_TREEITEM*) override { isDirty = true; }
    void UpdateNow() override {}
    [[nodiscard]] ERect WindowRect() const override { return {0, 0, 80, 25}; }
    [[nodiscard]] ERect ClientRect() const override { return WindowRect(); }
    [[nodiscard]] EColour BackgroundColour() const override { return kDefaultColour; }
    void SetBackgroundColour(EColour) override {}
    void SetTextColour(EColour) override {}
    void MoveWindow(const ERect&) override {}
    void Print(IDrawSurface&) override {}
    // Timers: the control blinks by one while it waits. A window calls Events()->OnTimer.
    [[nodiscard]] unsigned int SetTimer(unsigned int timerID, unsigned int) override {
        return timerID;
    }
    void KillTimer(unsigned int) override {}
    [[nodiscard]] EMessagePort::Waker MakeWaker(std::weak_ptr<EMessagePort> port) override {
        return loop_.MakeWaker(std::move(port));
    }
    std::intptr_t SendToOwner(std::uint32_t number, std::intptr_t, std::intptr_t) override {
        isFilled = isFilled || number == NotifyBrowseDone;
        return 0;
    }

    bool isDirty = false;
    bool isRedrawOn = true;
    bool isFilled = false;

private:
    const Loop& loop_;
};

int main() {
    Shop shop;
    Loop loop;
    EPlainScreen screen;
    View view(loop);
    EDataTreeCtrl control(screen);
    control.Attach(&view);
    control.Init(&shop.cursor, "Orders", nullptr);

    control.Fill();
    while (!view.isFilled) {
        loop.Step();
        if (view.isDirty && view.isRedrawOn) {
            view.Draw();
        }
    }
    // The user closes the first country: the view raises the event that the control hears.
    _TREEITEM* const austria = view.FirstChild(view.FirstItem());
    view.Expand(austria, TreeCollapse);
    view.Draw();
    const Chaine next = view.ItemText(view.NextVisibleItem(austria));
    control.Attach(nullptr);
    return next == Chaine("France") ? 0 : 1;
}
