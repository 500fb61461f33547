#pragma once

#include "ESqlKeyRegistry.h"
#include "ESqlProcess.h"
#include "ESqlStatements.h"
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

/// What an ESqlTable holds.
struct ESqlTable::State {
    enum class Walk : std::uint8_t {
        None = 0,       // before the first, or given up
        Streaming = 1,  // the statement stands on the walk's record
        Listed = 2,     // over `keys`
        Ended = 3,
        Broken = 4,  // failed; `walkFailure` tells
    };
    /// What the current record was when it was loaded.
    enum class Loaded : std::uint8_t {
        No = 0,
        InStatement = 1,  // the streaming statement still shows it
        InRecord = 2,
    };
    enum class Find : std::uint8_t { Found = 0, Gone = 1, Failed = 2 };
    /// What addresses the row of a position.
    struct Address {
        ESqlKeyWay way = ESqlKeyWay::None;
        std::int64_t number = 0;  // a key of one integer, or the row number
        std::string_view key;     // else the raw key
    };

    State(ESqlSource& source, const ESqlTableInfo& info, DRubric& rubric,
          std::vector<unsigned> columns, std::shared_ptr<ISqlConnection> connection);
    ~State();

    // --- keys
    /// False for the one integer that has no position, the lowest.
    [[nodiscard]] bool PositionOf(const ESqlRow& of, EPosition& position);
    [[nodiscard]] Address AddressOf(EPosition position) const;
    /// Binds the key from parameter `first` on.
    static void BindKey(ISqlStatement& statement, int first, const Address& address);
    [[nodiscard]] std::string LockName(EPosition position) const;

    // --- statements
    /// The statement of that text, kept for the next time; null with `error`.
    [[nodiscard]] ISqlStatement* Prepared(const std::string& text);
    /// " RETURNING ..." into storedRow: the key and these cells, as far as a result takes them.
    [[nodiscard]] std::string Returning(std::span<const std::size_t> cells);
    /// The stored value of a cell's column isn't NULL; Gone where it is, or the record is gone.
    [[nodiscard]] Find FindValue(EPosition position, std::size_t cell);
    /// A value that its field doesn't take was set; true with `error`.
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
    /// Sees whether the engine has taken the atomic session back; `error` is then why.
    void CheckAtomic();
    /// True with `error` where a write is refused, as its atomic session has ended.
    [[nodiscard]] bool IsRefused();
    /// The same after a step of a walk, whose wait for a lock a cancel may have ended.
    void NoteWalkError();
    /// Makes `error` that of a cancel if one has ended the wait that it tells of.
    void NoteCancel();
    void NoteError(std::int32_t status, std::string_view what);
    /// True with `error` once the walk was interrupted.
    [[nodiscard]] bool IsCancelled();
    void ClearError() {
        if (error.status != DataOk) {
            error = ESqlError{};
        }
    }

    // --- walks
    [[nodiscard]] bool StartStatement(const std::string& select);
    void BindConditions(ISqlStatement& statement) const;
    [[nodiscard]] ESqlStep StepStatement();
    /// Which has the key of the row that StepStatement brought.
    [[nodiscard]] const ESqlRow& RowOfKey() const noexcept {
        return keyStatement != nullptr ? keyRow : row;
    }
    void EndStreaming() noexcept;
    void BreakWalk();
    /// Keeps the state of the database that is read from here on, until LetStateGo, for a table
    /// that can't be written: its steps by key are statements of their own. False with `error`.
    [[nodiscard]] bool HoldState();
    /// True if a state was kept.
    bool LetStateGo() noexcept;
    /// Takes the keys of the range; false with `error`.
    [[nodiscard]] bool ListKeys();
    /// Turns a streaming walk into one over the keys that are left.
    void LeaveStreaming();
    [[nodiscard]] Find ReadByKey(EPosition position);
    /// The same into `loaded` alone; it isn't known to be of the current record then.
    [[nodiscard]] Find ReadLoaded(EPosition position);
    [[nodiscard]] Find ReadInto(std::span<ESqlRow* const> rows, EPosition position);
    /// Whether the record is there; nothing is loaded.
    [[nodiscard]] Find LookUp(EPosition position);
    /// Makes `listAt` the place of `position` in the list; false where it isn't in it.
    [[nodiscard]] bool Locate(EPosition position);
    void TakeLoaded();
    void MakeLinkRecord();
    void MirrorLinkColumns() noexcept;

    ESqlSource& source;
    const ESqlTableInfo& info;
    DRubric& rubric;
    std::vector<unsigned> columns;
    std::shared_ptr<ISqlConnection> connection;  // shared with lookups of links from here
    bool writable;

    // Records. Cells of `row` and `loadedRow` are the same but for the buffer.
    EFieldSet layout;
    ERecordBuffer record;
    ERecordBuffer loaded;
    Loaded loadedFrom = Loaded::No;
    ESqlColumnData data;
    ESqlRow row;
    ESqlRow loadedRow;
    std::uint64_t readAgain = 0;
    ESqlRow keyRow;  // the key alone
    // What a write has made of the cells that it set. The fields of `layout` view it.
    ERecordBuffer stored;
    ESqlRow storedRow;
    std::string selectRow;
    std::string selectKey;
    std::array<std::string, 2> selectByKey;  // without the row number, and with it

    // With some columns only, links still read foreign keys where a record of the whole rubric has
    // them: this is one, whose slots borrow the texts of `record`.
    struct LinkColumn {
        std::size_t from;
        std::size_t to;
        std::size_t size;
    };
    std::vector<std::byte> linkRecord;
    std::vector<LinkColumn> linkColumns;

    ESqlKeyRegistry& registry;  // the source's
    EPosition lastNumber = 0;   // of the records of a table without a key
    bool keyStale = true;

    Walk walk = Walk::None;
    std::vector<ESqlCondition> conditions;
    std::vector<unsigned> order;
    std::string walkText;
    std::unique_ptr<ISqlStatement> walkStatement;  // of walkText
    // The engine takes no result of so many columns as a row and its key have: the keys come from
    // a second statement, which walks in the same order and sees the same state.
    bool isKeyApart = false;
    std::unique_ptr<ISqlStatement> keyStatement;  // of a streaming walk; null where not apart
    std::unique_ptr<ISqlStatement> holder;        // stands on its row while a state is kept
    bool isHolding = false;
    std::vector<EPosition> keys;
    std::unordered_map<EPosition, std::size_t> keyPlaces;  // made when first needed
    /// Where writes in mid-walk have put records. If one of these places is still to come in the
    /// list, its own record has gone, and the one there was met before or is new.
    std::unordered_set<EPosition> occupied;
    std::int64_t listAt = 0;  // of the walk's record in `keys`; -1 or the size beyond the ends
    bool listIsWhole = false;
    bool moved = false;  // RePos went elsewhere than the walk stands
    EPosition walkPosition = kNoPosition;
    ESqlError walkFailure;

    std::unordered_map<std::string, std::unique_ptr<ISqlStatement>> statements;
    ESqlError error;

    // Writing.
    bool isReadBack = false;  // `loaded` is what the database made of the last write
    // Cells of the record in which SetField stored, where the value there doesn't tell what was
    // meant: missing ones, and those of which the field's type doesn't take the value.
    std::unordered_set<std::size_t> nulled;
    std::unordered_map<std::size_t, Chaine> refused;  // with the value's text
    unsigned holders = 0;
    bool atomic = false;   // Commit or Rollback is still to come
    bool isEnded = false;  // the atomic session takes no further write
    ESqlError endedBy;     // what made the engine end it
    ESqlSessionRecord session;
    std::shared_ptr<std::atomic<std::uint64_t>> version;
    EPosition locked = kNoPosition;  // by Lock
    std::atomic<bool> interrupted{false};
};

}  // namespace etabulon
