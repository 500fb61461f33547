#include "tree/TreeChildren.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <string>
#include <utility>

namespace etabulon::detail {

namespace {

constexpr auto kInTree = ETabulonSortDesc::SortKey::HideInTree;

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
    std::size_t place;  // where it stands, and later where it goes
    EDataTreeNode* node;
};

/// Comparison texts of siblings, compared by the order in which the newest came.
class TreeChildren::SortTexts {
public:
    explicit SortTexts(const TreeChildren& children) : children_(children) {}

    [[nodiscard]] SortItem Make(std::size_t place) {
        EDataTreeNode* node = children_.nodes_[place];
        const ETabulonValue& value = ValueOf(*node);
        const Chaine text =
            children_.isOnData_ ? value.Data().AsChaine() : value.DisplayText().LocaleSortKey();
        SortItem item{0, arena_.size(), text.Length(), place, node};
        char first[8] = {};
        std::memcpy(first, text.c_str(), std::min<std::size_t>(text.Length(), sizeof first));
        for (const char byte : first) {
            item.prefix = (item.prefix << 8) | static_cast<unsigned char>(byte);
        }
        arena_.append(text.c_str(), text.Length());
        return item;
    }
    [[nodiscard]] std::vector<SortItem> Make(std::size_t from, std::size_t to) {
        std::vector<SortItem> items;
        items.reserve(to - from);
        for (std::size_t place = from; place < to; ++place) {
            items.push_back(Make(place));
        }
        return items;
    }
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
        return children_.isReverse_ ? -order : order;
    }

private:
    /// A sibling may lack the level, after a change of levels that didn't empty the tree.
    [[nodiscard]] const ETabulonValue& ValueOf(const EDataTreeNode& node) const {
        if (node.byValue_ && node.level_ == children_.orderLevel_) {
            return node.value_;
        }
        const ETabulonValue* value = node.Tag().Find(children_.orderLevel_);
        return value != nullptr ? *value : ETabulonValue::Null;
    }

    const TreeChildren& children_;
    std::string arena_;
};

// ------------------------------------------------------------------------------------------- index

EDataTreeNode* TreeChildren::FindByValue(const ETabulonValue& value) {
    if (nodes_.size() <= kFewChildren) {
        const auto found =
            std::find_if(nodes_.begin(), nodes_.end(), [&value](const EDataTreeNode* node) {
                return node->byValue_ && node->value_ == value;
            });
        return found != nodes_.end() ? *found : nullptr;
    }
    if (slots_.empty()) {
        MakeRoomInIndex();
    }
    const auto mask = static_cast<std::uint32_t>(slots_.size() - 1);
    const std::uint32_t hash = value.Hash();
    for (std::uint32_t at = hash & mask; slots_[at] != 0; at = (at + 1) & mask) {
        if (((slots_[at] ^ hash) & ~mask) != 0) {
            continue;
        }
        EDataTreeNode* node = nodes_[(slots_[at] & mask) - 1];
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
    const auto found = std::find_if(
        nodes_.begin(), nodes_.end(),
        [&tag](const EDataTreeNode* node) { return !node->byValue_ && node->Tag() == tag; });
    return found != nodes_.end() ? *found : nullptr;
}

void TreeChildren::Index(std::size_t place) noexcept {
    const EDataTreeNode* node = nodes_[place];
    if (!node->byValue_) {
        return;
    }
    const auto mask = static_cast<std::uint32_t>(slots_.size() - 1);
    const std::uint32_t hash = node->value_.Hash();
    std::uint32_t at = hash & mask;
    while (slots_[at] != 0) {
        at = (at + 1) & mask;
    }
    slots_[at] = (hash & ~mask) | static_cast<std::uint32_t>(place + 1);
}

/// Sees to it that one child more fits, with a quarter of the slots free.
void TreeChildren::MakeRoomInIndex() {
    const std::size_t needed = (nodes_.size() + 1) * 4 / 3 + 1;
    if (needed > slots_.size()) {
        std::vector<std::uint32_t> larger(std::bit_ceil(needed), 0);
        slots_.swap(larger);
        Reindex();
    }
}

/// Allocates nothing.
void TreeChildren::Reindex() {
    if (nodes_.size() <= kFewChildren) {
        slots_.clear();
        return;
    }
    std::fill(slots_.begin(), slots_.end(), 0U);
    for (std::size_t place = 0; !slots_.empty() && place < nodes_.size(); ++place) {
        Index(place);
    }
}

// ------------------------------------------------------------------------------------------ change

void TreeChildren::Add(EDataTreeNode* child) {
    const ETabulonSortDesc& sort = owner_.SortDesc();
    if (nodes_.empty() || orderStamp_ != sort.OrderStamp()) {
        Place();
        KnowOrder(sort);
    }
    if (!slots_.empty()) {
        MakeRoomInIndex();
    }
    nodes_.push_back(child);
    if (!child->byValue_) {
        ++irregular_;
        return;
    }
    level_ = child->level_;
    if (!slots_.empty()) {
        Index(nodes_.size() - 1);
    }
}

std::vector<EDataTreeNode*> TreeChildren::TakeAll() noexcept {
    std::vector<EDataTreeNode*> taken;
    taken.swap(nodes_);
    slots_.clear();
    placed_ = irregular_ = 0;
    return taken;
}

std::vector<EDataTreeNode*> TreeChildren::TakeDirty() {
    std::vector<EDataTreeNode*> taken;
    taken.reserve(static_cast<std::size_t>(std::count_if(
        nodes_.begin(), nodes_.end(), [](const EDataTreeNode* node) { return node->dirty_; })));
    std::size_t kept = 0;
    std::uint32_t keptPlaced = 0;
    for (std::size_t place = 0; place < nodes_.size(); ++place) {
        EDataTreeNode* node = nodes_[place];
        if (node->dirty_) {
            irregular_ -= node->byValue_ ? 0U : 1U;
            taken.push_back(node);
            continue;
        }
        keptPlaced += place < placed_ ? 1U : 0U;
        nodes_[kept++] = node;
    }
    nodes_.resize(kept);
    placed_ = keptPlaced;
    Reindex();
    return taken;
}

// ------------------------------------------------------------------------------------------- order

/// Notes the order by which newcomers are filed from here on.
void TreeChildren::KnowOrder(const ETabulonSortDesc& sort) {
    orderStamp_ = sort.OrderStamp();
    const unsigned depth = owner_.Depth();
    const bool isOrdered = depth < sort.SortLevelCount(kInTree);
    const ETabulonSortDesc::SortKey key =
        isOrdered ? sort.SortLevel(depth, kInTree) : ETabulonSortDesc::SortKey();
    const bool isOnData = sort.CompareSource() != ETabulonSortDesc::CompareOnDisplay;
    if (isOrdered != isOrdered_ || key.Level() != orderLevel_ ||
        key.IsReverseOrder() != isReverse_ || isOnData != isOnData_) {
        isMixed_ = true;
    }
    isOrdered_ = isOrdered;
    orderLevel_ = key.Level();
    isReverse_ = key.IsReverseOrder();
    isOnData_ = isOnData;
}

void TreeChildren::Place() {
    if (!HasWaiting()) {
        return;
    }
    if (placed_ <= 1) {
        isMixed_ = false;
    }
    if (isOrdered_ && nodes_.size() > 1) {
        if (isMixed_) {
            // The siblings aren't in this order: only the scan gives the scan's answer.
            PlaceByScan();
        } else {
            PlaceBySort();
        }
        Reindex();
    }
    placed_ = static_cast<std::uint32_t>(nodes_.size());
    if (nodes_.capacity() - nodes_.size() > nodes_.size() / 4) {
        nodes_.shrink_to_fit();  // most nodes get no more children after their fill
    }
}

void TreeChildren::PlaceByScan() {
    SortTexts texts(*this);
    std::vector<SortItem> items = texts.Make(0, nodes_.size());
    for (std::size_t waiting = placed_; waiting < items.size(); ++waiting) {
        const auto newcomer = items.begin() + static_cast<std::ptrdiff_t>(waiting);
        const auto place = std::find_if(items.begin(), newcomer, [&](const SortItem& sibling) {
            return texts.Compare(*newcomer, sibling) <= 0;
        });
        std::rotate(place, newcomer, newcomer + 1);
    }
    std::transform(items.begin(), items.end(), nodes_.begin(),
                   [](const SortItem& item) { return item.node; });
}

void TreeChildren::PlaceBySort() {
    SortTexts texts(*this);
    std::vector<SortItem> waiting = texts.Make(placed_, nodes_.size());
    // Deliberate: of equals the newest stands first, as if each had been filed by a scan that stops
    // at the first sibling not below it. EqualSiblings.NewestStandsFirst holds it.
    std::sort(waiting.begin(), waiting.end(), [&texts](const SortItem& a, const SortItem& b) {
        const int order = texts.Compare(a, b);
        return order != 0 ? order < 0 : a.place > b.place;
    });

    // Each goes in front of the first sibling that isn't below it.
    std::size_t end = placed_;
    if (waiting.size() * kBisectShare < placed_) {
        for (auto item = waiting.rbegin(); item != waiting.rend(); ++item) {
            std::size_t begin = 0;
            while (begin < end) {
                const std::size_t middle = begin + (end - begin) / 2;
                if (texts.Compare(texts.Make(middle), *item) < 0) {
                    begin = middle + 1;
                } else {
                    end = middle;
                }
            }
            item->place = end;
        }
    } else {
        const std::vector<SortItem> siblings = texts.Make(0, placed_);
        for (auto item = waiting.rbegin(); item != waiting.rend(); ++item) {
            while (end > 0 && texts.Compare(siblings[end - 1], *item) >= 0) {
                --end;
            }
            item->place = end;
        }
    }

    std::size_t from = placed_;
    std::size_t to = nodes_.size();
    for (auto item = waiting.rbegin(); item != waiting.rend(); ++item) {
        const auto begin = nodes_.begin();
        std::move_backward(begin + static_cast<std::ptrdiff_t>(item->place),
                           begin + static_cast<std::ptrdiff_t>(from),
                           begin + static_cast<std::ptrdiff_t>(to));
        to -= from - item->place;
        from = item->place;
        nodes_[--to] = item->node;
    }
}

}  // namespace etabulon::detail
