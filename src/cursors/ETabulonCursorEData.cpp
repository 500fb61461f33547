#include "etabulon/cursors/ETabulonCursorEData.h"

#include "cursors/DerivedFields.h"
#include "cursors/LinkedBlocks.h"
#include "etabulon/foundation/DDico.h"
#include "etabulon/foundation/EBlockSource.h"
#include "etabulon/foundation/EDataTable.h"
#include "etabulon/foundation/EExpects.h"
#include "etabulon/foundation/EExtract.h"

#include <algorithm>
#include <typeinfo>
#include <utility>

namespace etabulon {

namespace {

// Values of the record lock bias: up to 200 the table's own lock, above it the record lock.
constexpr int kNoLock = 0;
constexpr int kTableLockNoFlag = 200;
constexpr int kLastTableLock = 200;
constexpr int kRecordLockFlag = 300;

}  // namespace

ETabulonCursorEData::ETabulonCursorEData() = default;

ETabulonCursorEData::~ETabulonCursorEData() { DropTable(); }

void ETabulonCursorEData::DropTable() noexcept {
    if (linkEngine_ != nullptr) {
        linkEngine_->Release();
        linkEngine_ = nullptr;
    }
    bufferProvider_.reset();
    if (ownsTable_) {
        delete table_;
    }
    table_ = nullptr;
}

void ETabulonCursorEData::Init(const ETabulonLevels& levels, EData* table, bool ownsTable) {
    if (table == table_) {
        ownsTable_ = false;  // DropTable must not delete the table that the caller passes
    }
    DropTable();
    ResetDeclaredFields();
    links_.Free();
    derived_.reset();
    E_EXPECTS(table != nullptr);
    if (table == nullptr) {
        DeclareMasterFields(EFieldSet());
        ETabulonCursor::Init(levels);
        return;
    }
    table_ = table;
    ownsTable_ = ownsTable;
    tableName_ = table->dico != nullptr ? table->dico->Name() : Chaine();
    DeclareMasterFields(table->Fields());
    ETabulonCursor::Init(levels);
    bufferProvider_ = std::make_unique<CSingleBufferProvider>(tableName_, table->GetBuffer());
    if (table->dico != nullptr) {
        linkEngine_ = new LinkEngineEDataTable(table->dico->Dico(), table);
    }
    for (unsigned int position = 0; position < Levels().Size(); ++position) {
        const ETabulonLevels::Level& level = Levels().GetLevel(Levels().GetLevelID(position));
        if (level.DataID().IsLink()) {
            DeclareLinkField(level.DataID());
        }
        if (level.DescID().IsLink()) {
            DeclareLinkField(level.DescID());
        }
    }
}

bool ETabulonCursorEData::DeclareLinkField(const ETabulonVariableID& id) {
    if (linkEngine_ == nullptr) {
        return false;
    }
    if (const auto known = links_.Find(id, FindExact); known >= 0) {
        return links_.At(static_cast<std::size_t>(known)).value.resolved;
    }
    LinkDescriptor descriptor;
    linkEngine_->RegisterLink(QualifiedPath(id.Code()), descriptor);
    links_.At(static_cast<std::size_t>(links_.Find(id, FindOrInsert))).value = descriptor;
    MarkFieldsDirty();
    return descriptor.resolved;
}

int ETabulonCursorEData::TypeOf(const ETabulonVariableID& variable) {
    if (variable.IsLink() && DeclareLinkField(variable)) {
        return int{LinkedVariable(variable)->TypeCode()};
    }
    return ETabulonCursor::CanResolve(variable) ? Field(variable).Type() : 0;
}

bool ETabulonCursorEData::DeclareDerivedField(const ETabulonVariableID& id,
                                              const ETabulonVariableID& base,
                                              const EDerivation& derivation) {
    const int type = table_ != nullptr ? TypeOf(base) : 0;
    if (type == 0 || !derivation.Takes(type)) {
        return false;
    }
    if (!CanDerive(id, {base})) {
        return IsDerived(id);
    }
    // Days come back often, moments and amounts rarely.
    const ETypeInfo& info = TypeInfo(type);
    const bool isPerRecord = info.IsFixedSize() && info.naturalSize <= sizeof(std::uint64_t) &&
                             info.storage != EStorage::Date;
    derived_->Add({id, {base}, isPerRecord}, derivation.ResultType(type),
                  [derivation](std::span<const EVariant* const> values, EVariant& field) {
                      derivation.StoreOf(*values[0], field);
                  });
    return true;
}

bool ETabulonCursorEData::DeclareDerivedField(const ETabulonVariableID& id,
                                              const std::vector<ETabulonVariableID>& bases,
                                              int type, MakeValue make) {
    if (!CanDerive(id, bases)) {
        return IsDerived(id);
    }
    derived_->Add({id, bases}, type,
                  [make = std::move(make)](std::span<const EVariant* const> values,
                                           EVariant& field) { field <<= make(values); });
    return true;
}

/// Whether the name is free and the bases exist.
bool ETabulonCursorEData::CanDerive(const ETabulonVariableID& id,
                                    const std::vector<ETabulonVariableID>& bases) {
    if (table_ == nullptr || ETabulonCursor::CanResolve(id) ||
        std::any_of(bases.begin(), bases.end(),
                    [this](const ETabulonVariableID& base) { return TypeOf(base) == 0; })) {
        return false;
    }
    if (derived_ == nullptr) {
        derived_ = std::make_unique<DerivedFields>(*this);
    }
    return true;
}

bool ETabulonCursorEData::IsDerived(const ETabulonVariableID& id) const {
    return derived_ != nullptr && derived_->Has(id);
}

void ETabulonCursorEData::DeclareVariables(const std::vector<ETabulonVariableID>& variables) {
    for (const ETabulonVariableID& variable : variables) {
        if (variable.IsLink() && !IsDerived(variable)) {
            DeclareLinkField(variable);
        }
    }
}

bool ETabulonCursorEData::CanResolve(const ETabulonVariableID& variable) const {
    if (ETabulonCursor::CanResolve(variable)) {
        return true;
    }
    const auto known = links_.Find(variable, FindExact);
    return known >= 0 && links_.At(static_cast<std::size_t>(known)).value.resolved;
}

/// The path with this table's name in front, unless its first step names a rubric.
Chaine ETabulonCursorEData::QualifiedPath(const Chaine& code) const {
    const std::size_t mark = code.FindOneOf("\x3E\xBB");
    const std::size_t dot = code.Find('.');
    if (dot < mark || tableName_.IsEmpty()) {
        return code;
    }
    Chaine path(tableName_);
    path.Append('.');
    path += code;
    return path;
}

DVariable* ETabulonCursorEData::LinkedVariable(const ETabulonVariableID& link) const {
    const Chaine path = QualifiedPath(link.Code());
    return dynamic_cast<DVariable*>(GetObj(table_->dico->Dico(), path.c_str(), /*flag=*/false));
}

void ETabulonCursorEData::PrepareFields() {
    if (linkEngine_ == nullptr) {
        return;
    }
    ClearLinkError();
    if (linkEngine_->InitializeLinks() == 0 && linkEngine_->LastError().status != DataOk) {
        ReportLinkFailure();
        return;
    }
    for (std::size_t index = 0; index < links_.Size(); ++index) {
        const auto& link = links_.At(index);
        const Chaine path = QualifiedPath(link.key.Code());
        DVariable* const variable = LinkedVariable(link.key);
        PTableau<DRubric*> rubrics;
        rubrics.Add(dynamic_cast<DRubric*>(table_->dico));
        const void* buffer = linkEngine_->FindBuffer(link.value, rubrics, bufferProvider_.get());
        if (variable == nullptr || buffer == nullptr) {
            continue;  // unresolved: the field reads as missing
        }
        const void* address =
            variable->GetFieldAdrInMappedRecord(buffer, GetIndiceFromPath(path.c_str()));
        if (address == nullptr) {
            continue;
        }
        // The field views the engine's record, which isn't const: each step reads it again.
        DeclareExtraField(link.key, static_cast<unsigned short>(variable->TypeCode()),
                          static_cast<unsigned short>(variable->Size()), const_cast<void*>(address),
                          Chaine());
    }
}

EFieldSet& ETabulonCursorEData::iFields() {
    linksTouched_ = true;
    return ETabulonCursor::iFields();
}

void ETabulonCursorEData::CalcFields() {
    if (linksTouched_ && linkEngine_ != nullptr) {
        // An assignment of a whole record also writes its linked values, into the engine's buffers.
        // The engine would return them for the next record of the same key.
        linkEngine_->ForgetBuffers();
    }
    linksTouched_ = false;
    for (std::size_t index = 0; index < links_.Size(); ++index) {
        const bool isFound =
            linkEngine_->ResolveLink(links_.At(index).value, bufferProvider_.get()) != nullptr;
        if (!isFound && linkEngine_->LastError().status != DataOk) {
            return ReportLinkFailure();
        }
    }
    if (derived_ != nullptr) {
        derived_->Make();
    }
}

void ETabulonCursorEData::DeriveAgain(std::vector<const EField*>& written) {
    if (derived_ != nullptr) {
        derived_->MakeAgain(written);
    }
}

void ETabulonCursorEData::ReportLinkFailure() {
    linkError_ = linkEngine_->LastError();
    OnLinkFailed(linkError_);
}

void ETabulonCursorEData::OnLinkFailed(const EDataError& error) {
    FailFields(static_cast<CursorStatus>(error.status));
}

// -------------------------------------------------------------------------------------------- walk

CursorStatus ETabulonCursorEData::TableStatus() const noexcept {
    return static_cast<CursorStatus>(table_->status);
}

bool ETabulonCursorEData::HasTable() const noexcept {
    E_EXPECTS(table_ != nullptr);
    return table_ != nullptr;
}

CursorStatus ETabulonCursorEData::SetKeyRange(const ETabulonTag& /*tag*/, EData* /*table*/) const {
    return StatusOk;
}

void ETabulonCursorEData::PushFilter(const EFilter& /*filter*/, EData* /*table*/) const {}

CursorStatus ETabulonCursorEData::Reset(const ETabulonTag& tag) {
    if (!HasTable()) {
        return static_cast<CursorStatus>(DataOther);
    }
    // A failure leaves the table wider than the tag, and the filter on the tag still applies.
    static_cast<void>(SetKeyRange(tag, table_));
    PushFilter(FilterInUse(), table_);
    ClearLinkError();
    currentPosition_ = table_->GetFirst();
    return currentPosition_ != kNoPosition ? StatusOk : TableStatus();
}

CursorStatus ETabulonCursorEData::GetNext() {
    if (!HasTable()) {
        return static_cast<CursorStatus>(DataOther);
    }
    ClearLinkError();
    currentPosition_ = table_->GetNext();
    return currentPosition_ != kNoPosition ? StatusOk : TableStatus();
}

bool ETabulonCursorEData::HasOwnSteps() const noexcept {
    return typeid(*this) != typeid(ETabulonCursorEData);
}

void ETabulonCursorEData::ExpectBlocks() {
    if (table_ == nullptr || recordLockBias_ != kNoLock || HasOwnSteps()) {
        return;
    }
    if (EBlockSource* const blocks = table_->Blocks(); blocks != nullptr) {
        blocks->ExpectWalk();
    }
}

bool ETabulonCursorEData::BeginBlocks(const EBlockRequest& request) {
    if (table_ == nullptr || recordLockBias_ != kNoLock || HasOwnSteps()) {
        return false;
    }
    blocks_ = table_->Blocks();
    if (blocks_ == nullptr) {
        return false;
    }
    if (links_.Size() == 0 && derived_ == nullptr) {
        return blocks_->BeginBlocks(request);
    }
    linkedBlocks_ = std::make_unique<LinkedBlocks>(*this);
    return linkedBlocks_->Begin(request);
}

CursorStatus ETabulonCursorEData::GetNextBlock(const ERecordBlock*& block) {
    return linkedBlocks_ != nullptr ? linkedBlocks_->Next(block) : NextBlockOfTable(block);
}

CursorStatus ETabulonCursorEData::NextBlockOfTable(const ERecordBlock*& block) {
    ClearLinkError();
    block = blocks_->NextBlock();
    currentPosition_ = table_->position;
    return block != nullptr ? StatusOk : TableStatus();
}

CursorStatus ETabulonCursorEData::StandInBlock(const ERecordBlock& block, EBlockIndex record,
                                               bool isWhole) {
    if (isWhole) {
        table_->RePos(block.Position(record), /*flag=*/false);
    } else {
        blocks_->StandOn(record);
    }
    currentPosition_ = table_->position;
    return currentPosition_ != kNoPosition ? StatusOk : TableStatus();
}

void ETabulonCursorEData::EndBlocks() noexcept {
    if (blocks_ != nullptr) {
        blocks_->EndBlocks();
        blocks_ = nullptr;
    }
    linkedBlocks_.reset();
}

void ETabulonCursorEData::ExtractPrimaryKey(ETabulonPrimaryKey& key) const {
    key.Set(table_->CurKey(), currentPosition_);
}

CursorStatus ETabulonCursorEData::OnAcceptedByFilter() {
    if (recordLockBias_ == kNoLock) {
        return StatusOk;
    }
    if (recordLockBias_ <= kLastTableLock) {
        return static_cast<CursorStatus>(
            table_->Lock(kNoPosition, recordLockBias_ != kTableLockNoFlag));
    }
    auto* table = dynamic_cast<EDataTable*>(table_);
    E_EXPECTS(table != nullptr);
    return static_cast<CursorStatus>(
        table->LockRecord(kNoPosition, recordLockBias_ == kRecordLockFlag));
}

void ETabulonCursorEData::RecordUnlock() {
    if (recordLockBias_ == kNoLock || table_ == nullptr) {
        return;
    }
    if (recordLockBias_ <= kLastTableLock) {
        table_->Unlock();
        return;
    }
    auto* table = dynamic_cast<EDataTable*>(table_);
    E_EXPECTS(table != nullptr);
    table->UnlockRecord(kNoPosition);
}

// ----------------------------------------------------------------------------------------- updater

ETabulonCursor::IUpdater* ETabulonCursorEData::Updater() {
    if (!HasTable()) {
        return nullptr;
    }
    AddRef();
    return this;
}

void ETabulonCursorEData::AddRef() {
    ++refCount_;
    if (refCount_ == 2) {
        table_->BeginDelete();
    }
}

std::int32_t ETabulonCursorEData::Release() {
    if (refCount_ == 2) {
        table_->EndDelete();
    }
    if (refCount_ > 1) {
        --refCount_;
    }
    return static_cast<std::int32_t>(refCount_);
}

CursorStatus ETabulonCursorEData::StartInsert(const ETabulonTag& tag) {
    insertMode_ = true;
    table_->Fields().SetNull();
    for (unsigned int index = 0; index < tag.KnownLevelsCount(); ++index) {
        // The tag of an insert may hold levels that this cursor doesn't have.
        if (Levels().ExistLevel(tag.LevelAt(index))) {
            const ETabulonLevels::Level& level = Levels().GetLevel(tag.LevelAt(index));
            static_cast<void>(SetValue(level.DataID(), tag.ValueAt(index)));
        }
    }
    return StatusOk;
}

CursorStatus ETabulonCursorEData::StartUpdate(const ETabulonPrimaryKey& key,
                                              const ETabulonTag& tag) {
    insertMode_ = false;
    return MoveToTag(key, tag);
}

CursorStatus ETabulonCursorEData::MoveToTag(const ETabulonPrimaryKey& key, const ETabulonTag& tag) {
    if (CurrentTag() == tag) {
        return StatusOk;
    }
    // Deliberate: only the table moves. The cursor's own position, tag and key stay those of the
    // walk, so that Delete deletes where the walk stands. A caller that deletes elsewhere walks
    // there first. DeleteUsesTheWalksPosition holds it.
    table_->RePos(key.Position(), /*flag=*/false);
    return TableStatus();
}

CursorStatus ETabulonCursorEData::SetValue(const ETabulonVariableID& id,
                                           const ETabulonValue& value) {
    id.GetIn(table_->Fields()) <<= value.Data();
    return StatusOk;
}

CursorStatus ETabulonCursorEData::SetBuffer(const EExtract& record) {
    iFields() <<= record;
    return StatusOk;
}

CursorStatus ETabulonCursorEData::Save() {
    const EPosition written = insertMode_ ? table_->Insert() : table_->UpdateRecord();
    return written != kNoPosition ? StatusOk : TableStatus();
}

CursorStatus ETabulonCursorEData::Delete(const ETabulonPrimaryKey& key, const ETabulonTag& tag) {
    const CursorStatus status = MoveToTag(key, tag);
    if (status != StatusOk) {
        return status;
    }
    return table_->DeleteRecord(currentPosition_) ? StatusOk : TableStatus();
}

}  // namespace etabulon
