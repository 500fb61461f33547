// A tree on a screen: a control fills it in the background and keeps the items of a view in step.
// The window system here is the one in memory; an application gives its own ITreeView and IScreen.

#include "Shop.h"
#include "etabulon/controls/EDataTreeCtrl.h"
#include "etabulon/controls/EDataTreeMessages.h"
#include "etabulon/testing/EMemoryScreen.h"
#include "etabulon/testing/EMemoryTreeView.h"

#include <cstdio>

using namespace etabulon;

int main() {
    Shop shop;
    EMemoryScreen screen;
    EMemoryTreeView view(screen);
    EDataTreeCtrl control(screen);
    control.Attach(&view);
    control.Init(&shop.cursor, "Orders", nullptr);

    // The walk runs on a worker. Its end comes through the message loop, as one notification.
    control.Fill();
    screen.PumpUntil([&view] { return view.Notified(NotifyBrowseDone) > 0; });
    std::printf("%s\n", view.Items().c_str());

    view.Click("Orders/France");
    control.MoveSelectedLevelDown();  // the city above the country
    std::printf("%s\n", view.Items().c_str());
    const ETabulonTag selected = control.Selected();
    std::printf("selected: %s\n", selected.DisplayID().c_str());
    control.Attach(nullptr);
    return view.Notified(NotifyBrowseDone) == 1 ? 0 : 1;
}
