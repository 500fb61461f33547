#pragma once

#include "etabulon/sort/ETabulonSortDesc.h"
#include "etabulon/tree/EDataTreeNode.h"

#include <cstdint>
#include <string>

namespace etabulon::test {

/// "root{FR{Lyon Paris} DE{Berlin}}": what each node shows, "-" for an empty text.
inline std::string TreeText(const EDataTreeNode& node) {
    std::string text = node.DisplayValue().DisplayValue().c_str();
    text = text.empty() ? "-" : text;
    for (unsigned int index = 0; index < node.Size(); ++index) {
        text += (index == 0 ? "{" : " ") + TreeText(*node.Get(index));
    }
    return text + (node.Size() == 0 ? "" : "}");
}

/// What is wrong with the links, counts and lookups of the nodes from here on; "" if nothing is.
inline std::string CheckTree(const EDataTreeNode& node) {
    const std::string name = node.Tag().DisplayID().c_str();
    std::string faults;
    std::uint32_t leaves = 0;
    for (unsigned int index = 0; index < node.Size(); ++index) {
        const EDataTreeNode& child = *node.Get(index);
        leaves += child.LeafCount() + (child.IsTreeLeaf() ? 1 : 0);
        if (child.Parent() != &node || child.Depth() != node.Depth() + 1 || child.IsRoot()) {
            faults += "link of " + std::string(child.Tag().DisplayID().c_str()) + "; ";
        }
        if (node.Get(child.Tag()) != &child || child.Get(child.Tag()) != &child) {
            faults += "lookup of " + std::string(child.Tag().DisplayID().c_str()) + "; ";
        }
        ETabulonTag extracted;
        child.ExtractTag(extracted);
        if (!(extracted == child.Tag()) ||
            child.Tag().KnownLevelsCount() <= node.Tag().KnownLevelsCount()) {
            faults += "tag of " + std::string(child.Tag().DisplayID().c_str()) + "; ";
        }
        faults += CheckTree(child);
    }
    if (leaves != node.LeafCount()) {
        faults += "leaves of " + name + "; ";
    }
    if (node.Get(node.Size()) != nullptr) {
        faults += "end of " + name + "; ";
    }
    return faults;
}

/// The siblings that don't stand in the order of `sort`; for trees that were filed under it.
inline std::string CheckOrder(const EDataTreeNode& node, const ETabulonSortDesc& sort) {
    std::string faults;
    for (unsigned int index = 0; index < node.Size(); ++index) {
        const ETabulonTag& tag = node.Get(index)->Tag();
        if (index != 0 && sort.Compare(node.Get(index - 1)->Tag(), tag, node.Depth(),
                                       ETabulonSortDesc::HideInTree) > 0) {
            faults += "order of " + std::string(tag.DisplayID().c_str()) + "; ";
        }
        faults += CheckOrder(*node.Get(index), sort);
    }
    return faults;
}

}  // namespace etabulon::test
