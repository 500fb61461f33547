#include "tree/TreeBlockFiling.h"

#include "etabulon/cursors/ETabulonCursor.h"
#include "etabulon/foundation/EBlockSource.h"
#include "etabulon/foundation/EDataType.h"
#include "etabulon/foundation/detail/EPrefetch.h"
#include "foundation/EVariantAccess.h"
#include "tree/NodeAccess.h"
#include "tree/TreeFiling.h"

#include <algorithm>

namespace etabulon::detail {

namespace {

constexpr std::int8_t kUnknown = -1;

}  // namespace

TreeBlockFiling::TreeBlockFiling(TreeFiling& filing, Mode mode)
    : filing_(filing), setsKeys_(mode != Mode::Nodes), makesNodes_(mode != Mode::Keys) {
    if (makesNodes_) {
        filing_.Leaves().MakeNodes();
    }
}

// ----------------------------------------------------------------------------------------- columns

bool TreeBlockFiling::Want(const ETabulonCursor& cursor, EBlockRequest& request) {
    if (!filing_.CanFileBlocks() || !AddColumns(cursor, request)) {
        return false;
    }
    request.keys = request.keys || setsKeys_;
    Restart();
    return true;
}

bool TreeBlockFiling::AddColumns(const ETabulonCursor& cursor, EBlockRequest& request) {
    columns_.clear();
    levels_.clear();
    const auto add = [&](unsigned int level, bool areNumbers) {
        const ETabulonLevels::Level& description = cursor.Levels().GetLevel(level);
        const EField& data = cursor.Field(description.DataID());
        Column column{level, areNumbers ? request.AddNumbers(data) : request.AddValues(data),
                      kNoColumn};
        if (description.DescID().IsValid()) {
            const EField& label = cursor.Field(description.DescID());
            column.label = &label == &data ? kNoColumn : request.AddValues(label);
        }
        columns_.push_back(column);
    };
    const std::size_t depth = filing_.Depth();
    for (std::size_t at = 0; at < depth; ++at) {
        const unsigned int level = filing_.LevelAt(at);
        if (!cursor.Levels().ExistLevel(level)) {
            return false;
        }
        // Leaves are often as many as the records: then the values are all that is needed.
        const int type = cursor.Field(cursor.Levels().GetLevel(level).DataID()).Type();
        const bool areWords = at + 1 == depth && TypeInfo(type).IsFixedSize() &&
                              TypeInfo(type).naturalSize <= sizeof(std::uint64_t);
        add(level, !areWords);
        levels_.emplace_back(columns_.back().data, !areWords);
    }
    if (cursor.Notifiers().Size() > 1) {
        // Another listener may show more levels while the walk runs.
        for (unsigned int position = 0; position < cursor.Levels().Size(); ++position) {
            const unsigned int level = cursor.Levels().GetLevelID(position);
            if (std::none_of(columns_.begin(), columns_.end(),
                             [level](const Column& column) { return column.level == level; })) {
                add(level, /*areNumbers=*/false);
            }
        }
    }
    return true;
}

/// The levels shown are those that Want found.
bool TreeBlockFiling::IsPathKnown() {
    if (!filing_.CanFileBlocks() || filing_.Depth() != levels_.size()) {
        return false;
    }
    for (std::size_t at = 0; at < levels_.size(); ++at) {
        if (filing_.LevelAt(at) != columns_[at].level) {
            return false;
        }
    }
    return true;
}

void TreeBlockFiling::Restart() {
    filing_.FlushLeaves();
    filing_.ForgetLeaves();
    for (TreeBlockLevel& level : levels_) {
        level.Clear();
    }
    EDataTreeNode& start = filing_.Start();
    nodes_.assign(1, &start);
    above_.clear();
    canBeIdentical_ = true;
    for (const EDataTreeNode* node = &start; node->Parent() != nullptr; node = node->Parent()) {
        canBeIdentical_ = canBeIdentical_ && !NodeAccess::OwnsTag(*node);
        above_.push_back({node, {}});
    }
    std::reverse(above_.begin(), above_.end());
    for (std::size_t at = 0; at < above_.size(); ++at) {
        canBeIdentical_ = canBeIdentical_ && columns_[at].label == kNoColumn;
    }
    forgotten_ = filing_.Forgotten();
    leafGeneration_ = filing_.LeafKeys().Generation();
}

// ------------------------------------------------------------------------------------------- block

void TreeBlockFiling::File(const ERecordBlock& block, std::span<const EBlockIndex> records) {
    filing_.FlushRecords();  // the keys of this block are set past the filing
    if (!IsPathKnown()) {
        return FileSingly(block, records);
    }
    if (forgotten_ != filing_.Forgotten()) {
        Restart();
    }
    if (leafGeneration_ != filing_.LeafKeys().Generation()) {
        levels_.back().Clear();
        leafGeneration_ = filing_.LeafKeys().Generation();
    }
    areKeysPositions_ = setsKeys_ && block.AreKeysPositions();
    // To remember the leaf of a number costs little where the block has the numbers.
    const bool isEachNew = !makesNodes_ && !levels_.back().AreNumbers() && lookups_ >= kTrial &&
                           known_ <= lookups_ / 8;
    filed_.assign(makesNodes_ ? records.size() : 0, &filing_.Start());
    lookups_ += records.size();
    for (std::size_t at = 0; at + (isEachNew ? 1 : 0) < levels_.size(); ++at) {
        levels_[at].Read(block, records);
    }
    FindStarts(block, records);
    const auto parents = std::span(parents_).first(records.size());
    std::copy_n(starts_.begin(), records.size(), parents.begin());
    if (levels_.size() == above_.size()) {
        known_ += records.size();
        return SetKey(block, records.back(), {&filing_.Start()});  // it replaces the others
    }
    for (std::size_t at = above_.size(); at + 1 < levels_.size(); ++at) {
        levels_[at].FindAll(records, parents);
    }
    if (isEachNew) {
        FileNewLeaves(block, records);
    } else {
        FileCached(block, records);
    }
}

/// The levels have changed since Want.
void TreeBlockFiling::FileSingly(const ERecordBlock& block, std::span<const EBlockIndex> records) {
    filed_.clear();
    for (const EBlockIndex record : records) {
        MakeTag(block, record);
        if (makesNodes_) {
            filed_.push_back(filing_.Add(tag_));
            if (filed_.back() != nullptr) {
                SetKey(block, record, {filed_.back()});
            }
            continue;
        }
        block.ReadKey(record, fields_);
        key_.Set(fields_, block.Position(record));
        filing_.Prefetch(tag_);
        filing_.File(tag_, key_);
    }
}

void TreeBlockFiling::FileCached(const ERecordBlock& block, std::span<const EBlockIndex> records) {
    filing_.NewLeaves().Flush();  // those records came before
    filing_.NewLeaves().Clear();
    const auto found = std::span(found_).first(records.size());
    std::copy_n(parents_.begin(), records.size(), found.begin());
    levels_.back().FindAll(records, found);
    PrefetchNewLeaves(block, records);
    std::size_t keysFrom = 0;
    std::size_t nth = 0;
    try {
        for (; nth < records.size(); ++nth) {
            if (found[nth] == kNone) {
                found[nth] = FindLeaf(block, records[nth], nth);
            } else {
                ++known_;
            }
            if (found[nth] == kNone) {
                KeepKeys(block, records, keysFrom, nth);
                keysFrom = nth + 1;
                EDataTreeNode* const leaf = FileStray(block, records[nth], nth);
                if (makesNodes_) {
                    filed_[nth] = leaf;
                }
                if (leaf != nullptr && parents_[nth] != kNone) {
                    const std::uint32_t number = filing_.LeafKeys().Add({leaf}, /*isAlias=*/true);
                    levels_.back().Add(parents_[nth], records[nth], number);
                }
            }
        }
    } catch (...) {
        KeepKeys(block, records, keysFrom, nth);
        throw;
    }
    KeepKeys(block, records, keysFrom, nth);
    for (nth = 0; nth < filed_.size(); ++nth) {
        if (found[nth] != kNone) {
            filed_[nth] = filing_.LeafKeys().At(found[nth]).node;
        }
    }
}

EDataTreeNode* TreeBlockFiling::File(const ETabulonCursor& cursor) {
    filing_.LeafKeys().Write();  // one may be of the same leaf
    EDataTreeNode* const node = filing_.Add(cursor.CurrentTag());
    if (node != nullptr && setsKeys_) {
        NodeAccess::SetKey(*node, cursor.PrimaryKey());
    }
    return node;
}

/// Prefetches, pass by pass, what the leaves that aren't known yet need: their parents and values,
/// and then the parents' lists and the texts.
void TreeBlockFiling::PrefetchNewLeaves(const ERecordBlock& block,
                                        std::span<const EBlockIndex> records) {
    news_.clear();
    for (std::size_t nth = 0; nth < records.size(); ++nth) {
        if (found_[nth] == kNone && parents_[nth] != kNone) {
            news_.push_back(static_cast<EBlockIndex>(nth));
            NodeAccess::Prefetch(*nodes_[parents_[nth] / 2]);
        }
    }
    const auto childrenOf = [this](EBlockIndex nth) -> const TreeChildren& {
        return NodeAccess::Children(*nodes_[parents_[nth] / 2]);
    };
    for (const EBlockIndex nth : news_) {
        childrenOf(nth).PrefetchList();
        PrefetchValue(block, records[nth]);
    }
    for (const EBlockIndex nth : news_) {
        childrenOf(nth).PrefetchListEnd();
        PrefetchText(block, records[nth]);
    }
}

/// Prefetches the value of a record's leaf, and then, once it has arrived, its text.
void TreeBlockFiling::PrefetchValue(const ERecordBlock& block, EBlockIndex record) const noexcept {
    const ERecordBlock::Column& column = block.At(columns_[levels_.size() - 1].data);
    if (column.numbers != nullptr) {
        PrefetchToRead(&column.dictionary->Value(column.numbers[record]));
    }
}
void TreeBlockFiling::PrefetchText(const ERecordBlock& block, EBlockIndex record) const noexcept {
    const ERecordBlock::Column& column = block.At(columns_[levels_.size() - 1].data);
    if (column.numbers != nullptr) {
        EVariantAccess::PrefetchShare(column.dictionary->Value(column.numbers[record]));
    }
}

// ------------------------------------------------------------------------------------------- nodes

void TreeBlockFiling::FindStarts(const ERecordBlock& block, std::span<const EBlockIndex> records) {
    if (above_.empty() || !canBeIdentical_) {
        std::fill_n(starts_.begin(), records.size(), canBeIdentical_ ? 1U : 0U);
        return;
    }
    for (std::size_t nth = 0; nth < records.size(); ++nth) {
        starts_[nth] = IsStartIdentical(block, records[nth]) ? 1U : 0U;
    }
}

/// The record's values are identical to those of the start and of the nodes above it. They are
/// equal in any case: the walk is of the start's tag.
bool TreeBlockFiling::IsStartIdentical(const ERecordBlock& block, EBlockIndex record) {
    bool isIdentical = true;
    for (std::size_t at = 0; at < above_.size(); ++at) {
        const std::uint32_t number = levels_[at].Number(record);
        std::vector<std::int8_t>& verdicts = above_[at].verdicts;
        if (verdicts.size() <= number) {
            verdicts.resize(number + 1, kUnknown);
        }
        if (verdicts[number] == kUnknown) {
            MakeValue(block, record, columns_[at], value_);
            verdicts[number] = NodeAccess::Value(*above_[at].node).IsIdenticalTo(value_) ? 1 : 0;
        }
        isIdentical = isIdentical && verdicts[number] != 0;
    }
    return isIdentical;
}

/// Finds or makes the parent of the record's leaf. False if the leaf can't be made without the
/// record's tag.
bool TreeBlockFiling::FindParent(const ERecordBlock& block, EBlockIndex record, std::size_t nth) {
    std::uint32_t& parent = parents_[nth];
    if (parent == kNone) {
        parent = StepDown(block, record, starts_[nth], levels_.size() - 1);
    }
    return parent != kNone && parent % 2 != 0;
}

/// The number of the record's leaf, which is made if it isn't there. kNone where that takes its
/// tag.
std::uint32_t TreeBlockFiling::FindLeaf(const ERecordBlock& block, EBlockIndex record,
                                        std::size_t nth) {
    const bool mayMake = FindParent(block, record, nth);
    const std::uint32_t parent = parents_[nth];
    if (parent == kNone) {
        return kNone;
    }
    // An earlier record of the block may have met the leaf.
    if (const std::uint32_t leaf = levels_.back().Find(parent, record); leaf != kNone) {
        ++known_;
        return leaf;
    }
    if (!mayMake) {
        return kNone;
    }
    const TreeLeafFiling::Result filed = FindOrAddLeaf(block, record, parent);
    if (filed.leaf.node == nullptr) {
        return kNone;
    }
    known_ += filed.wasMet ? 1 : 0;
    const std::uint32_t leaf = filing_.LeafKeys().Add(filed.leaf, !filed.isIdentical);
    levels_.back().Add(parent, record, leaf);
    return leaf;
}

/// Finds or makes the record's nodes below those that are known. kNone where that takes its tag.
std::uint32_t TreeBlockFiling::StepDown(const ERecordBlock& block, EBlockIndex record,
                                        std::uint32_t start, std::size_t depth) {
    std::uint32_t reference = start;
    for (std::size_t at = above_.size(); at < depth && reference != kNone; ++at) {
        const std::uint32_t parent = reference;
        reference = levels_[at].Find(parent, record);
        if (reference != kNone) {
            continue;
        }
        MakeValue(block, record, columns_[at], value_);
        EDataTreeNode* const node =
            filing_.Step(*nodes_[parent / 2], at, value_, /*mayMake=*/parent % 2 != 0);
        reference = node != nullptr ? Register(parent, record, at, *node, value_) : kNone;
    }
    return reference;
}

std::uint32_t TreeBlockFiling::Register(std::uint32_t parent, EBlockIndex record, std::size_t at,
                                        EDataTreeNode& node, const ETabulonValue& value) {
    const bool isIdentical = parent % 2 != 0 && columns_[at].label == kNoColumn &&
                             !NodeAccess::OwnsTag(node) &&
                             NodeAccess::Value(node).IsIdenticalTo(value);
    const auto index = static_cast<std::uint32_t>(nodes_.size());
    const std::uint32_t reference = 2 * index + (isIdentical ? 1 : 0);
    nodes_.push_back(&node);
    levels_[at].Add(parent, record, reference);
    return reference;
}

/// Files the record by its tag, and returns its leaf if it has one. From here on the nodes above
/// the leaf are found by their numbers.
EDataTreeNode* TreeBlockFiling::FileStray(const ERecordBlock& block, EBlockIndex record,
                                          std::size_t nth) {
    filing_.LeafKeys().Write();  // one may be of the same leaf
    MakeTag(block, record);
    EDataTreeNode* const leaf = filing_.Add(tag_);
    if (leaf == nullptr) {
        return nullptr;
    }
    std::uint32_t parent = starts_[nth];
    for (std::size_t at = above_.size(); at + 1 < levels_.size() && parent != kNone; ++at) {
        const std::uint32_t above = parent;
        EDataTreeNode* const node = filing_.NodeAt(at);
        parent = node != nullptr ? levels_[at].Find(above, record) : kNone;
        if (node != nullptr && parent == kNone) {
            parent = Register(above, record, at, *node, *tag_.Find(columns_[at].level));
        }
    }
    parents_[nth] = parent;
    SetKey(block, record, {leaf});
    return leaf;
}

void TreeBlockFiling::MakeTag(const ERecordBlock& block, EBlockIndex record) {
    for (const Column& column : columns_) {
        MakeValue(block, record, column, tag_.Slot(column.level));
    }
}

void TreeBlockFiling::MakeValue(const ERecordBlock& block, EBlockIndex record, const Column& column,
                                ETabulonValue& value) const {
    const EVariant& data = block.Value(column.data, record);
    if (column.label == kNoColumn) {
        value.Refill(data);
    } else {
        value.Refill(data, block.Value(column.label, record).AsChaine());
    }
}

// -------------------------------------------------------------------------------------------- keys

/// Keeps the keys of the records found, for each leaf only the last one: that of an earlier record
/// would be replaced.
void TreeBlockFiling::KeepKeys(const ERecordBlock& block, std::span<const EBlockIndex> records,
                               std::size_t first, std::size_t end) {
    if (!setsKeys_) {
        return;
    }
    TreeLeafKeys& keys = filing_.LeafKeys();
    if (areKeysPositions_) {
        for (std::size_t nth = first; nth < end; ++nth) {
            const EPosition position = block.Position(records[nth]);
            if (position < 0) {
                KeepKey(block, records[nth], found_[nth]);
            } else {
                keys.Keep(found_[nth], {position, TreeKeyForm::Int64AtPosition});
            }
        }
        return;
    }
    lastOf_.resize(keys.Size());
    for (std::size_t nth = first; nth < end; ++nth) {
        lastOf_[found_[nth]] = static_cast<std::uint32_t>(nth);
    }
    for (std::size_t nth = first; nth < end; ++nth) {
        if (lastOf_[found_[nth]] == nth) {
            KeepKey(block, records[nth], found_[nth]);
        }
    }
}

void TreeBlockFiling::KeepKey(const ERecordBlock& block, EBlockIndex record, std::uint32_t leaf) {
    ReadKey(block, record);
    if (packed_.form != TreeKeyForm::Whole) {
        return filing_.LeafKeys().Keep(leaf, packed_);
    }
    filing_.LeafKeys().Write();  // one may be of the same leaf
    SetReadKey(filing_.LeafKeys().At(leaf), block.Position(record));
}

void TreeBlockFiling::SetKey(const ERecordBlock& block, EBlockIndex record, const TreeLeaf& leaf) {
    if (setsKeys_) {
        ReadKey(block, record);
        SetReadKey(leaf, block.Position(record));
    }
}

void TreeBlockFiling::ReadKey(const ERecordBlock& block, EBlockIndex record) {
    if (!setsKeys_) {
        packed_ = {};
        return;
    }
    const EPosition position = block.Position(record);
    if (areKeysPositions_ && position >= 0) {
        packed_ = {position, TreeKeyForm::Int64AtPosition};
        return;
    }
    block.ReadKey(record, fields_);
    packed_.form = PackKey(fields_, position, packed_.word);
}

/// Sets the key that ReadKey found.
void TreeBlockFiling::SetReadKey(const TreeLeaf& leaf, EPosition position) {
    if (packed_.form != TreeKeyForm::Whole) {
        return TreeLeafFiling::SetKey(leaf, packed_);
    }
    key_.Set(fields_, position);
    NodeAccess::SetKey(TreeLeafFiling::NodeOf(leaf), key_);
}

}  // namespace etabulon::detail
