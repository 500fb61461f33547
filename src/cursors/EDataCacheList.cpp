#include "cursors/EDataCacheList.h"

#include "etabulon/sort/ETabulonSortDesc.h"

#include <algorithm>

namespace etabulon {

bool ETabulonCursorCache::EDataCache::List::Before::operator()(const Node* a, const Node* b) const {
    return list->Compare(*a->line, *b->line) < 0;
}

int ETabulonCursorCache::EDataCache::List::Compare(const CacheLine& a, const CacheLine& b) const {
    return &a.SharedTag() == &b.SharedTag() ? 0 : sortDesc_.Compare(a.Tag(), b.Tag(), 0);
}

bool ETabulonCursorCache::EDataCache::List::HasAllLevels(const ETabulonTag& tag) const {
    const auto levels = sortDesc_.VisibleLevels(0);
    return std::all_of(levels.begin(), levels.end(),
                       [&tag](unsigned int level) { return tag.Find(level) != nullptr; });
}

// ------------------------------------------------------------------------------------------ filing

void ETabulonCursorCache::EDataCache::List::CheckOrder(const CacheLine& added) {
    if (nodes_.empty()) {
        isOrdered_ = true;
        orderStamp_ = sortDesc_.OrderStamp();
    }
    if (isOrdered_ && (orderStamp_ != sortDesc_.OrderStamp() || !HasAllLevels(added.Tag()))) {
        isOrdered_ = false;
        order_.clear();
    }
}

void ETabulonCursorCache::EDataCache::List::Insert(CacheLine& line) {
    CheckOrder(line);
    const auto added = nodes_.try_emplace(line.Number()).first;
    Node& node = added->second;
    node.line = &line;
    try {
        LinkAfter(FindPredecessor(node), node);
    } catch (...) {
        nodes_.erase(added);
        throw;
    }
}

ETabulonCursorCache::EDataCache::List::Node* ETabulonCursorCache::EDataCache::List::FindPredecessor(
    Node& node) {
    if (last_ == nullptr || Compare(*node.line, *last_->line) >= 0) {
        if (!order_.empty()) {
            node.entry = order_.emplace_hint(order_.end(), &node);
        }
        return last_;
    }
    if (!isOrdered_) {
        Node* at = last_->previous;
        while (at != nullptr && Compare(*node.line, *at->line) < 0) {
            at = at->previous;
        }
        return at;
    }
    FillOrder();
    node.entry = order_.insert(&node);  // after its equals
    return node.entry == order_.begin() ? nullptr : *std::prev(node.entry);
}

void ETabulonCursorCache::EDataCache::List::FillOrder() {
    if (!order_.empty()) {
        return;
    }
    try {
        for (Node* node = first_; node != nullptr; node = node->next) {
            node->entry = order_.emplace_hint(order_.end(), node);
        }
    } catch (...) {
        order_.clear();
        throw;
    }
}

void ETabulonCursorCache::EDataCache::List::LinkAfter(Node* previous, Node& node) noexcept {
    node.previous = previous;
    node.next = previous != nullptr ? previous->next : first_;
    (node.previous != nullptr ? node.previous->next : first_) = &node;
    (node.next != nullptr ? node.next->previous : last_) = &node;
}

// Sorts the distinct tags by comparison, and then the lines by the ranks of their tags.
void ETabulonCursorCache::EDataCache::List::Fill(std::vector<CacheLine*>& lines,
                                                 std::vector<detail::CacheTag*>& tags) {
    const bool isTotal = std::all_of(tags.begin(), tags.end(), [this](const detail::CacheTag* tag) {
        return HasAllLevels(tag->tag);
    });
    if (isTotal) {
        std::stable_sort(tags.begin(), tags.end(),
                         [this](const detail::CacheTag* a, const detail::CacheTag* b) {
                             return sortDesc_.Compare(a->tag, b->tag, 0) < 0;
                         });
        std::uint32_t rank = 0;
        for (std::size_t index = 0; index < tags.size(); ++index) {
            if (index != 0 && sortDesc_.Compare(tags[index - 1]->tag, tags[index]->tag, 0) != 0) {
                ++rank;
            }
            tags[index]->rank = rank;
        }
        std::stable_sort(lines.begin(), lines.end(), [](const CacheLine* a, const CacheLine* b) {
            return a->SharedTag().rank < b->SharedTag().rank;
        });
    }
    nodes_.reserve(lines.size());
    for (CacheLine* const line : lines) {
        if (!isTotal) {
            Insert(*line);
            continue;
        }
        Node& node = nodes_[line->Number()];
        node.line = line;
        LinkAfter(last_, node);
    }
    orderStamp_ = isTotal ? sortDesc_.OrderStamp() : orderStamp_;
}

void ETabulonCursorCache::EDataCache::List::Remove(EPosition number) noexcept {
    const auto at = nodes_.find(number);
    if (at == nodes_.end()) {
        return;
    }
    Node& node = at->second;
    if (!order_.empty()) {
        order_.erase(node.entry);
    }
    (node.previous != nullptr ? node.previous->next : first_) = node.next;
    (node.next != nullptr ? node.next->previous : last_) = node.previous;
    if (found_ == &node) {
        found_ = nullptr;
    }
    nodes_.erase(at);
}

void ETabulonCursorCache::EDataCache::List::Clear() noexcept {
    order_.clear();
    nodes_.clear();
    first_ = last_ = nullptr;
    found_ = nullptr;
}

// ----------------------------------------------------------------------------------------- walking

const ETabulonCursorCache::EDataCache::List::Node* ETabulonCursorCache::EDataCache::List::FindNode(
    EPosition number) const {
    if (found_ == nullptr || found_->line->Number() != number) {
        const auto at = nodes_.find(number);
        found_ = at != nodes_.end() ? &at->second : nullptr;
    }
    return found_;
}

ETabulonCursorCache::CacheLine* ETabulonCursorCache::EDataCache::List::Find(
    EPosition number) const {
    const Node* const node = FindNode(number);
    return node != nullptr ? node->line : nullptr;
}

ETabulonCursorCache::CacheLine* ETabulonCursorCache::EDataCache::List::First() const noexcept {
    found_ = first_;
    return first_ != nullptr ? first_->line : nullptr;
}

ETabulonCursorCache::CacheLine* ETabulonCursorCache::EDataCache::List::Last() const noexcept {
    found_ = last_;
    return last_ != nullptr ? last_->line : nullptr;
}

ETabulonCursorCache::CacheLine* ETabulonCursorCache::EDataCache::List::Next(
    const CacheLine& line) const {
    const Node* const node = FindNode(line.Number());
    if (node == nullptr || node->next == nullptr) {
        return nullptr;
    }
    found_ = node->next;
    return found_->line;
}

ETabulonCursorCache::CacheLine* ETabulonCursorCache::EDataCache::List::Previous(
    const CacheLine& line) const {
    const Node* const node = FindNode(line.Number());
    if (node == nullptr || node->previous == nullptr) {
        return nullptr;
    }
    found_ = node->previous;
    return found_->line;
}

}  // namespace etabulon
