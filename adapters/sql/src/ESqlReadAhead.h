#pragma once

#include "ESqlRanges.h"
#include "etabulon/foundation/EBlockBuilder.h"
#include "etabulon/sql/ESqlRowBlock.h"

#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

namespace etabulon {

/// Reads the rows of a streaming walk in other threads: each has a connection of its own, takes the
/// next range of the key, and decodes it block by block, as far ahead as it has room.
///
/// One state  all readers begin their transactions between two looks at the engine's state number,
///            and so does the walk's own statement: if no commit came in between, all of them see
///            the state that the walk's first record is of.
/// Threads    all operations belong to the thread of the walk. A reader touches its connection and
///            the slots that it fills; a slot is handed over whole, under the lock.
class ESqlTable::ReadAhead {
    struct Reader;

public:
    /// The place of a block.
    struct Slot {
        Slot(Reader& ofReader, const EFieldSet& layout) : reader(ofReader), scratch(layout) {}
        Reader& reader;  // that fills it
        std::optional<EBlockBuilder> builder;
        ESqlRowBlock rows;
        ERecordBuffer scratch;
        std::vector<ESqlMisreads> misreads;  // by column
    };
    enum class Outcome : std::uint8_t {
        Block = 0,
        End = 1,
        Failed = 2,
        Stopped = 3,
    };

    explicit ReadAhead(ESqlTable& table) : table_(table) {}
    ~ReadAhead();
    ReadAhead(const ReadAhead&) = delete;
    ReadAhead& operator=(const ReadAhead&) = delete;

    /// Prepares the readers of a walk that stands on its first record, if they pay. The walk may
    /// begin again for it. Returns what the walk's first step does.
    [[nodiscard]] EPosition Prepare(EPosition first);
    /// Starts the threads of prepared readers. False if there is none; they are then ended.
    [[nodiscard]] bool Start(const EBlockSource& source, const EBlockRequest& request,
                             const std::vector<EFieldDesc>& descs,
                             const std::vector<ESqlCell>& cells, const EBlockBuilder& owner);
    /// Waits for the next block in the order of the key, which stays valid until the next call,
    /// Free or Start. `mustStop` is asked while it waits. `error` is set by Failed.
    [[nodiscard]] Outcome Next(Slot*& slot, const std::function<bool()>& mustStop,
                               ESqlError& error);
    /// Ends threads and transactions. The last block stays valid.
    void End() noexcept;
    void Free() noexcept;

private:
    struct Reader {
        std::unique_ptr<ISqlConnection> connection;
        std::unique_ptr<ISqlStatement> statement;  // of a range
        std::unique_ptr<ISqlStatement> seek;       // of a range's first key
        std::unique_ptr<ESqlColumnData> data;
        std::deque<Slot> slots;
        // Guarded by lock_.
        std::vector<Slot*> free;
        std::size_t waitingBytes = 0;  // of texts, in blocks that were read and not yet freed
        std::thread thread;
    };
    /// The blocks of a range that were read, and not yet delivered.
    struct Chunk {
        std::vector<Slot*> ready;
        std::size_t taken = 0;  // of `ready`
        [[nodiscard]] bool IsDeliverable() const noexcept;
        bool isRead = false;
        bool hasFailed = false;
        bool isStalled = false;  // its reader waits for the walk
        ESqlError error;
    };

    [[nodiscard]] bool MayRun() const;
    [[nodiscard]] bool PrepareStatements(Reader& reader);
    [[nodiscard]] bool Connect();
    [[nodiscard]] bool BeginReading();
    void EndReading() noexcept;
    void MakeSlots(Reader& reader, const EBlockSource& source, const EBlockRequest& request,
                   const std::vector<EFieldDesc>& descs, const std::vector<ESqlCell>& cells,
                   const EBlockBuilder& owner);
    void Read(Reader& reader) noexcept;
    [[nodiscard]] bool ReadNext(Reader& reader);
    [[nodiscard]] bool ReadRows(Reader& reader, Chunk& chunk, std::int64_t last, std::size_t& rows);
    [[nodiscard]] ESqlStep ReadBlock(Reader& reader, Chunk& chunk, Slot& slot);
    [[nodiscard]] Slot* TakeFree(Reader& reader, Chunk& chunk);

    ESqlTable& table_;
    std::unique_ptr<ISqlConnection> watch_;  // its state number tells whether others committed
    std::deque<Reader> readers_;
    bool isPrepared_ = false;
    Slot* delivered_ = nullptr;

    std::mutex lock_;
    std::condition_variable arrived_;  // a block, or the end of a range
    std::condition_variable freed_;    // a slot
    // Guarded by lock_ while threads run.
    Ranges ranges_;
    std::deque<Chunk> chunks_;  // in the order of the key; the first is being delivered
    bool mustEnd_ = false;
    bool hasNoMemory_ = false;  // ran out in a reader
};

}  // namespace etabulon
