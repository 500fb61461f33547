// A table as a tree: the orders of a small shop by country and city.

#include "etabulon/cursors/ETabulonCursorEData.h"
#include "etabulon/foundation/DDico.h"
#include "etabulon/foundation/EDataMemory.h"
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
    DDico dictionary;  // what there is: a table and its columns
    DRubric* orders = dictionary.AddRubric("orders");
    for (const char* name : {"id", "country", "city"}) {
        orders->AddVariable(name, name, TYPE_CHAINE, 0);
    }
    orders->SetKey({"id"});

    EDataMemory table(orders);  // the records; a database is opened instead of this
    table.Append({EVariant("1"), EVariant("France"), EVariant("Lyon")});
    table.Append({EVariant("2"), EVariant("Austria"), EVariant("Graz")});
    table.Append({EVariant("3"), EVariant("France"), EVariant("Paris")});

    ETabulonLevels levels;  // the columns that may become levels of the tree
    levels.AddLevel("Country", "country", HICON{});
    levels.AddLevel("City", "city", HICON{});

    ETabulonCursorEData cursor;
    cursor.Init(levels, &table, /*ownsTable=*/false);
    EDataTree tree(&cursor, "Orders", nullptr);
    const bool filled = tree.Fill() == StatusOk;
    Print(*tree.Root());
    tree.MoveSortLevel(1, 0);  // city first: no second walk of the table
    Print(*tree.Root());
    return filled && tree.Root()->LeafCount() == 3 ? 0 : 1;
}
