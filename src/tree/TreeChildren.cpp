#include "tree/TreeChildren.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <string>

namespace etabulon::detail {

namespace {

// Below this a look at each child is faster than an index.
constexpr std::size_t kFewChildren = 16;
// With fewer newcomers than one in this many, each is placed by bisection, reading few siblings.
constexpr std::size_t kBisectShare = 16;

}  // namespace

/// A child with its comparison text in an arena.
struct TreeChildren::SortItem {
    std::uint64_t prefix;  // the first eight bytes, so that most comparisons end here
    std::size_t begin;
    std::size_t length;
    std::uint32_t arrival;
    EDataTreeNode* node;
};

/// Comparison texts of siblings: byte order is the tree's order, before reversal.
class TreeChildren::SortTexts {
public:
    SortTexts(const ETabulonSortDesc& sort, const ETabulonSortDesc::SortKey& key)
        : sort_(sort), key_(key) {}

    [[nodiscard]] SortItem Make(EDataTreeNode* node, std::uint32_t arrival) {
        const Chaine text = sort_.ComparisonKey(ValueOf(*node));
        SortItem item{0, arena_.size(), text.Length(), arrival, node};
        char first[8] = {};
        std::memcpy(first, text.c_str(), std::min<std::size_t>(text.Length(), sizeof first));
        for (const char byte : first) {
            item.prefix = (item.prefix << 8) | static_cast<unsigned char>(byte);
        }
        arena_.append(text.c_str(), text.Length());
        return item;
    }
    /// The tree's order of two texts.
    [[nodiscard]] int Compare(const SortItem& a, const SortItem& b) const noexcept {
        int order = 0;
        if (a.prefix != b.prefix) {
            order = a.prefix < b.prefix ? -1 : 1;
        } else {
            const std::size_t shorter = std::min(a.length, b.length);
            order = std::memcmp(arena_.data() + a.begin, arena_.data() + b.begin, shorter);
            if (order == 0 && a.length != b.length) {
                order = a.length < b.length ? -1 : 1;
            }
        }
        return key_.IsReverseOrder() ? -order : order;
    }

private:
    [[nodiscard]] const ETabulonValue& ValueOf(const EDataTreeNode& node) const {
        if (node.byValue_ && node.level_ == key_.Level()) {
            return node.value_;
        }
        const ETabulonValue* value = node.Tag().Find(key_.Level());
        return value != nullptr ? *value : ETabulonValue::Null;
    }

    const ETabulonSortDesc& sort_;
    const ETabulonSortDesc::SortKey& key_;
    std::string arena_;
};

TreeChildren::~TreeChildren() {
    for (EDataTreeNode* node : nodes_) {
        if (node != nullptr) {
            node->Release();
        }
    }
}

// ------------------------------------------------------------------------------------------- index

EDataTreeNode* TreeChildren::FindByValue(const ETabulonValue& value) {
    if (nodes_.size() <= kFewChildren) {
        for (EDataTreeNode* node : nodes_) {
            if (node->byValue_ && node->value_ == value) {
                return node;
            }
        }
        return nullptr;
    }
    if (slots_.empty()) {
        Reindex();
    }
    const std::size_t mask = slots_.size() - 1;
    for (std::size_t slot = value.Hash() & mask; slots_[slot] != 0; slot = (slot + 1) & mask) {
        EDataTreeNode* node = nodes_[slots_[slot] - 1];
        if (node->value_ == value) {
            return node;
        }
    }
    return nullptr;
}

EDataTreeNode* TreeChildren::FindIrregular(const ETabulonTag& tag) const {
    if (irregular_ == 0) {
        return nullptr;
    }
    const auto found = std::find_if(nodes_.begin(), nodes_.end(), [&](const EDataTreeNode* node) {
        return !node->byValue_ && node->Tag() == tag;
    });
    return found != nodes_.end() ? *found : nullptr;
}

void TreeChildren::Index(std::size_t place) noexcept {
    const EDataTreeNode* node = nodes_[place];
    if (!node->byValue_) {
        return;
    }
    const std::size_t mask = slots_.size() - 1;
    std::size_t slot = node->value_.Hash() & mask;
    while (slots_[slot] != 0) {
        slot = (slot + 1) & mask;
    }
    slots_[slot] = static_cast<std::uint32_t>(place + 1);
}

void TreeChildren::Reindex() {
    const std::size_t size = std::bit_ceil(nodes_.size() * 2);
    slots_.assign(std::max(size, slots_.size()), 0);
    for (std::size_t place = 0; place < nodes_.size(); ++place) {
        Index(place);
    }
}

void TreeChildren::ReindexIfKept() {
    if (nodes_.size() <= kFewChildren) {
        slots_.clear();
    } else if (!slots_.empty()) {
        Reindex();
    }
}

// ------------------------------------------------------------------------------------------ change

void TreeChildren::Add(EDataTreeNode* child) {
    auto reference = ERef<EDataTreeNode>::Adopt(child);
    nodes_.push_back(child);
    static_cast<void>(reference.Detach());  // the entry's
    if (!child->byValue_) {
        ++irregular_;
        return;
    }
    level_ = child->level_;
    if (slots_.empty()) {
        return;
    }
    if (nodes_.size() * 2 > slots_.size()) {
        Reindex();
    } else {
        Index(nodes_.size() - 1);
    }
}

EDataTreeNode* TreeChildren::TakeOut(std::size_t index) noexcept {
    EDataTreeNode* node = nodes_[index];
    irregular_ -= node->byValue_ ? 0U : 1U;
    nodes_[index] = nullptr;
    return node;
}

void TreeChildren::CloseGaps() {
    const auto placedEnd = nodes_.begin() + placed_;
    placed_ -= static_cast<std::uint32_t>(std::count(nodes_.begin(), placedEnd, nullptr));
    std::erase(nodes_, nullptr);
    ReindexIfKept();
}

// ------------------------------------------------------------------------------------------- order

void TreeChildren::Place() {
    if (!HasWaiting()) {
        return;
    }
    const ETabulonSortDesc& sort = *owner_.sortDesc_;
    const unsigned depth = owner_.Depth();
    if (nodes_.size() > 1 && depth < sort.SortLevelCount(ETabulonSortDesc::SortKey::HideInTree)) {
        const ETabulonSortDesc::SortKey key =
            sort.SortLevel(depth, ETabulonSortDesc::SortKey::HideInTree);
        if (placed_ > 1 && orderStamp_ != sort.OrderStamp()) {
            // The siblings were filed under another order: only the scan gives the scan's answer.
            PlaceByScan(key);
        } else {
            orderStamp_ = sort.OrderStamp();
            PlaceBySort(key);
        }
        ReindexIfKept();
    } else if (nodes_.size() == 1) {
        orderStamp_ = sort.OrderStamp();
    }
    placed_ = static_cast<std::uint32_t>(nodes_.size());
}

void TreeChildren::PlaceByScan(const ETabulonSortDesc::SortKey& key) {
    const ETabulonSortDesc& sort = *owner_.sortDesc_;
    for (std::size_t waiting = placed_; waiting < nodes_.size(); ++waiting) {
        EDataTreeNode* newcomer = nodes_[waiting];
        std::size_t place = 0;
        while (place < waiting && sort.Compare(newcomer->Tag(), nodes_[place]->Tag(), key) > 0) {
            ++place;
        }
        std::rotate(nodes_.begin() + static_cast<std::ptrdiff_t>(place),
                    nodes_.begin() + static_cast<std::ptrdiff_t>(waiting),
                    nodes_.begin() + static_cast<std::ptrdiff_t>(waiting) + 1);
    }
}

void TreeChildren::PlaceBySort(const ETabulonSortDesc::SortKey& key) {
    SortTexts texts(*owner_.sortDesc_, key);
    std::vector<SortItem> waiting;
    waiting.reserve(nodes_.size() - placed_);
    for (std::size_t place = placed_; place < nodes_.size(); ++place) {
        waiting.push_back(texts.Make(nodes_[place], static_cast<std::uint32_t>(place)));
    }
    std::sort(waiting.begin(), waiting.end(), [&](const SortItem& a, const SortItem& b) {
        const int order = texts.Compare(a, b);
        return order != 0 ? order < 0 : a.arrival > b.arrival;
    });
    if (placed_ == 0) {
        std::transform(waiting.begin(), waiting.end(), nodes_.begin(),
                       [](const SortItem& item) { return item.node; });
        return;
    }

    // Each newcomer goes in front of the first sibling that isn't below it.
    const bool few = waiting.size() * kBisectShare < placed_;
    std::vector<SortItem> siblings;
    if (!few) {
        siblings.reserve(placed_);
        for (std::size_t place = 0; place < placed_; ++place) {
            siblings.push_back(texts.Make(nodes_[place], 0));
        }
    }
    std::size_t from = placed_;
    std::size_t to = nodes_.size();
    for (auto item = waiting.rbegin(); item != waiting.rend(); ++item) {
        std::size_t place = from;
        if (few) {
            const auto begin = nodes_.begin();
            place = static_cast<std::size_t>(
                std::partition_point(begin, begin + static_cast<std::ptrdiff_t>(from),
                                     [&](EDataTreeNode* sibling) {
                                         return texts.Compare(texts.Make(sibling, 0), *item) < 0;
                                     }) -
                begin);
        } else {
            while (place > 0 && texts.Compare(siblings[place - 1], *item) >= 0) {
                --place;
            }
        }
        std::move_backward(nodes_.begin() + static_cast<std::ptrdiff_t>(place),
                           nodes_.begin() + static_cast<std::ptrdiff_t>(from),
                           nodes_.begin() + static_cast<std::ptrdiff_t>(to));
        to -= from - place;
        from = place;
        nodes_[--to] = item->node;
    }
}

}  // namespace etabulon::detail
