#include "cursors/LinkedBlocks.h"

#include "cursors/DerivedFields.h"
#include "etabulon/foundation/DDico.h"
#include "etabulon/foundation/EBlockSource.h"
#include "foundation/ELinkPath.h"

#include <algorithm>
#include <utility>

namespace etabulon {

namespace {

constexpr std::size_t kMost = ERecordBlock::kMostRecords;

bool HasWords(const EField& field) noexcept {
    const ETypeInfo& info = TypeInfo(field.Type());
    return info.IsFixedSize() && info.naturalSize <= sizeof(std::uint64_t);
}

}  // namespace

// ------------------------------------------------------------------------------------------- begin

bool ETabulonCursorEData::LinkedBlocks::Begin(const EBlockRequest& request) {
    EBlockRequest own;
    own.keys = request.keys;
    if (!AddKeys(own)) {
        return false;
    }
    for (const EBlockRequest::Column& wish : request.columns) {
        if (!AddColumn(wish, own)) {
            return false;
        }
        composer_.AddColumn(wish.field->Desc());
    }
    version_ = cursor_.linkEngine_ != nullptr ? cursor_.linkEngine_->Version() : 0;
    return cursor_.blocks_->BeginBlocks(own);
}

bool ETabulonCursorEData::LinkedBlocks::AddKeys(EBlockRequest& request) {
    for (std::size_t link = 0; link < cursor_.links_.Size(); ++link) {
        further_.push_back({cursor_.links_.At(link).key});
        if (cursor_.links_.At(link).value.resolved && !AddLink(link, request)) {
            return false;
        }
    }
    const std::size_t derived = cursor_.derived_ != nullptr ? cursor_.derived_->Size() : 0;
    for (std::size_t index = 0; index < derived; ++index) {
        further_.push_back({cursor_.derived_->At(index).id, kNone, nullptr, index});
        if (!AddDerived(index, request)) {
            return false;
        }
    }
    return true;
}

bool ETabulonCursorEData::LinkedBlocks::AddLink(std::size_t link, EBlockRequest& request) {
    const DRubric* const rubric = dynamic_cast<DRubric*>(cursor_.table_->dico);
    const Chaine path = cursor_.QualifiedPath(cursor_.links_.At(link).key.Code());
    detail::LinkPath resolved;
    if (rubric == nullptr || !detail::ResolveLinkPath(*rubric->Dico(), path.View(), resolved)) {
        return false;
    }
    if (resolved.start != rubric || resolved.hops.empty()) {
        return true;
    }
    const detail::PathHop& hop = resolved.hops.front();
    std::vector<unsigned int> columns;
    for (const unsigned int variable : hop.OwnVariables()) {
        const DVariable& own = *rubric->At(variable);
        const EField* const field = FindOwn(own, own.Count() > 1 ? hop.index : 0);
        if (field == nullptr) {
            return false;
        }
        columns.push_back(request.AddNumbers(*field));
    }
    AddKey(std::move(columns));
    return true;
}

bool ETabulonCursorEData::LinkedBlocks::AddDerived(std::size_t index, EBlockRequest& request) {
    const DerivedFields::Derived& derived = cursor_.derived_->At(index);
    std::vector<unsigned int> columns;
    for (const ETabulonVariableID& base : derived.bases) {
        const auto further =
            std::find_if(further_.begin(), further_.end(), [&base](const Further& each) {
                return each.id == base && (each.key != kNone || each.base != nullptr);
            });
        if (further != further_.end() && further->key != kNone) {
            const std::vector<unsigned int>& its = keys_[further->key].columns;
            columns.insert(columns.end(), its.begin(), its.end());
            continue;
        }
        if (base.IsLink()) {
            continue;  // it reads nothing
        }
        const EField& field = further != further_.end() ? *further->base : cursor_.Field(base);
        if (EBlockSource::FindField(cursor_.table_->Fields(), field) < 0) {
            return false;
        }
        if (derived.isPerRecord && further == further_.end()) {
            further_.back().base = &field;
            return true;
        }
        columns.push_back(request.AddNumbers(field));
    }
    std::sort(columns.begin(), columns.end());
    columns.erase(std::unique(columns.begin(), columns.end()), columns.end());
    if (!columns.empty()) {
        AddKey(std::move(columns));
    }
    return true;
}

/// The key of the last variable.
void ETabulonCursorEData::LinkedBlocks::AddKey(std::vector<unsigned int> columns) {
    const auto known = std::find_if(keys_.begin(), keys_.end(), [&columns](const Key& other) {
        return other.columns == columns;
    });
    further_.back().key = static_cast<std::size_t>(known - keys_.begin());
    if (known == keys_.end()) {
        Key key;
        key.pairs.resize(columns.size() - 1);
        key.made.resize(key.pairs.empty() ? 0 : kMost);
        key.columns = std::move(columns);
        keys_.push_back(std::move(key));
    }
}

/// The table's field that the link engine reads as this variable; null if there is none.
const EField* ETabulonCursorEData::LinkedBlocks::FindOwn(const DVariable& variable,
                                                         unsigned int element) const {
    const EFieldDesc desc = variable.MakeFieldDesc(element);
    const EFieldSet& fields = cursor_.table_->Fields();
    const int index = fields.IndexOf(desc.Name());
    if (index < 0) {
        return nullptr;
    }
    const EField& field = fields.At(static_cast<std::uint16_t>(index));
    const auto* const buffer = static_cast<const std::byte*>(cursor_.table_->GetBuffer());
    // A table with some of its rubric's variables has a second record, by the whole rubric, and
    // finds its columns there by name.
    const bool isSecond = buffer != fields.Buffer();
    const bool isThere = isSecond || field.Address() == buffer + variable.Offset(element);
    return isThere && field.Type() == desc.Type() && field.Size() == desc.Size() ? &field : nullptr;
}

bool ETabulonCursorEData::LinkedBlocks::AddColumn(const EBlockRequest::Column& wish,
                                                  EBlockRequest& request) {
    if (EBlockSource::FindField(cursor_.table_->Fields(), *wish.field) >= 0) {
        columns_.push_back({request.Add(*wish.field, wish.numbers, wish.values), kNone});
        return true;
    }
    for (const Further& further : further_) {
        const EField* const field = &cursor_.Field(further.id);
        if ((further.key == kNone && further.base == nullptr) ||
            field->Address() != wish.field->Address() ||
            !field->Desc().IsSameAs(wish.field->Desc())) {
            continue;
        }
        columns_.push_back({0, linked_.size()});
        Linked& linked = linked_.emplace_back();
        linked.key = further.key;
        linked.derived = further.derived;
        linked.field = field;
        linked.wantsWords = wish.values && HasWords(*field);
        linked.builder = std::make_unique<EBlockBuilder>(field->Desc());
        if (further.base != nullptr) {
            linked.base = request.AddValues(*further.base);
            return true;
        }
        linked.numbers.resize(kMost);
        linked.words.resize(linked.wantsWords ? kMost : 0);
        linked.missing.resize(linked.wantsWords ? kMost / 64 : 0);
        return true;
    }
    return false;
}

// ------------------------------------------------------------------------------------------- block

CursorStatus ETabulonCursorEData::LinkedBlocks::Next(const ERecordBlock*& block) {
    block = nullptr;
    if (failure_ != StatusOk) {
        // The records of the last block may have been shown singly since.
        cursor_.linkError_ = error_;
        cursor_.OnLinkFailed(error_);
        return failure_;
    }
    const ERecordBlock* from = nullptr;
    if (const CursorStatus status = cursor_.NextBlockOfTable(from); status != StatusOk) {
        return status;
    }
    const std::uint64_t version =
        cursor_.linkEngine_ != nullptr ? cursor_.linkEngine_->Version() : 0;
    if (version != version_) {
        version_ = version;
        for (Key& key : keys_) {
            std::fill(key.isKnown.begin(), key.isKnown.end(), std::uint8_t{0});
        }
    }
    for (Key& key : keys_) {
        Number(key, *from);
    }
    for (Linked& linked : linked_) {
        if (linked.key == kNone) {
            Derive(linked, *from);
        }
    }
    const std::size_t size = Follow(*from);
    error_ = cursor_.linkError_;
    if (size == 0) {
        return failure_;
    }
    for (std::size_t index = 0; index < columns_.size(); ++index) {
        const Column& column = columns_[index];
        if (column.linked == kNone) {
            composer_.At(index) = from->At(column.own);
        } else {
            Show(linked_[column.linked], composer_.At(index), size);
        }
    }
    block = &composer_.Compose(*from, size);
    return StatusOk;
}

void ETabulonCursorEData::LinkedBlocks::Number(Key& key, const ERecordBlock& block) {
    const ERecordBlock::Column& first = block.At(key.columns[0]);
    key.numbers = first.numbers;
    std::size_t count = first.dictionary->Size();
    for (std::size_t part = 0; part < key.pairs.size(); ++part) {
        detail::PairNumbers& pairs = key.pairs[part];
        const std::uint32_t* const next = block.At(key.columns[part + 1]).numbers;
        for (std::size_t record = 0; record < block.Size(); ++record) {
            key.made[record] = pairs.FindOrAdd(key.numbers[record], next[record]);
        }
        key.numbers = key.made.data();
        count = pairs.Size();
    }
    key.isKnown.resize(count);
}

/// Follows the links from keys that are met for the first time. The number of records before the
/// one whose link can't be read, which sets `failure_`.
std::size_t ETabulonCursorEData::LinkedBlocks::Follow(const ERecordBlock& block) {
    for (std::size_t record = 0; record < block.Size(); ++record) {
        const bool areKnown = std::all_of(keys_.begin(), keys_.end(), [record](const Key& key) {
            return key.isKnown[key.numbers[record]] != 0;
        });
        if (areKnown) {
            continue;
        }
        cursor_.blocks_->StandOn(static_cast<EBlockIndex>(record));
        failure_ = cursor_.DeriveFields();
        if (failure_ != StatusOk) {
            return record;
        }
        TakeValues(static_cast<EBlockIndex>(record));
    }
    // The linked records are those of the record on which the table is left.
    cursor_.blocks_->StandOn(static_cast<EBlockIndex>(block.Size() - 1));
    failure_ = cursor_.DeriveFields();
    return block.Size() - (failure_ == StatusOk ? 0 : 1);
}

/// The linked records are those of the keys of this record.
void ETabulonCursorEData::LinkedBlocks::TakeValues(EBlockIndex record) {
    for (Linked& linked : linked_) {
        if (linked.key == kNone) {
            continue;
        }
        const std::size_t count = keys_[linked.key].isKnown.size();
        const std::uint32_t number = keys_[linked.key].numbers[record];
        linked.valueOf.resize(count);
        linked.wordOf.resize(linked.wantsWords ? count : 0);
        linked.builder->Begin();
        linked.builder->At(0).PutCell(0, linked.field->Address());
        const ERecordBlock::Column& value = linked.builder->Finish(1).At(0);
        linked.valueOf[number] = value.numbers[0];
        if (linked.wantsWords) {
            linked.wordOf[number] = value.words[0];
        }
    }
    for (Key& key : keys_) {
        key.isKnown[key.numbers[record]] = 1;
    }
}

void ETabulonCursorEData::LinkedBlocks::Derive(Linked& linked, const ERecordBlock& block) {
    EBlockBuilder& builder = *linked.builder;
    builder.Begin();
    for (std::size_t record = 0; record < block.Size(); ++record) {
        const EVariant& base = block.Value(linked.base, static_cast<EBlockIndex>(record));
        builder.At(0).PutCell(record, cursor_.derived_->MakeFrom(linked.derived, base));
    }
    linked.made = &builder.Finish(block.Size()).At(0);
}

void ETabulonCursorEData::LinkedBlocks::Show(Linked& linked, ERecordBlock::Column& shown,
                                             std::size_t size) {
    if (linked.made != nullptr) {
        shown = *linked.made;
        return;
    }
    const std::uint32_t* const keys = keys_[linked.key].numbers;
    for (std::size_t record = 0; record < size; ++record) {
        linked.numbers[record] = linked.valueOf[keys[record]];
    }
    shown.type = &TypeInfo(linked.field->Type());
    shown.numbers = linked.numbers.data();
    shown.dictionary = linked.builder->Dictionary();
    if (!linked.wantsWords) {
        return;
    }
    std::fill(linked.missing.begin(), linked.missing.end(), 0);
    for (std::size_t record = 0; record < size; ++record) {
        linked.words[record] = linked.wordOf[keys[record]];
        const bool isMissing = linked.numbers[record] == EBlockDictionary::kMissing;
        linked.missing[record / 64] |= std::uint64_t{isMissing} << (record % 64);
    }
    shown.words = linked.words.data();
    shown.missing = linked.missing.data();
}

}  // namespace etabulon
