#include "apps/etabulon/views/CliTreeRecords.h"

#include <cstring>

namespace etabulon {

bool CliTreeRecords::WantBlocks(const ETabulonCursor& cursor, EBlockRequest& request) {
    request.keys = request.keys || keySize_ != 0;
    return WantFiledBlocks(cursor, request);
}

void CliTreeRecords::OnFiled(const ETabulonCursor& cursor, EDataTreeNode* node) {
    if (places_.empty()) {
        firstTag_ = cursor.CurrentTag();  // the first record of a walk comes by itself
    }
    Place& place = CountRecord(node);
    if (keySize_ != 0) {
        KeepKey(cursor.PrimaryKey().Fields(), place);
    }
}

void CliTreeRecords::OnFiled(const ERecordBlock& block, std::span<const EBlockIndex> records,
                             std::span<EDataTreeNode* const> nodes) {
    for (std::size_t index = 0; index < records.size(); ++index) {
        Place& place = CountRecord(nodes[index]);
        if (keySize_ != 0) {
            block.ReadKey(records[index], key_);
            KeepKey(key_, place);
        }
    }
}

CliTreeRecords::Place& CliTreeRecords::CountRecord(EDataTreeNode* node) {
    // If all levels are hidden, the records belong to the root.
    Place& place = MakePlace(node != nullptr ? *node : root_);
    ++place.count;
    return place;
}

const CliTreeRecords::Place& CliTreeRecords::PlaceOf(const EDataTreeNode& node) const {
    static constexpr Place kNone;
    return node.Param() == 0 ? kNone : places_[static_cast<std::size_t>(node.Param()) - 1];
}

CliTreeRecords::Place& CliTreeRecords::MakePlace(EDataTreeNode& node) {
    if (node.Param() == 0) {
        places_.emplace_back();
        node.SetParam(static_cast<std::intptr_t>(places_.size()));
    }
    return places_[static_cast<std::size_t>(node.Param()) - 1];
}

void CliTreeRecords::KeepKey(const EFieldKey& key, Place& place) {
    const std::size_t record = records_.size();
    records_.push_back({keys_.size(), kNoRecord});
    for (std::size_t part = 0; part < keySize_; ++part) {
        const auto index = static_cast<std::uint16_t>(part);
        const CliCell cell = index < key.Size() ? maker_.Of(key.At(index)) : CliCell{};
        const std::size_t length = cell.text.size();
        keys_ += static_cast<char>(cell.kind);
        keys_.append(reinterpret_cast<const char*>(&length), sizeof length);
        keys_ += cell.text;
    }
    (place.last == kNoRecord ? place.first : records_[place.last].next) = record;
    place.last = record;
}

void CliTreeRecords::ReadKey(std::size_t record, std::vector<CliCell>& cells) const {
    cells.clear();
    std::string_view rest = std::string_view(keys_).substr(records_[record].key);
    for (std::size_t part = 0; part < keySize_; ++part) {
        const auto kind = static_cast<CliCellKind>(rest.front());
        std::size_t length = 0;
        std::memcpy(&length, rest.data() + 1, sizeof length);
        rest.remove_prefix(1 + sizeof length);
        cells.push_back({kind, rest.substr(0, length)});
        rest.remove_prefix(length);
    }
}

std::uint64_t CliTreeRecords::SumUp(EDataTreeNode& node) {
    std::uint64_t below = 0;
    for (unsigned int index = 0; index < node.Size(); ++index) {
        below += SumUp(*node.Get(index));
    }
    return MakePlace(node).count += below;
}

}  // namespace etabulon
