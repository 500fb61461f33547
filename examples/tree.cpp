// Levels and a tree: one walk fills it, a new order of levels needs none.

#include "Shop.h"
#include "etabulon/tree/EDataTree.h"

#include <cstdio>

using namespace etabulon;

static void Print(const EDataTreeNode& node) {
    const int indent = static_cast<int>(2 * node.Depth());
    std::printf("%*s%s", indent, "", node.DisplayValue().DisplayValue().c_str());
    std::printf(node.IsTreeLeaf() ? "\n" : " (%u)\n", node.LeafCount());
    for (unsigned int index = 0; index < node.Size(); ++index) {
        Print(*node.Get(index));
    }
}

int main() {
    Shop shop;
    if (const auto unknown = shop.cursor.FindUnresolved(); !unknown.empty()) {
        std::fprintf(stderr, "orders has no %s\n", unknown.front().Code().c_str());
        return 1;
    }
    EDataTree tree(&shop.cursor, "Orders", nullptr);
    tree.SetHideLevelFlags(kProduct, ETabulonSortDesc::HideInTree);
    if (tree.Fill() != StatusOk) {
        return 1;
    }
    Print(*tree.Root());

    const ETabulonTag lyon{{kCountry, "France"}, {kCity, "Lyon"}};
    const EDataTreeNode* const node = tree.Get(lyon);
    std::printf("%s holds order %s\n", lyon.DisplayID().c_str(),
                node->PrimaryKey().SingleCode().DisplayValue().c_str());

    tree.MoveSortLevel(kCity, 0);  // the city first
    Print(*tree.Root());

    shop.table->Append({EVariant(6), EVariant("France"), EVariant("Lille"), EVariant("Lamp"),
                        EVariant(1), EVariant::FromDouble(45)});
    tree.Refresh();  // keeps the nodes that the walk meets again
    Print(*tree.Root());
    return tree.Root()->LeafCount() == 4 ? 0 : 1;
}
