#include "tree/TreeChildren.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <string>
#include <utility>

namespace etabulon::detail {

namespace {

constexpr auto kInTree = ETabulonSortDesc::SortKey::HideInTree;

// With fewer newcomers than one in this many, each is placed by bisection, reading few siblings.
constexpr std::size_t kBisectShare = 16;
constexpr std::size_t kFirstCapacity = 4;
// Nodes lie where the records happened to make them: asked for ahead, several are on their way.
constexpr std::size_t kAhead = 8;

std::uint16_t MarkOf(const ETabulonValue& value) noexcept {
    return static_cast<std::uint16_t>(value.Hash() >> 16);
}

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
        const std::size_t begin = arena_.size();
        AppendKey(ValueOf(*node));
        SortItem item{0, begin, arena_.size() - begin, place, node};
        char first[8] = {};
        std::memcpy(first, arena_.data() + begin, std::min(item.length, sizeof first));
        for (const char byte : first) {
            item.prefix = (item.prefix << 8) | static_cast<unsigned char>(byte);
        }
        return item;
    }
    [[nodiscard]] std::vector<SortItem> Make(std::size_t from, std::size_t to) {
        std::vector<SortItem> items;
        items.reserve(to - from);
        for (std::size_t place = from; place < to; ++place) {
            children_.LookAhead(place);
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

    void AppendKey(const ETabulonValue& value) {
        EVariant::TextBuffer buffer;
        Chaine holder;
        if (children_.isOnData_) {
            arena_ += value.Data().AsText(buffer, holder);
            return;
        }
        const std::string_view text = value.DisplayText(buffer, holder);
        const std::size_t begin = arena_.size();
        std::size_t room = 2 * text.size() + 16;
        std::size_t length = 0;
        do {
            arena_.resize(begin + room);
            length = Chaine::LocaleSortKey(text, arena_.data() + begin, room);
        } while (length > std::exchange(room, length));
        arena_.resize(begin + length);
    }

    const TreeChildren& children_;
    std::string arena_;
};

void TreeChildren::LookAhead(std::size_t place) const noexcept {
    if (place + kAhead < nodes_.size()) {
        __builtin_prefetch(nodes_[place + kAhead]);
        __builtin_prefetch(&nodes_[place + kAhead]->value_.Data());
    }
}

// ------------------------------------------------------------------------------------------- index

EDataTreeNode* TreeChildren::FindByValue(const ETabulonValue& value) {
    if (nodes_.size() > kFewChildren) {
        return FindByIndex(value);
    }
    if (nodes_.size() > kHandfulOfChildren) {
        return FindByMark(value);
    }
    const auto found = std::find_if(
        nodes_.begin(), nodes_.end(),
        [&value](const EDataTreeNode* node) { return node->byValue_ && node->value_ == value; });
    return found != nodes_.end() ? *found : nullptr;
}

EDataTreeNode* TreeChildren::FindByMark(const ETabulonValue& value) {
    if (isIndexStale_) {
        Reindex();
    }
    const std::uint16_t mark = MarkOf(value);
    for (std::size_t place = 0; place < nodes_.size(); ++place) {
        if (marks_[place] == mark && nodes_[place]->byValue_ && nodes_[place]->value_ == value) {
            return nodes_[place];
        }
    }
    return nullptr;
}

EDataTreeNode* TreeChildren::FindByIndex(const ETabulonValue& value) {
    if (isIndexStale_) {
        Reindex();
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
    if (nodes_.size() <= kFewChildren) {
        marks_[place] = MarkOf(node->value_);
        return;
    }
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

/// Sees to it that one child more fits, in an index with a quarter of its slots free.
void TreeChildren::MakeRoom() {
    const std::size_t size = nodes_.size() + 1;
    if (nodes_.capacity() < size) {
        nodes_.reserve(std::max(kFirstCapacity, nodes_.size() * 2));
    }
    const std::size_t needed = size > kFewChildren ? size * 4 / 3 + 1 : 0;
    if (needed > slots_.size()) {
        std::vector<std::uint32_t> larger(std::bit_ceil(needed), 0);
        slots_.swap(larger);
        isIndexStale_ = true;
    }
    if (size == kHandfulOfChildren + 1 || size == kFewChildren + 1) {
        isIndexStale_ = true;
    }
}

void TreeChildren::Reindex() noexcept {
    isIndexStale_ = false;
    std::fill(slots_.begin(), slots_.end(), 0U);
    for (std::size_t place = 0; place < nodes_.size(); ++place) {
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
    MakeRoom();
    nodes_.push_back(child);
    if (child->byValue_) {
        level_ = child->level_;
    } else {
        ++irregular_;
    }
    if (nodes_.size() > kHandfulOfChildren && !isIndexStale_) {
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
    const auto dirty = static_cast<std::size_t>(std::count_if(
        nodes_.begin(), nodes_.end(), [](const EDataTreeNode* node) { return node->dirty_; }));
    std::vector<EDataTreeNode*> taken;
    taken.reserve(dirty);
    if (nodes_.size() - dirty <= kFewChildren && !slots_.empty()) {
        std::vector<std::uint32_t>().swap(slots_);
        isIndexStale_ = true;
    }
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
    isIndexStale_ = true;
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
        isIndexStale_ = true;
    }
    placed_ = static_cast<std::uint32_t>(nodes_.size());
    if (nodes_.capacity() - nodes_.size() > nodes_.size() / 2 &&
        nodes_.capacity() > kFirstCapacity) {
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
