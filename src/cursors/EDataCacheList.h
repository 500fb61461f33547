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
/// A line's place is found as by a walk from the end. While the lines are known to be in one total
/// order, which a line of few levels or a change of the sort description ends, the same place is
/// found by bisection.
/// Failure  what throws changes nothing.
class ETabulonCursorCache::EDataCache::List {
public:
    explicit List(const ETabulonSortDesc& sortDesc) : sortDesc_(sortDesc), order_(Before{this}) {}

    /// Files a line that isn't in the list.
    void Insert(CacheLine& line);
    /// Files lines, given in order of arrival, in an empty list.
    void Fill(std::vector<CacheLine*>& lines, std::vector<detail::CacheTag*>& tags);
    void Remove(EPosition number) noexcept;
    void Clear() noexcept;

    /// By the line's number; null if it isn't here.
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
        Order::iterator place{};  // good while order_ isn't empty
    };

    [[nodiscard]] int Compare(const CacheLine& a, const CacheLine& b) const;
    [[nodiscard]] bool HasAllLevels(const ETabulonTag& tag) const;
    void CheckOrder(const CacheLine& added);
    [[nodiscard]] Node* FindPredecessor(Node& node);
    void FillOrder();
    void LinkBehind(Node* previous, Node& node) noexcept;
    [[nodiscard]] const Node* FindNode(EPosition number) const;

    const ETabulonSortDesc& sortDesc_;
    std::unordered_map<EPosition, Node> nodes_;
    Node* first_ = nullptr;
    Node* last_ = nullptr;
    bool isOrdered_ = true;  // totally, by the order of orderStamp_
    std::uint64_t orderStamp_ = 0;
    Order order_;  // the same lines; empty until a place other than the end is looked for
    // The last node that was looked for: a walk asks for its neighbours in turn.
    mutable const Node* found_ = nullptr;
};

}  // namespace etabulon
