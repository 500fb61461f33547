#pragma once

#include "etabulon/cursors/ETabulonCursor.h"
#include "etabulon/foundation/EData.h"
#include "etabulon/foundation/ELinkEngine.h"
#include "etabulon/foundation/FSortedMap.h"
#include "etabulon/foundation/fwd.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <vector>

namespace etabulon {

/// The cursor on a real table: walks an EData, reads variables through links, writes, and locks
/// each accepted record if RecordLockBias says so. Derive from it to narrow the table to a tag by
/// SetKeyRange.
///
/// Links      A linked record that can't be read ends the step with the status of that failure. The
///            next step that needs the record reads it again.
/// Ownership  with ownsTable the cursor deletes the table; the dictionary must outlive both.
/// Updater    Updater() adds a reference that its caller releases. The first holder begins a write
///            session of the table and the last ends it; the count never destroys the cursor.
/// Example    examples/first.cpp
class ETABULON_API ETabulonCursorEData : public ETabulonCursor, public ETabulonCursor::IUpdater {
public:
    ETabulonCursorEData();
    ~ETabulonCursorEData() override;

    /// Requires a table. With null, which a source returns for an unknown name, the cursor has no
    /// fields and no updater, and each step ends with DataOther, as before Init.
    void Init(const ETabulonLevels& levels, EData* table, bool ownsTable);
    [[nodiscard]] EData* Data() const noexcept { return table_; }
    /// Declares a variable behind links, before the first walk or between two. The next reset makes
    /// its field. False for a path that doesn't resolve; such a variable has no field
    /// and reads as missing. May be repeated; Init has declared the links of the levels.
    bool DeclareLinkField(const ETabulonVariableID& id);
    /// Adds a field of a name of its own that is made from another variable, which may be behind
    /// links. It shows pending updates of that variable, and is never written. Init forgets it.
    /// False if there is no such variable, if the derivation doesn't take its type, or if the name
    /// is another field's. May be repeated.
    bool DeclareDerivedField(const ETabulonVariableID& id, const ETabulonVariableID& base,
                             const EDerivation& derivation);
    /// Makes a value from those of other variables, in their order.
    using MakeValue = std::function<EVariant(std::span<const EVariant* const> values)>;
    /// Adds a field of this type that a function makes from any number of variables, derived ones
    /// too. The function is called for each distinct combination of their values, or for each
    /// record.
    bool DeclareDerivedField(const ETabulonVariableID& id,
                             const std::vector<ETabulonVariableID>& bases, int type,
                             MakeValue make);
    [[nodiscard]] bool CanResolve(const ETabulonVariableID& variable) const override;
    /// The error by which the last step failed at a linked record; otherwise its status is 0.
    [[nodiscard]] const EDataError& LinkError() const noexcept { return linkError_; }

    /// How accepted records are locked: 0 not at all; others below 200 by EData::Lock, which waits,
    /// 200 without waiting; 300 by EDataTable::LockRecord, which waits, others above 200 without
    /// waiting.
    [[nodiscard]] int RecordLockBias() const noexcept { return recordLockBias_; }
    void SetRecordLockBias(int bias) noexcept { recordLockBias_ = bias; }

    [[nodiscard]] ETabulonCursor::IUpdater* Updater() override;

    /// Releases the lock that RecordLockBias chose.
    virtual void RecordUnlock();
    /// Narrows the table to the tag before a walk. The range may be wider than the tag, never
    /// narrower.
    virtual CursorStatus SetKeyRange(const ETabulonTag& tag, EData* table) const;
    /// Narrows the table to a filter, in the same way, after SetKeyRange.
    virtual void PushFilter(const EFilter& filter, EData* table) const;

protected:
    EFieldSet& iFields() override;
    CursorStatus Reset(const ETabulonTag& tag) override;
    CursorStatus GetNext() override;
    void ExpectBlocks() override;
    /// Reads the table's blocks, unless records are locked. Links are followed once for each key.
    [[nodiscard]] bool BeginBlocks(const EBlockRequest& request) override;
    CursorStatus GetNextBlock(const ERecordBlock*& block) override;
    void EndBlocks() noexcept override;
    CursorStatus StandInBlock(const ERecordBlock& block, EBlockIndex record, bool isWhole) override;
    /// Whether the cursor's class may have a part in single steps, which a walk by blocks would
    /// pass over. True for a derived class that doesn't override this:
    ///     return typeid(*this) != typeid(Mine);
    /// is the answer of a class Mine that overrides no step, no derived fields, no filter, no tag
    /// and no key.
    [[nodiscard]] virtual bool HasOwnSteps() const noexcept;
    void PrepareFields() override;
    void CalcFields() override;
    void DeriveAgain(std::vector<const EField*>& written) override;
    void DeclareVariables(const std::vector<ETabulonVariableID>& variables) override;
    CursorStatus OnAcceptedByFilter() override;
    void ExtractPrimaryKey(ETabulonPrimaryKey& key) const override;
    /// A linked record couldn't be read. The step ends with the error's status.
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
    [[nodiscard]] bool IsDerived(const ETabulonVariableID& id) const;

private:
    class LinkedBlocks;
    class DerivedFields;
    /// The type of a variable that may be behind links or derived; 0 where there is none.
    [[nodiscard]] int TypeOf(const ETabulonVariableID& variable);
    [[nodiscard]] bool CanDerive(const ETabulonVariableID& id,
                                 const std::vector<ETabulonVariableID>& bases);
    void AddRef() override;
    std::int32_t Release() override;
    [[nodiscard]] CursorStatus TableStatus() const noexcept;
    [[nodiscard]] bool HasTable() const noexcept;
    [[nodiscard]] Chaine QualifiedPath(const Chaine& code) const;
    [[nodiscard]] DVariable* LinkedVariable(const ETabulonVariableID& link) const;
    void ReportLinkFailure();
    CursorStatus NextBlockOfTable(const ERecordBlock*& block);
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
    EBlockSource* blocks_ = nullptr;              // the table's, while a walk reads blocks
    std::unique_ptr<LinkedBlocks> linkedBlocks_;  // of such a walk, if there are links
    ILinkEngine* linkEngine_ = nullptr;           // owned
    std::unique_ptr<IBufferProvider> bufferProvider_;
    bool ownsTable_ = false;
    FSortedMap<ETabulonVariableID, LinkDescriptor> links_;
    std::unique_ptr<DerivedFields> derived_;  // null: none
    bool insertMode_ = false;
    bool linksTouched_ = false;  // a caller may have written into the linked records
    EDataError linkError_;
};

}  // namespace etabulon
