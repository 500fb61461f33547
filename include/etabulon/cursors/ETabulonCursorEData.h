#pragma once

#include "etabulon/cursors/ETabulonCursor.h"
#include "etabulon/foundation/EData.h"
#include "etabulon/foundation/ELinkEngine.h"
#include "etabulon/foundation/FSortedMap.h"

#include <cstdint>

namespace etabulon {

/// The cursor on a real table: walks an EData, reaches linked variables, locks each accepted record
/// if asked to, and writes. Derive from it to narrow the table to a tag by SetKeyRange.
///
/// Links      A linked record that can't be read ends the step with the status of that failure, and
///            is read again by the next step that needs it.
/// Ownership  with ownsTable the table goes with the cursor; its dictionary must outlive both.
/// Updater    Updater() adds a reference that its caller releases. The first holder and the last
///            bracket a write session of the table; the count never destroys the cursor.
class ETABULON_API ETabulonCursorEData : public ETabulonCursor, public ETabulonCursor::IUpdater {
public:
    ETabulonCursorEData() = default;
    ~ETabulonCursorEData() override;

    /// Requires a table. With null, as a source answers for a name that it doesn't know, the cursor
    /// has no fields and no updater, and each step ends with DataOther, as before Init.
    void Init(const ETabulonLevels& levels, EData* table, bool ownsTable);
    [[nodiscard]] EData* Data() const noexcept { return table_; }
    /// Makes a variable behind links known to the next preparation of fields: that of the first
    /// reset after Init. False for a path that doesn't resolve, which declares no field and reads
    /// as missing. May be asked again, also for the links of levels, which Init declares.
    bool DeclareLinkField(const ETabulonVariableID& id);
    [[nodiscard]] bool CanResolve(const ETabulonVariableID& variable) const override;
    /// Why the last step failed at a record reached through a link; status 0 if it didn't.
    [[nodiscard]] const EDataError& LinkError() const noexcept { return linkError_; }

    /// How accepted records are locked: 0 not at all, 200 the table's lock without the flag, others
    /// up to 200 with it, 300 the record lock with the flag, others above 200 without it.
    [[nodiscard]] int RecordLockBias() const noexcept { return recordLockBias_; }
    void SetRecordLockBias(int bias) noexcept { recordLockBias_ = bias; }

    [[nodiscard]] ETabulonCursor::IUpdater* Updater() override;

    /// Gives up what the record lock bias locked.
    virtual void RecordUnlock();
    /// Narrows the table to the tag before a walk. May be wider than the tag, never narrower.
    virtual CursorStatus SetKeyRange(const ETabulonTag& tag, EData* table) const;

protected:
    EFieldSet& iFields() override;
    CursorStatus Reset(const ETabulonTag& tag) override;
    CursorStatus GetNext() override;
    void PrepareFields() override;
    void CalcFields() override;
    CursorStatus OnAcceptedByFilter() override;
    void ExtractPrimaryKey(ETabulonPrimaryKey& key) const override;
    /// A record behind a link couldn't be read: the step ends with the error's status.
    virtual void OnLinkFailed(const EDataError& error);

    CursorStatus StartInsert(const ETabulonTag& tag) override;
    CursorStatus StartUpdate(const ETabulonPrimaryKey& key, const ETabulonTag& tag) override;
    CursorStatus Save() override;
    CursorStatus Delete(const ETabulonPrimaryKey& key, const ETabulonTag& tag) override;
    CursorStatus SetValue(const ETabulonVariableID& id, const ETabulonValue& value) override;
    CursorStatus SetBuffer(const EExtract& record) override;
    /// Moves to the record unless the cursor stands on the tag already.
    virtual CursorStatus MoveToTag(const ETabulonPrimaryKey& key, const ETabulonTag& tag);

    [[nodiscard]] bool IsInInsertMode() const noexcept { return insertMode_; }
    [[nodiscard]] EPosition CurrentPosition() const noexcept { return currentPosition_; }

private:
    void AddRef() override;
    std::int32_t Release() override;
    [[nodiscard]] CursorStatus TableStatus() const noexcept;
    [[nodiscard]] bool HasTable() const noexcept;
    [[nodiscard]] Chaine QualifiedPath(const Chaine& code) const;
    void TellLinkFailure();
    void ClearLinkError() {
        if (linkError_.status != DataOk) {
            linkError_ = EDataError{};
        }
    }
    void DropTable() noexcept;

    std::uint32_t refCount_ = 1;
    EData* table_ = nullptr;
    Chaine tableName_;
    EPosition currentPosition_ = kNoPosition;
    std::int32_t recordLockBias_ = 0;
    ILinkEngine* linkEngine_ = nullptr;  // owned
    std::unique_ptr<IBufferProvider> bufferProvider_;
    bool ownsTable_ = false;
    FSortedMap<ETabulonVariableID, LinkDescriptor> links_;
    bool insertMode_ = false;
    bool linksTouched_ = false;  // the linked records may have been written over
    EDataError linkError_;
};

}  // namespace etabulon
