#include "pending/PendingBlocks.h"

#include "etabulon/foundation/detail/EHashMix.h"
#include "values/ETabulonValueAccess.h"

#include <algorithm>
#include <string_view>

namespace etabulon::detail {

namespace {

/// What costs least to make.
unsigned int AddColumn(const EField& data, EBlockRequest& request) {
    const ETypeInfo& info = TypeInfo(data.Type());
    if (info.IsSlot()) {
        return request.AddTexts(data);
    }
    return info.IsFixedSize() && info.naturalSize <= sizeof(std::uint64_t)
               ? request.AddValues(data)
               : request.AddNumbers(data);
}

/// The bytes of a value that has no number and no word.
ERecordBlock::Text TextAt(const ERecordBlock& block, unsigned int column, EBlockIndex record) {
    if (block.At(column).texts != nullptr) {
        return block.At(column).texts[record];
    }
    const EVariant& value = block.Value(column, record);
    return value.IsMissing()
               ? ERecordBlock::Text{}
               : ERecordBlock::Text{static_cast<const char*>(value.GetBuffer()), value.ByteCount()};
}

}  // namespace

void PendingBlocks::Want(const ETabulonLevels& levels, const EFieldSet& fields,
                         EBlockRequest& request) {
    levels_.clear();
    ids_.clear();
    for (unsigned int position = 0; position < levels.Size(); ++position) {
        ids_.push_back(levels.GetLevelID(position));
    }
    std::sort(ids_.begin(), ids_.end());
    for (const unsigned int id : ids_) {
        const ETabulonLevels::Level& level = levels.GetLevel(id);
        const EField& data = level.DataID().GetIn(fields);
        levels_.push_back({id, AddColumn(data, request), {}, {}, {}});
        if (level.DescID().IsValid()) {
            static_cast<void>(AddColumn(level.DescID().GetIn(fields), request));
        }
    }
    hashes_.resize(levels_.size());
    sought_.resize(levels_.size());
    for (const EBlockRequest::Column& column : request.columns) {
        columns_.push_back({column.field, nullptr, false, {}, {}});
        composer_.AddColumn(column.field->Desc());
    }
}

void PendingBlocks::Mark(const ERecordBlock& block, PendingFilter& filter, std::uint64_t version) {
    if (version_ != version) {
        version_ = version;
        ForgetTags();
    }
    for (std::size_t index = 0; index < levels_.size(); ++index) {
        Hash(levels_[index], block, hashes_[index]);
    }
    const std::span marks(marks_.data(), block.Size());
    std::fill(marks.begin(), marks.end(), std::uint8_t{0});
    filter.Mark(ids_, hashes_, marks);
}

void PendingBlocks::Hash(Level& level, const ERecordBlock& block,
                         std::vector<std::uint32_t>& hashes) {
    hashes.resize(block.Size());
    const ERecordBlock::Column& column = block.At(level.column);
    if (column.numbers != nullptr) {
        return HashByNumber(level, column, hashes);
    }
    if (column.texts != nullptr) {
        const std::uint32_t missing = HashOf(EVariant());
        for (std::size_t record = 0; record < block.Size(); ++record) {
            const auto [bytes, length] = column.texts[record];
            hashes[record] =
                bytes != nullptr ? ETabulonValueAccess::HashOfText({bytes, length}) : missing;
        }
        return;
    }
    for (std::size_t record = 0; record < block.Size(); ++record) {
        hashes[record] = HashOf(block.Value(level.column, static_cast<EBlockIndex>(record)));
    }
}

void PendingBlocks::HashByNumber(Level& level, const ERecordBlock::Column& column,
                                 std::span<std::uint32_t> hashes) {
    level.hashOf.resize(column.dictionary->Size());
    for (std::size_t record = 0; record < hashes.size(); ++record) {
        std::uint32_t& hash = level.hashOf[column.numbers[record]];
        if (hash == 0) {
            hash = HashOf(column.dictionary->Value(column.numbers[record]));
        }
        hashes[record] = hash;
    }
}

std::uint32_t PendingBlocks::HashOf(const EVariant& data) {
    value_.Refill(data);
    return value_.Hash();
}

// ---------------------------------------------------------------------------------------- verdicts

PendingBlocks::TagPart PendingBlocks::PartOf(std::size_t index, const ERecordBlock& block,
                                             EBlockIndex record) {
    Level& level = levels_[index];
    const ERecordBlock::Column& column = block.At(level.column);
    if (column.numbers != nullptr) {
        return {column.numbers[record], false};
    }
    if (column.words != nullptr) {
        return {column.words[record], column.IsMissingWord(record)};
    }
    const ERecordBlock::Text found = TextAt(block, level.column, record);
    if (found.bytes == nullptr) {
        return {0, true};
    }
    const std::string_view text(found.bytes, found.length);
    const std::uint32_t hash = hashes_[index][record];
    std::int32_t known = level.textIndex.Find(hash, [&level, text](std::int32_t at) {
        return level.texts[static_cast<std::size_t>(at)] == text;
    });
    if (known < 0) {
        known = static_cast<std::int32_t>(level.texts.size());
        level.textIndex.Reserve(static_cast<std::uint32_t>(known) + 1);
        level.texts.emplace_back(text);
        level.textIndex.Add(hash, known);
    }
    return {static_cast<std::uint64_t>(known), false};
}

PendingVerdict PendingBlocks::Find(const ERecordBlock& block, EBlockIndex record) {
    if (tags_.size() == kMostTags) {
        ForgetTags();
    }
    std::uint64_t hash = 0;
    for (std::size_t index = 0; index < levels_.size(); ++index) {
        hash = MixHash(hash, hashes_[index][record]);
        sought_[index] = PartOf(index, block, record);
    }
    const auto known = static_cast<std::uint32_t>(hash);
    const std::int32_t at = index_.Find(known, [this](std::int32_t tag) {
        return std::equal(sought_.begin(), sought_.end(),
                          parts_.begin() + tag * static_cast<std::ptrdiff_t>(sought_.size()));
    });
    if (at >= 0) {
        found_ = static_cast<std::size_t>(at);
        return tags_[found_].verdict;
    }
    found_ = tags_.size();
    index_.Reserve(static_cast<std::uint32_t>(found_ + 1));
    parts_.insert(parts_.end(), sought_.begin(), sought_.end());
    tags_.push_back({PendingVerdict::Unknown, 0, 0});
    index_.Add(known, static_cast<std::int32_t>(found_));
    return PendingVerdict::Unknown;
}

void PendingBlocks::ForgetTags() noexcept {
    index_.Clear();
    tags_.clear();
    parts_.clear();
    patches_.clear();
    for (Level& level : levels_) {
        level.texts.clear();
        level.textIndex.Clear();
    }
}

void PendingBlocks::Set(PendingVerdict verdict) { tags_[found_].verdict = verdict; }

PendingVerdict PendingBlocks::SetUpdated(const ERecordBlock& block,
                                         const std::vector<const EField*>& updated) {
    KnownTag& tag = tags_[found_];
    tag.verdict = PendingVerdict::Changed;
    tag.firstPatch = static_cast<std::uint32_t>(patches_.size());
    for (const EField* const field : updated) {
        for (std::size_t column = 0; column < columns_.size(); ++column) {
            if (!AddPatch(block, column, *field)) {
                tag.verdict = PendingVerdict::Single;
            }
        }
    }
    tag.patchCount = static_cast<std::uint32_t>(patches_.size()) - tag.firstPatch;
    return tag.verdict;
}

/// False if the column shows the updated field in another form than words, or a part of it.
bool PendingBlocks::AddPatch(const ERecordBlock& block, std::size_t column, const EField& updated) {
    Shown& shown = columns_[column];
    const auto* const own = static_cast<const std::byte*>(shown.field->Address());
    const auto* const other = static_cast<const std::byte*>(updated.Address());
    const std::size_t size = shown.field->Desc().StorageSize();
    const std::size_t otherSize = updated.Desc().StorageSize();
    if (other == nullptr || own + size <= other || other + otherSize <= own) {
        return true;
    }
    const ERecordBlock::Column& from = block.At(static_cast<unsigned int>(column));
    if (from.words == nullptr || from.numbers != nullptr || own != other || size != otherSize) {
        return false;
    }
    if (shown.reader == nullptr) {
        shown.reader = std::make_unique<EBlockBuilder>(shown.field->Desc());
    }
    shown.reader->Begin();
    shown.reader->At(0).PutCell(0, own);
    const ERecordBlock::Column& value = shown.reader->Finish(1).At(0);
    patches_.push_back({column, value.words[0], value.IsMissingWord(0)});
    return true;
}

// ------------------------------------------------------------------------------------------- parts

void PendingBlocks::Put(const ERecordBlock& block, EBlockIndex record) {
    if (!isComposed_) {
        isComposed_ = true;
        for (std::size_t column = 0; column < columns_.size(); ++column) {
            columns_[column].isCopied = false;
            composer_.At(column) = block.At(static_cast<unsigned int>(column));
        }
    }
    const KnownTag& tag = tags_[found_];
    for (std::size_t index = 0; index < tag.patchCount; ++index) {
        const Patch& patch = patches_[tag.firstPatch + index];
        Shown& shown = columns_[patch.column];
        if (!shown.isCopied) {
            CopyWords(block, patch.column);
        }
        const std::uint64_t bit = std::uint64_t{1} << (record % 64U);
        shown.words[record] = patch.word;
        shown.missing[record / 64U] &= ~bit;
        shown.missing[record / 64U] |= patch.isMissing ? bit : 0;
    }
}

void PendingBlocks::CopyWords(const ERecordBlock& block, std::size_t column) {
    Shown& shown = columns_[column];
    const ERecordBlock::Column& from = block.At(static_cast<unsigned int>(column));
    shown.words.resize(ERecordBlock::kMostRecords);
    std::copy_n(from.words, block.Size(), shown.words.begin());
    shown.missing.assign(ERecordBlock::kMostRecords / 64, 0);
    if (from.missing != nullptr) {
        std::copy_n(from.missing, (block.Size() + 63) / 64, shown.missing.begin());
    }
    composer_.At(column).words = shown.words.data();
    composer_.At(column).missing = shown.missing.data();
    shown.isCopied = true;
}

const ERecordBlock& PendingBlocks::Part(const ERecordBlock& block) {
    return isComposed_ ? composer_.Compose(block, block.Size()) : block;
}

}  // namespace etabulon::detail
