#include "foundation/EVariantOrderKey.h"
#include "sort/ValueOrder.h"
#include "tree/NodeAccess.h"
#include "tree/TreeSiblings.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <limits>
#include <numeric>
#include <string>
#include <utility>

namespace etabulon::detail {

namespace {

// With fewer new children than one in 16 siblings, each is sorted in by bisection, which reads few
// of the siblings.
constexpr std::size_t kBisectShare = 16;
// Siblings aren't neighbours in memory: so many are prefetched ahead of the one that is read.
constexpr std::size_t kAhead = 8;

}  // namespace

/// A child with its comparison text in an arena.
struct TreeSiblings::SortItem {
    std::uint64_t prefix;  // the first eight bytes, so that most comparisons end here
    std::size_t begin;
    std::size_t length;
    std::size_t index;  // where it stands, and later where it goes
    EDataTreeNode* node;
};

/// Comparison texts of siblings, compared by the order that held when the newest came.
class TreeSiblings::SortTexts {
public:
    explicit SortTexts(const TreeSiblings& siblings) : siblings_(siblings) {}

    [[nodiscard]] SortItem Make(std::size_t index) {
        const std::size_t begin = arena_.size();
        AppendKey(index);
        SortItem item{0, begin, arena_.size() - begin, index,
                      siblings_.IsUnmade(index) ? nullptr : siblings_.At(index)};
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
        for (std::size_t index = from; index < std::min(from + 2 * kAhead, to); ++index) {
            Prefetch(index);
        }
        for (std::size_t index = from; index < to; ++index) {
            if (index + 2 * kAhead < to) {
                Prefetch(index + 2 * kAhead);
            }
            if (index + kAhead < to) {
                PrefetchText(index + kAhead);
            }
            items.push_back(Make(index));
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
        return siblings_.order_.isReverse ? -order : order;
    }

private:
    [[nodiscard]] bool IsNumber(std::size_t index) const noexcept {
        return siblings_.areNumbers_ && index >= siblings_.ordered_.size() &&
               siblings_.level_ == siblings_.order_.level;
    }
    void Prefetch(std::size_t index) const noexcept {
        if (IsNumber(index)) {
            return;
        }
        if (siblings_.IsUnmade(index)) {
            siblings_.unmade_.PrefetchText(index - siblings_.MadeSize());
            return;
        }
        const EDataTreeNode* node = siblings_.At(index);
        PrefetchToRead(node);
        PrefetchToRead(&NodeAccess::Value(*node).Data());
    }
    /// The text of a child whose node has arrived.
    void PrefetchText(std::size_t index) const noexcept {
        if (!IsNumber(index) && !siblings_.IsUnmade(index)) {
            PrefetchToRead(NodeAccess::Value(*siblings_.At(index)).Data().GetBuffer());
        }
    }
    /// A sibling may lack the level, after a change of levels that didn't empty the tree.
    [[nodiscard]] const ETabulonValue& ValueOf(const EDataTreeNode& node) const {
        if (NodeAccess::IsByValue(node) && NodeAccess::Level(node) == siblings_.order_.level) {
            return NodeAccess::Value(node);
        }
        const ETabulonValue* value = node.Tag().Find(siblings_.order_.level);
        return value != nullptr ? *value : ETabulonValue::Null;
    }
    [[nodiscard]] std::int64_t NumberAt(std::size_t index) const noexcept {
        return siblings_.IsUnmade(index)
                   ? siblings_.unmade_.Number(index - siblings_.MadeSize())
                   : siblings_.waiting_[index - siblings_.ordered_.size()].word;
    }
    void AppendKey(std::size_t index) {
        if (IsNumber(index)) {
            AppendNumberKey(NumberAt(index));
            return;
        }
        const bool isUnmade = siblings_.IsUnmade(index);
        if (isUnmade) {
            siblings_.unmade_.ReadValue(index - siblings_.MadeSize(), unmade_);
        }
        const ETabulonValue& value = isUnmade ? unmade_ : ValueOf(*siblings_.At(index));
        EVariant::TextBuffer buffer;
        Chaine holder;
        switch (siblings_.order_.source) {
            case ETabulonSortDesc::CompareOnDisplay:
                AppendLocaleKey(value.DisplayText(buffer, holder));
                break;
            case ETabulonSortDesc::CompareOnValue:
                AppendValueKey(value, arena_);
                break;
            default:
                arena_ += value.Data().AsText(buffer, holder);
                break;
        }
    }
    void AppendNumberKey(std::int64_t number) {
        if (siblings_.order_.source == ETabulonSortDesc::CompareOnValue) {
            AppendOrderKey(EVariant::FromInt64(number), arena_);
            return;
        }
        char digits[std::numeric_limits<std::int64_t>::digits10 + 2];
        const char* end = std::to_chars(digits, std::end(digits), number).ptr;
        const std::string_view text(digits, static_cast<std::size_t>(end - digits));
        if (siblings_.order_.source == ETabulonSortDesc::CompareOnDisplay) {
            AppendLocaleKey(text);
        } else {
            arena_ += text;
        }
    }
    void AppendLocaleKey(std::string_view text) {
        const std::size_t begin = arena_.size();
        std::size_t room = 2 * text.size() + 16;
        std::size_t length = 0;
        do {
            arena_.resize(begin + room);
            length = Chaine::LocaleSortKey(text, arena_.data() + begin, room);
        } while (length > std::exchange(room, length));
        arena_.resize(begin + length);
    }

    const TreeSiblings& siblings_;
    std::string arena_;
    ETabulonValue unmade_;  // of the leaf without a node that was read last
};

// Deliberate: of equals the newest stands first, as if each had been filed by a scan that stops at
// the first sibling not below it. EqualSiblings.NewestStandsFirst holds it.
bool TreeSiblings::IsInFront(const SortTexts& texts, const SortItem& a,
                             const SortItem& b) noexcept {
    const int order = texts.Compare(a, b);
    return order != 0 ? order < 0 : a.index > b.index;
}

void TreeSiblings::FindOrder(std::vector<std::uint32_t>& order, bool isSorted) const {
    order.resize(size_);
    std::iota(order.begin(), order.end(), 0U);
    if (!isSorted || !order_.isOrdered || size_ == 1) {
        return;
    }
    SortTexts texts(*this);
    std::vector<SortItem> items = texts.Make(0, size_);
    std::sort(items.begin(), items.end(),
              [&texts](const SortItem& a, const SortItem& b) { return IsInFront(texts, a, b); });
    std::transform(items.begin(), items.end(), order.begin(),
                   [](const SortItem& item) { return static_cast<std::uint32_t>(item.index); });
}

void TreeSiblings::OrderWaiting() {
    if (!HasWaiting()) {
        return;
    }
    MakeAll();
    if (ordered_.size() <= 1) {
        isMixed_ = false;
    }
    if (size_ > ordered_.capacity()) {
        // Most nodes get no more children after their fill.
        ordered_.reserve(ordered_.size() <= 1 ? size_
                                              : std::max<std::size_t>(size_, ordered_.size() * 2));
    }
    if (!order_.isOrdered || size_ == 1) {
        isByArrival_ = true;
        for (const NewChild& newChild : waiting_) {
            ordered_.push_back(newChild.node);
        }
    } else {
        if (isMixed_) {
            // The siblings aren't in this order: only the scan itself gives the scan's result.
            OrderByScan();
        } else {
            OrderBySort();
        }
        ForgetIndex();
    }
    std::vector<NewChild>().swap(waiting_);
}

void TreeSiblings::OrderByScan() {
    isByArrival_ = true;
    SortTexts texts(*this);
    std::vector<SortItem> items = texts.Make(0, size_);
    for (std::size_t waiting = ordered_.size(); waiting < items.size(); ++waiting) {
        const auto newChild = items.begin() + static_cast<std::ptrdiff_t>(waiting);
        const auto target = std::find_if(items.begin(), newChild, [&](const SortItem& sibling) {
            return texts.Compare(*newChild, sibling) <= 0;
        });
        std::rotate(target, newChild, newChild + 1);
    }
    ordered_.resize(size_);
    std::transform(items.begin(), items.end(), ordered_.begin(),
                   [](const SortItem& item) { return item.node; });
}

void TreeSiblings::OrderBySort() {
    const std::size_t before = ordered_.size();
    SortTexts texts(*this);
    std::vector<SortItem> waiting = texts.Make(before, size_);
    std::sort(waiting.begin(), waiting.end(),
              [&texts](const SortItem& a, const SortItem& b) { return IsInFront(texts, a, b); });

    isByArrival_ =
        isByArrival_ || std::adjacent_find(waiting.begin(), waiting.end(),
                                           [&texts](const SortItem& a, const SortItem& b) {
                                               return texts.Compare(a, b) == 0;
                                           }) != waiting.end();

    // Each goes in front of the first sibling that isn't below it.
    std::size_t end = before;
    if (waiting.size() * kBisectShare < before) {
        isByArrival_ = true;
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
            item->index = end;
        }
    } else {
        const std::vector<SortItem> siblings = texts.Make(0, before);
        for (auto item = waiting.rbegin(); item != waiting.rend(); ++item) {
            while (end > 0) {
                const int order = texts.Compare(siblings[end - 1], *item);
                isByArrival_ = isByArrival_ || order == 0;
                if (order < 0) {
                    break;
                }
                --end;
            }
            item->index = end;
        }
    }

    ordered_.resize(size_);
    std::size_t from = before;
    std::size_t to = size_;
    for (auto item = waiting.rbegin(); item != waiting.rend(); ++item) {
        const auto begin = ordered_.begin();
        std::move_backward(begin + static_cast<std::ptrdiff_t>(item->index),
                           begin + static_cast<std::ptrdiff_t>(from),
                           begin + static_cast<std::ptrdiff_t>(to));
        to -= from - item->index;
        from = item->index;
        ordered_[--to] = item->node;
    }
}

}  // namespace etabulon::detail
