#pragma once

namespace etabulon {

class EDataTree;
class EDataTreeAvailableAlerts;
class EDataTreeFiller;
class EDataTreeNode;
class EDataTreeNodeRoot;
class EDataTreeRaisedAlerts;
class EDataTreeThread;
class ETreeTotals;

}  // namespace etabulon
