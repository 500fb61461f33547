#pragma once

namespace etabulon {

class EDataTreeCtrl;
class EDragTreeCtrl;
class EMessagePort;
struct EMessage;
class ETabulonSelectLevelCtrl;
class ETabulonSelectLevelMenu;
class IDrawSurface;
class IPopupMenu;
class IScreen;
class ITreeView;
class ITreeViewEvents;
class IViewFactory;

}  // namespace etabulon
