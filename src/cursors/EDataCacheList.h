#pragma once

#include "cursors/ETabulonCursorCacheLine.h"
#include "etabulon/cursors/EDataCache.h"

#include <cstdint>
#include <set>
#include <unordered_map>
#include <vector>

namespace etabulon {

/// The lines of a table as a doubly linked list in their order.
///
/// A new line's position is defined by a linear search from the end. While the lines are in a total
/// order, a balanced tree finds the same position in logarithmic time. A line whose tag lacks a
/// level and a change of the sort description end the total order.
/// Failure  an operation that throws leaves the list unchanged.
class ETabulonCursorCache::EDataCache::List {
public:
    explicit List(const ETabulonSortDesc& sortDesc) : sortDesc_(sortDesc), order_(Before{this}) {}

    /// Files a line that isn't in the list.
    void Insert(CacheLine& line);
    /// Files lines, given in order of arrival, in an empty list.
    void Fill(std::vector<CacheLine*>& lines, std::vector<detail::CacheTag*>& tags);
    void Remove(EPosition number) noexcept;
    void Clear() noexcept;

    /// The line with this number, or null.
    [[nodiscard]] CacheLine* Find(EPosition number) const;
    [[nodiscard]] CacheLine* First() const noexcept;
    [[nodiscard]] CacheLine* Last() const noexcept;
    /// Null at the end, and where `line` isn't in the list.
    [[nodiscard]] CacheLine* Next(const CacheLine& line) const;
    [[nodiscard]] CacheLine* Previous(const CacheLine& line) const;

private:
    struct Node;
    struct Before {
        const List* list;
        bool operator()(const Node* a, const Node* b) const;
    };
    using Order = std::multiset<Node*, Before>;
    struct Node {
        CacheLine* line = nullptr;
        Node* previous = nullptr;
        Node* next = nullptr;
        Order::iterator entry{};  // valid while order_ isn't empty
    };

    [[nodiscard]] int Compare(const CacheLine& a, const CacheLine& b) const;
    [[nodiscard]] bool HasAllLevels(const ETabulonTag& tag) const;
    void CheckOrder(const CacheLine& added);
    [[nodiscard]] Node* FindPredecessor(Node& node);
    void FillOrder();
    void LinkAfter(Node* previous, Node& node) noexcept;
    [[nodiscard]] const Node* FindNode(EPosition number) const;

    const ETabulonSortDesc& sortDesc_;
    std::unordered_map<EPosition, Node> nodes_;
    Node* first_ = nullptr;
    Node* last_ = nullptr;
    bool isOrdered_ = true;  // a total order, in the sort description's state orderStamp_
    std::uint64_t orderStamp_ = 0;
    Order order_;  // the same lines; filled when a line first goes elsewhere than to the end
    // The last node found, which makes each step of a walk constant-time.
    mutable const Node* found_ = nullptr;
};

}  // namespace etabulon
