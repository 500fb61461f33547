#include "tree/TreeBlockFiling.h"

#include "etabulon/cursors/ETabulonCursor.h"
#include "etabulon/foundation/EBlockSource.h"
#include "etabulon/foundation/EDataType.h"
#include "tree/NodeAccess.h"
#include "tree/TreeFiling.h"

#include <algorithm>

namespace etabulon::detail {

namespace {

constexpr std::int8_t kUnknown = -1;

// Records before the leaves are judged.
constexpr std::uint64_t kTrial = 256;

}  // namespace

TreeBlockFiling::TreeBlockFiling(TreeFiling& filing) : filing_(filing) {}

// ----------------------------------------------------------------------------------------- columns

bool TreeBlockFiling::Want(const ETabulonCursor& cursor, EBlockRequest& request) {
    if (!filing_.CanFileBlocks() || !AddColumns(cursor, request)) {
        return false;
    }
    request.keys = true;
    Restart();
    return true;
}

bool TreeBlockFiling::AddColumns(const ETabulonCursor& cursor, EBlockRequest& request) {
    columns_.clear();
    levels_.clear();
    const auto add = [&](unsigned level, bool areNumbers) {
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
        const unsigned level = filing_.LevelAt(at);
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
        for (unsigned position = 0; position < cursor.Levels().Size(); ++position) {
            const unsigned level = cursor.Levels().GetLevelID(position);
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
    for (TreeBlockLevel& level : levels_) {
        level.Clear();
    }
    EDataTreeNode& start = filing_.Start();
    nodes_.assign(1, &start);
    lastPlaces_.assign(1, 0);
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
}

// ------------------------------------------------------------------------------------------- block

void TreeBlockFiling::File(const ERecordBlock& block, std::span<const EBlockIndex> records) {
    filing_.Flush();  // the keys of this block are written past the filing
    if (!IsPathKnown()) {
        return FileSingly(block, records);
    }
    if (forgotten_ != filing_.Forgotten()) {
        Restart();
    }
    strays_.clear();
    const bool isEachNew = lookups_ >= kTrial && known_ <= lookups_ / 8;
    lookups_ += records.size();
    for (std::size_t at = 0; at + (isEachNew ? 1 : 0) < levels_.size(); ++at) {
        levels_[at].Read(block, records);
    }
    FindStarts(block, records);
    if (isEachNew) {
        FileHeldBack(block, records);
    } else {
        FileCached(block, records);
    }
}

/// The levels have changed since Want.
void TreeBlockFiling::FileSingly(const ERecordBlock& block, std::span<const EBlockIndex> records) {
    for (const EBlockIndex record : records) {
        MakeTag(block, record);
        block.ReadKey(record, fields_);
        key_.Set(fields_, block.Position(record));
        filing_.Prefetch(tag_);
        filing_.File(tag_, key_);
    }
}

void TreeBlockFiling::FileCached(const ERecordBlock& block, std::span<const EBlockIndex> records) {
    const std::size_t depth = levels_.size();
    const auto found = std::span(found_).first(records.size());
    std::copy_n(starts_.begin(), records.size(), found.begin());
    for (std::size_t at = above_.size(); at < depth; ++at) {
        levels_[at].FindAll(records, found);
    }
    try {
        for (std::size_t place = 0; place < records.size(); ++place) {
            if (found[place] != kNone) {
                ++known_;
                continue;
            }
            // An earlier record of the block may have met the node.
            found[place] = FindFrom(starts_[place], records[place], depth);
            if (found[place] != kNone) {
                ++known_;
                continue;
            }
            found[place] = StepDown(block, records[place], starts_[place], depth);
            if (found[place] == kNone) {
                found[place] = AddSingly(block, records[place], starts_[place], depth);
            }
        }
    } catch (...) {
        WriteKeys(block, records);
        throw;
    }
    WriteKeys(block, records);
}

/// Most records have a leaf of their own: only the nodes above are looked up.
void TreeBlockFiling::FileHeldBack(const ERecordBlock& block,
                                   std::span<const EBlockIndex> records) {
    const std::size_t depth = levels_.size() - 1;
    const auto found = std::span(found_).first(records.size());
    std::copy_n(starts_.begin(), records.size(), found.begin());
    for (std::size_t at = above_.size(); at < depth; ++at) {
        levels_[at].FindAll(records, found);
    }
    const std::uint64_t knownBefore = filing_.KnownOfHeld();
    for (std::size_t place = 0; place < records.size(); ++place) {
        const EBlockIndex record = records[place];
        if (found[place] == kNone) {
            found[place] = StepDown(block, record, starts_[place], depth);
        }
        ReadKey(block, record);
        if (found[place] != kNone && found[place] % 2 != 0 && IsKeyPlain()) {
            MakeValue(block, record, columns_[depth], value_);
            filing_.Hold(*nodes_[found[place] / 2], value_, packed_);
            continue;
        }
        // Written at once: keys of later records of the leaf may be held back.
        const std::uint32_t leaf = AddSingly(block, record, starts_[place], depth);
        if (leaf != kNone) {
            WriteKey(block, record, *NodeOf(leaf));
        }
    }
    filing_.Flush();
    known_ += filing_.KnownOfHeld() - knownBefore;
}

// ------------------------------------------------------------------------------------------- nodes

void TreeBlockFiling::FindStarts(const ERecordBlock& block, std::span<const EBlockIndex> records) {
    if (above_.empty() || !canBeIdentical_) {
        std::fill_n(starts_.begin(), records.size(), canBeIdentical_ ? 1U : 0U);
        return;
    }
    for (std::size_t place = 0; place < records.size(); ++place) {
        starts_[place] = IsStartIdentical(block, records[place]) ? 1U : 0U;
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

/// The node `depth` levels down, or kNone.
std::uint32_t TreeBlockFiling::FindFrom(std::uint32_t start, EBlockIndex record,
                                        std::size_t depth) const {
    for (std::size_t at = above_.size(); at < depth && start != kNone; ++at) {
        start = levels_[at].Find(start, record);
    }
    return start;
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
    lastPlaces_.push_back(0);
    nodes_.push_back(&node);
    levels_[at].Add(parent, record, reference);
    return reference;
}

/// Files the record by its tag, without its key. The nodes are found by their numbers from here on,
/// as far as `depth` levels down.
std::uint32_t TreeBlockFiling::AddSingly(const ERecordBlock& block, EBlockIndex record,
                                         std::uint32_t start, std::size_t depth) {
    MakeTag(block, record);
    EDataTreeNode* const leaf = filing_.Add(tag_);
    std::uint32_t reference = start;
    for (std::size_t at = above_.size(); at < depth; ++at) {
        EDataTreeNode* const node = filing_.NodeAt(at);
        if (node == nullptr) {
            reference = kNone;
            break;
        }
        const std::uint32_t known = levels_[at].Find(reference, record);
        if (known != kNone) {
            reference = known;
            continue;
        }
        reference = Register(reference, record, at, *node, *tag_.Find(columns_[at].level));
    }
    if (reference == kNone || depth < levels_.size()) {
        if (leaf == nullptr) {
            return kNone;
        }
        strays_.push_back(leaf);
        return kStray | static_cast<std::uint32_t>(strays_.size() - 1);
    }
    return reference;
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

/// Writes the keys of the records found, for each node only the last one: that of an earlier record
/// would be replaced.
void TreeBlockFiling::WriteKeys(const ERecordBlock& block, std::span<const EBlockIndex> records) {
    for (std::size_t place = 0; place < records.size(); ++place) {
        if (found_[place] != kNone && (found_[place] & kStray) == 0) {
            lastPlaces_[found_[place] / 2] = static_cast<std::uint32_t>(place);
            NodeAccess::PrefetchKey(*nodes_[found_[place] / 2]);
        }
    }
    for (std::size_t place = 0; place < records.size(); ++place) {
        const std::uint32_t found = found_[place];
        if (found != kNone && ((found & kStray) != 0 || lastPlaces_[found / 2] == place)) {
            ReadKey(block, records[place]);
            WriteKey(block, records[place], *NodeOf(found));
        }
    }
}

void TreeBlockFiling::ReadKey(const ERecordBlock& block, EBlockIndex record) {
    block.ReadKey(record, fields_);
    packed_.form = PackKey(fields_, block.Position(record), packed_.word);
}

/// The key that ReadKey found is one word, and nodes are to keep no more.
bool TreeBlockFiling::IsKeyPlain() const {
    return packed_.form != TreeKeyForm::Whole && !NodeAccess::KeepsKeys(filing_.Start());
}

/// Writes what ReadKey found.
void TreeBlockFiling::WriteKey(const ERecordBlock& block, EBlockIndex record, EDataTreeNode& node) {
    if (IsKeyPlain()) {
        NodeAccess::SetKeyWord(node, packed_);
        return;
    }
    key_.Set(fields_, block.Position(record));
    node.SetPrimaryKey(key_);
}

}  // namespace etabulon::detail
