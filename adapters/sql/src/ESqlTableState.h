#pragma once

#include "ESqlConditions.h"
#include "ESqlKeyList.h"
#include "ESqlKeyRegistry.h"
#include "ESqlLinkRecord.h"
#include "ESqlProcess.h"
#include "ESqlStatements.h"
#include "SqlSourceCore.h"
#include "etabulon/foundation/DDico.h"
#include "etabulon/sql/ESqlSource.h"
#include "etabulon/sql/ESqlTable.h"

#include <array>
#include <atomic>
#include <memory>
#include <span>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace etabulon {

/// The private state of an ESqlTable.
struct ESqlTable::State {
    enum class Walk : std::uint8_t {
        None = 0,       // before the first step, or after EndWalk
        Streaming = 1,  // the statement stands on the walk's record
        Listed = 2,     // the walk reads the records of `list`
        Ended = 3,
        Broken = 4,  // failed with `walkFailure`
        Ahead = 5,   // other threads read; the statement stands on the walk's first record
    };
    /// Where the current record's values as loaded are.
    enum class Loaded : std::uint8_t {
        No = 0,
        InStatement = 1,  // in the row of the streaming statement
        InRecord = 2,     // in `loaded`
    };
    enum class Find : std::uint8_t { Found = 0, Gone = 1, Failed = 2 };

    State(ESqlSource& source, const ESqlTableInfo& info, DRubric& rubric,
          std::vector<unsigned int> columns, std::shared_ptr<ISqlConnection> connection);
    ~State();

    // ---------------------------------------------------------------------------------------- keys
    /// False for the lowest integer, the only one without a position.
    [[nodiscard]] bool PositionOf(const ESqlRow& of, EPosition& position);
    [[nodiscard]] ESqlAddress AddressOf(EPosition position) const;
    /// Reads the key of a record; no segments without a position or a key.
    void KeyAt(EPosition position, EFieldKey& key) const;
    [[nodiscard]] std::string LockName(EPosition position) const;

    // ---------------------------------------------------------------------------------- statements
    /// The statement of that text, from a cache; null with `error`.
    [[nodiscard]] ISqlStatement* Prepared(const std::string& text);
    /// The same after the source was closed too, as the end of a session needs it.
    [[nodiscard]] ISqlStatement* CachedStatement(const std::string& text);
    /// " RETURNING ..." into storedRow: the key, and as many of these cells as a result allows.
    [[nodiscard]] std::string Returning(std::span<const std::size_t> cells);
    /// Found if the stored value of a cell's column isn't NULL; Gone if it is, or the record is
    /// gone.
    [[nodiscard]] Find FindValue(EPosition position, std::size_t cell);
    /// Whether SetField got a value that its field can't hold; true with `error`.
    [[nodiscard]] bool IsValueRefused();
    void ForgetSets() noexcept {
        if (!nulled.empty() || !refused.empty()) {
            nulled.clear();
            refused.clear();
        }
    }
    void NoteCell(std::size_t cell, const std::string& value, std::string_view why);
    [[nodiscard]] bool RunPrepared(const char* text);
    void NoteEngineError();
    /// Tests whether the engine has rolled the atomic session back; `error` is then the reason.
    void CheckAtomic();
    /// Whether writes are refused because their atomic session has ended; true with `error`.
    [[nodiscard]] bool IsRefused();
    /// NoteEngineError after a step of a walk, whose wait for a lock a cancel may have ended.
    void NoteWalkError();
    /// Replaces `error` by kDataInterrupted if a cancel ended the wait that failed.
    void NoteCancel();
    void NoteError(std::int32_t status, std::string_view what);
    void NoteMemory() noexcept;
    /// Whether the walk was interrupted or its source closed; true with `error`.
    [[nodiscard]] bool MustStop();
    void ClearError() {
        if (error.status != DataOk) {
            error = ESqlError{};
        }
    }

    // --------------------------------------------------------------------------------------- walks
    [[nodiscard]] bool StartStatement(const std::string& select);
    /// What stands behind the select of a walk: its conditions and its order.
    [[nodiscard]] std::string WalkRest() const;
    [[nodiscard]] ESqlStep StepStatement();
    /// The row with the key of the last StepStatement.
    [[nodiscard]] const ESqlRow& RowOfKey() const noexcept {
        return keyStatement != nullptr ? keyRow : row;
    }
    void EndStreaming() noexcept;
    void BreakWalk();
    /// Keeps a read transaction open until LetStateGo, for a table that can't be written: all its
    /// reads by key, which are separate statements, then see one state of the database. False with
    /// `error`.
    [[nodiscard]] bool HoldState();
    /// Ends HoldState; true if a state was held.
    bool LetStateGo() noexcept;
    /// Appends the position of a row to the list of keys; false with `error`.
    [[nodiscard]] bool AppendKey(const ESqlRow& of);
    /// Reads the keys of the range; false with `error`.
    [[nodiscard]] bool ListKeys();
    /// Whether no key is listed twice; false with `error`.
    [[nodiscard]] bool AreKeysOnce();
    void NoteListedState();
    /// Whether the table still reads the state in which the list of keys was read.
    [[nodiscard]] bool IsListedStateSeen() const;
    /// Turns a walk that other threads read into a streaming one, on the record that it delivered
    /// last.
    void ComeBack();
    [[nodiscard]] bool BeginFrom(ESqlRow& into);
    /// Turns a streaming walk into a walk over the keys that remain.
    void LeaveStreaming();
    [[nodiscard]] Find ReadByKey(EPosition position);
    /// The same into `loaded` alone, which then may be of another record than the current one.
    [[nodiscard]] Find ReadLoaded(EPosition position);
    /// Reads the walk's record, which a block has delivered and counted the misreads of.
    [[nodiscard]] Find ReadBlank();
    [[nodiscard]] Find ReadRecord(ESqlRow& into, EPosition position);
    [[nodiscard]] Find ReadInto(std::span<ESqlRow* const> rows, EPosition position);
    /// Tests whether the record exists, without loading it.
    [[nodiscard]] Find LookUp(EPosition position);
    /// Runs a statement for its first row; Gone if there is none.
    [[nodiscard]] Find FindRow(const std::string& text, const ESqlAddress* address);
    /// Found unless a record came to the key of `position` since WatchKeys; never Gone.
    [[nodiscard]] Find FindOwner(EPosition position);
    void TakeLoaded();
    void MirrorLinkColumns() noexcept { linkRecord.Mirror(record.Get()); }

    std::shared_ptr<detail::SqlSourceCore> source;  // holds `info`, `rubric` and `registry`
    const ESqlTableInfo& info;
    DRubric& rubric;
    std::vector<unsigned int> columns;
    std::shared_ptr<ISqlConnection> connection;  // shared with this table's link lookups
    bool writable;

    // Records. `row` and `loadedRow` have the same cells in different buffers.
    EFieldSet layout;
    ERecordBuffer record;
    ERecordBuffer loaded;
    Loaded loadedFrom = Loaded::No;
    ESqlColumnData data;
    ESqlRow row;
    ESqlRow loadedRow;
    ESqlMisreads readAgain;
    ESqlRow keyRow;  // the key alone
    // The values that the last write stored in the cells that it set. The fields of `layout` view
    // it.
    ERecordBuffer stored;
    ESqlRow storedRow;
    std::string selectRow;
    std::string selectKey;
    std::array<std::string, 2> selectByKey;  // without the row number, and with it

    ESqlLinkRecord linkRecord;  // not made if all columns are open
    ESqlKeyRegistry& registry;
    EPosition lastNumber = 0;  // the last position given in a view
    bool keyStale = true;

    Walk walk = Walk::None;
    std::vector<ESqlCondition> conditions;
    std::vector<unsigned int> order;
    std::string walkText;
    std::unique_ptr<ISqlStatement> walkStatement;  // of walkText
    // The engine's results are too narrow for a row with its key. A second statement reads the keys
    // in the same order and from the same state.
    bool isKeyApart = false;
    std::unique_ptr<ISqlStatement> keyStatement;  // of a streaming walk; null unless isKeyApart
    std::unique_ptr<ISqlStatement> holder;        // stands on its row while a state is held
    bool isHolding = false;
    ESqlKeyList list;
    // The connection's TotalChanges when `list` was read; -1 outside of a transaction.
    std::int64_t changesAtList = -1;
    bool moved = false;  // RePos left the walk's record
    EPosition walkPosition = kNoPosition;
    ESqlError walkFailure;
    std::unique_ptr<ReadAhead> readAhead;  // made when it is first asked for
    bool expectsBlocks = false;            // of the next walk
    bool isBlank = false;  // the table stands on walkPosition, and its fields weren't loaded

    std::unordered_map<std::string, std::unique_ptr<ISqlStatement>> statements;
    ESqlError error;

    // Writing.
    bool isReadBack = false;  // `loaded` was read from the database after the last write
    // Cells set by SetField whose content doesn't show what was set: missing values, and values
    // that the field's type can't hold.
    std::unordered_set<std::size_t> nulled;
    std::unordered_map<std::size_t, Chaine> refused;  // with the texts of the values
    unsigned int holders = 0;
    bool isWatching = false;  // WatchKeys was called
    bool atomic = false;      // BeginAtomic was called, and neither Commit nor Rollback yet
    bool isEnded = false;     // the atomic session refuses further writes
    ESqlError endedBy;        // the failure that made the engine end it
    ESqlSessionRecord session;
    std::shared_ptr<std::atomic<std::uint64_t>> version;
    EPosition locked = kNoPosition;  // by Lock
    std::atomic<bool> interrupted{false};
};

}  // namespace etabulon
