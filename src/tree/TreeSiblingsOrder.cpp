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

/// A child with the number of its comparison text. Sorting moves these, so that they are small.
struct TreeSiblings::SortItem {
    std::uint64_t prefix;  // the text's first eight bytes, so that most comparisons end here
    std::uint32_t text;
    std::uint32_t index;  // where the child stands
};

/// Comparison texts of siblings, compared by the order that held when the newest came.
class TreeSiblings::SortTexts {
public:
    explicit SortTexts(const TreeSiblings& siblings) : siblings_(siblings) {}

    [[nodiscard]] SortItem Make(std::size_t index) {
        const std::size_t begin = arena_.size();
        AppendKey(index);
        SortItem item{0, static_cast<std::uint32_t>(ends_.size()),
                      static_cast<std::uint32_t>(index)};
        ends_.push_back(arena_.size());
        char first[8] = {};
        std::memcpy(first, arena_.data() + begin, std::min(arena_.size() - begin, sizeof first));
        for (const char byte : first) {
            item.prefix = (item.prefix << 8) | static_cast<unsigned char>(byte);
        }
        return item;
    }
    /// Forgets the text that was made last.
    void ForgetLast() {
        ends_.pop_back();
        arena_.resize(ends_.empty() ? 0 : ends_.back());
    }
    [[nodiscard]] std::vector<SortItem> Make(std::size_t from, std::size_t to) {
        std::vector<SortItem> items;
        items.reserve(to - from);
        ends_.reserve(ends_.size() + to - from);
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
            order = TextOf(a).compare(TextOf(b));
        }
        return siblings_.order_.isReverse ? -order : order;
    }

private:
    [[nodiscard]] std::string_view TextOf(const SortItem& item) const noexcept {
        const std::size_t begin = item.text == 0 ? 0 : ends_[item.text - 1];
        return {arena_.data() + begin, ends_[item.text] - begin};
    }
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
    std::vector<std::size_t> ends_;  // of the texts in the arena
    ETabulonValue unmade_;           // of the leaf without a node that was read last
};

// Deliberate: of equals the newest stands first, as if each had been filed by a scan that stops at
// the first sibling not below it. EqualSiblings.NewestStandsFirst holds it.
bool TreeSiblings::IsInFront(const SortTexts& texts, const SortItem& a,
                             const SortItem& b) noexcept {
    const int order = texts.Compare(a, b);
    return order != 0 ? order < 0 : a.index > b.index;
}

/// The children from that index on, sorted.
std::vector<TreeSiblings::SortItem> TreeSiblings::Sort(SortTexts& texts, std::size_t from) const {
    std::vector<SortItem> items = texts.Make(from, size_);
    std::sort(items.begin(), items.end(),
              [&texts](const SortItem& a, const SortItem& b) { return IsInFront(texts, a, b); });
    return items;
}

void TreeSiblings::FindOrder(std::vector<std::uint32_t>& order, bool isSorted) const {
    order.resize(size_);
    std::iota(order.begin(), order.end(), 0U);
    if (!isSorted || !order_.isOrdered || size_ == 1) {
        return;
    }
    SortTexts texts(*this);
    const std::vector<SortItem> items = Sort(texts, 0);
    std::transform(items.begin(), items.end(), order.begin(),
                   [](const SortItem& item) { return item.index; });
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
    std::vector<EDataTreeNode*> nodes(size_);
    std::transform(items.begin(), items.end(), nodes.begin(),
                   [this](const SortItem& item) { return At(item.index); });
    ordered_.assign(nodes.begin(), nodes.end());
}

void TreeSiblings::OrderBySort() {
    SortTexts texts(*this);
    const std::vector<SortItem> waiting = Sort(texts, ordered_.size());
    const std::vector<std::uint32_t> targets = FindTargets(texts, waiting);
    std::size_t from = ordered_.size();
    std::size_t to = size_;
    ordered_.resize(size_);
    for (std::size_t at = waiting.size(); at-- > 0;) {
        const auto begin = ordered_.begin();
        std::move_backward(begin + static_cast<std::ptrdiff_t>(targets[at]),
                           begin + static_cast<std::ptrdiff_t>(from),
                           begin + static_cast<std::ptrdiff_t>(to));
        to -= from - targets[at];
        from = targets[at];
        ordered_[--to] = waiting_[waiting[at].index - (size_ - waiting.size())].node;
    }
}

/// Each of the new children goes in front of the first sibling that isn't below it.
std::vector<std::uint32_t> TreeSiblings::FindTargets(SortTexts& texts,
                                                     const std::vector<SortItem>& waiting) {
    std::vector<std::uint32_t> targets(waiting.size());
    std::size_t end = ordered_.size();
    if (waiting.size() * kBisectShare < ordered_.size()) {
        isByArrival_ = true;
        for (std::size_t at = waiting.size(); at-- > 0;) {
            std::size_t begin = 0;
            while (begin < end) {
                const std::size_t middle = begin + (end - begin) / 2;
                if (texts.Compare(texts.Make(middle), waiting[at]) < 0) {
                    begin = middle + 1;
                } else {
                    end = middle;
                }
                texts.ForgetLast();
            }
            targets[at] = static_cast<std::uint32_t>(end);
        }
        return targets;
    }
    const std::vector<SortItem> siblings = texts.Make(0, ordered_.size());
    for (std::size_t at = waiting.size(); at-- > 0;) {
        int order = at + 1 < waiting.size() ? texts.Compare(waiting[at], waiting[at + 1]) : -1;
        for (; end > 0; --end) {
            const int toSibling = texts.Compare(siblings[end - 1], waiting[at]);
            order = toSibling == 0 ? 0 : order;
            if (toSibling < 0) {
                break;
            }
        }
        isByArrival_ = isByArrival_ || order == 0;
        targets[at] = static_cast<std::uint32_t>(end);
    }
    return targets;
}

}  // namespace etabulon::detail
