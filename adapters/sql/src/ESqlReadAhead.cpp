#include "ESqlReadAhead.h"

#include "etabulon/foundation/EReadAhead.h"

#include <algorithm>
#include <chrono>
#include <new>
#include <system_error>

namespace etabulon {

namespace {

// Of each reader: those of the range that is being delivered, and of the next.
constexpr std::size_t kSlots = 16;
// A walk that waits is woken for so many blocks, or the end of a range.
constexpr std::size_t kBatch = 8;
static_assert(kBatch < kSlots);
// A reader whose blocks have that many bytes of texts waits until the walk has taken some.
constexpr std::size_t kMostWaitingBytes = std::size_t{8} << 20U;
constexpr int kAttempts = 2;
constexpr std::chrono::milliseconds kStopTurn{10};  // how often a waiting walk asks for a cancel

ESqlError NoMemory() {
    ESqlError error;
    error.status = DataOther;
    error.text = "memory ran out";
    return error;
}

}  // namespace

ESqlTable::ReadAhead::~ReadAhead() {
    End();
    Free();
}

// ----------------------------------------------------------------------------------------- prepare

EPosition ESqlTable::ReadAhead::Prepare(EPosition first) {
    State& s = *table_.state_;
    if (!MayRun() || !ranges_.Plan(s) || !Connect()) {
        return first;
    }
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        const std::optional<std::int64_t> before = watch_->StateNumber();
        if (!before.has_value()) {
            return first;
        }
        first = table_.StreamAgain();
        if (first == kNoPosition) {
            return first;
        }
        // The file may have been replaced by another one since the table opened it.
        if (BeginReading() && watch_->StateNumber() == before &&
            s.connection->StateNumber().has_value()) {
            ranges_.Start(s.AddressOf(first).number);
            isPrepared_ = true;
            return first;
        }
        EndReading();
    }
    return first;
}

bool ESqlTable::ReadAhead::MayRun() const {
    State& s = *table_.state_;
    // The first step runs again. It takes long where it passes over many rows.
    const auto most = static_cast<std::int64_t>(2 * EReadAhead::LeastRecords());
    return EReadAhead::Threads() != 0 && s.order.empty() && s.row.integerKeyColumn >= 0 &&
           s.keyStatement == nullptr && !s.isHolding && !s.connection->IsInTransaction() &&
           s.walkStatement->TakeEffort() <= most && Ranges::ReadsAll(s);
}

/// Connections are kept for later walks.
bool ESqlTable::ReadAhead::Connect() {
    State& s = *table_.state_;
    if (watch_ == nullptr) {
        watch_ = s.connection->OpenReader();
    }
    const std::size_t threads = EReadAhead::Threads();
    while (watch_ != nullptr && readers_.size() < threads) {
        auto connection = s.connection->OpenReader();
        if (connection == nullptr) {
            break;
        }
        readers_.emplace_back().connection = std::move(connection);
    }
    while (readers_.size() > threads) {
        readers_.pop_back();
    }
    return watch_ != nullptr && !readers_.empty();
}

bool ESqlTable::ReadAhead::BeginReading() {
    for (Reader& reader : readers_) {
        if (!reader.connection->BeginReading() || !reader.connection->StateNumber().has_value()) {
            return false;
        }
    }
    return true;
}

void ESqlTable::ReadAhead::EndReading() noexcept {
    for (Reader& reader : readers_) {
        reader.statement.reset();
        reader.seek.reset();
        reader.connection->EndReading();
    }
}

// ------------------------------------------------------------------------------------------- start

bool ESqlTable::ReadAhead::Start(const EBlockSource& source, const EBlockRequest& request,
                                 const std::vector<EFieldDesc>& descs,
                                 const std::vector<ESqlCell>& cells, const EBlockBuilder& owner) {
    if (!isPrepared_) {
        return false;
    }
    mustEnd_ = hasNoMemory_ = false;
    delivered_ = nullptr;
    bool hasThread = false;
    for (Reader& reader : readers_) {
        if (!PrepareStatements(reader)) {
            break;
        }
        try {
            MakeSlots(reader, source, request, descs, cells, owner);
            reader.thread = std::thread([this, &reader] { Read(reader); });
        } catch (const std::system_error&) {
            break;  // the threads that there are read all
        } catch (const std::bad_alloc&) {
            End();
            Free();
            throw;
        }
        hasThread = true;
    }
    if (!hasThread) {
        End();
        Free();
    }
    return hasThread;
}

bool ESqlTable::ReadAhead::PrepareStatements(Reader& reader) {
    const State& s = *table_.state_;
    // The reader tests the end of a range by the key that it reads anyway, at half the price. With
    // conditions the next row may be far behind that end.
    const std::string where =
        s.conditions.empty() ? Ranges::Where(s, {" > ?"}) : Ranges::Where(s, {" > ?", " <= ?"});
    reader.statement = reader.connection->Prepare(s.selectRow + where + SqlOrder(s.info, {}));
    reader.seek = reader.connection->Prepare(Ranges::SeekText(s.info));
    if (reader.statement == nullptr || reader.seek == nullptr) {
        return false;
    }
    BindSqlConditions(s.conditions, *reader.statement);
    return true;
}

void ESqlTable::ReadAhead::MakeSlots(Reader& reader, const EBlockSource& source,
                                     const EBlockRequest& request,
                                     const std::vector<EFieldDesc>& descs,
                                     const std::vector<ESqlCell>& cells,
                                     const EBlockBuilder& owner) {
    const State& s = *table_.state_;
    reader.data = std::make_unique<ESqlColumnData>(cells.size());
    for (std::size_t index = 0; index < kSlots; ++index) {
        Slot& slot = reader.slots.emplace_back(reader, s.layout);
        slot.builder.emplace(source, request, descs);
        slot.builder->ShareDictionaries(owner);
        slot.misreads.resize(cells.size());
        slot.rows.row = s.row;
        slot.rows.row.record = static_cast<std::byte*>(slot.scratch.Get());
        slot.rows.row.cells = cells;
        for (std::size_t cell = 0; cell < cells.size(); ++cell) {
            slot.rows.row.cells[cell].texts = &reader.data->texts[cell];
            slot.rows.row.cells[cell].misreads = &slot.misreads[cell];
        }
        slot.rows.SetColumns(*slot.builder);
        slot.rows.integerKeys.resize(ERecordBlock::kMostRecords);
        reader.free.push_back(&slot);
    }
}

// -------------------------------------------------------------------------------------------- next

bool ESqlTable::ReadAhead::Chunk::IsDeliverable() const noexcept {
    const std::size_t waiting = ready.size() - taken;
    return waiting >= kBatch || (waiting != 0 && (taken != 0 || isRead || hasFailed || isStalled));
}

ESqlTable::ReadAhead::Outcome ESqlTable::ReadAhead::Next(Slot*& slot,
                                                         const std::function<bool()>& mustStop,
                                                         ESqlError& error) {
    std::unique_lock hold(lock_);
    if (delivered_ != nullptr) {
        delivered_->reader.waitingBytes -= delivered_->rows.TextBytes();
        delivered_->reader.free.push_back(delivered_);
        delivered_ = nullptr;
        freed_.notify_all();
    }
    for (;;) {
        if (hasNoMemory_) {
            error = NoMemory();
            return Outcome::Failed;
        }
        if (chunks_.empty() && ranges_.IsAtEnd()) {
            return Outcome::End;
        }
        if (!chunks_.empty()) {
            Chunk& chunk = chunks_.front();
            if (chunk.IsDeliverable()) {
                slot = delivered_ = chunk.ready[chunk.taken++];
                return Outcome::Block;
            }
            if (chunk.hasFailed) {
                error = chunk.error;
                return Outcome::Failed;
            }
            if (chunk.isRead) {
                chunks_.pop_front();
                continue;
            }
        }
        if (arrived_.wait_for(hold, kStopTurn) == std::cv_status::timeout && mustStop()) {
            return Outcome::Stopped;
        }
    }
}

void ESqlTable::ReadAhead::End() noexcept {
    {
        const std::lock_guard hold(lock_);
        mustEnd_ = true;
    }
    freed_.notify_all();
    for (Reader& reader : readers_) {
        if (reader.thread.joinable()) {
            reader.connection->Interrupt();
            reader.thread.join();
            reader.connection->ResetInterrupt();
        }
    }
    if (isPrepared_) {
        EndReading();
    }
    isPrepared_ = false;
    chunks_.clear();
}

void ESqlTable::ReadAhead::Free() noexcept {
    delivered_ = nullptr;
    for (Reader& reader : readers_) {
        reader.free.clear();
        reader.waitingBytes = 0;
        reader.slots.clear();
        reader.data.reset();
    }
}

// ----------------------------------------------------------------------------------------- readers

void ESqlTable::ReadAhead::Read(Reader& reader) noexcept {
    try {
        while (ReadNext(reader)) {
        }
    } catch (const std::bad_alloc&) {
        const std::lock_guard hold(lock_);
        mustEnd_ = hasNoMemory_ = true;
        freed_.notify_all();
    }
    arrived_.notify_one();
}

/// Reads the next range. False after the last one, after a failure and at the end of the walk.
bool ESqlTable::ReadAhead::ReadNext(Reader& reader) {
    std::unique_lock hold(lock_);
    std::int64_t after = 0;
    std::int64_t last = 0;
    // A range is taken under the lock, so that the chunks are in its order.
    const ESqlStep step = mustEnd_ ? ESqlStep::Done : ranges_.Next(*reader.seek, after, last);
    if (step == ESqlStep::Done) {
        return false;
    }
    Chunk& chunk = chunks_.emplace_back();
    if (step == ESqlStep::Failed) {
        chunk.error = reader.connection->LastError();
        chunk.hasFailed = true;
        return false;
    }
    hold.unlock();
    const SqlRun run(*reader.statement);
    ESqlValue value;
    value.kind = ESqlValue::Kind::Int;
    value.integer = after;
    const auto& conditions = table_.state_->conditions;
    const int parameter = CountSqlParameters(conditions) + 1;
    reader.statement->Bind(parameter, value);
    if (!conditions.empty()) {
        value.integer = last;
        reader.statement->Bind(parameter + 1, value);
    }
    std::size_t rows = 0;
    const bool isRead = ReadRows(reader, chunk, last, rows);
    hold.lock();
    ranges_.NoteRows(static_cast<std::uint64_t>(last) - static_cast<std::uint64_t>(after), rows);
    arrived_.notify_one();
    return isRead;
}

/// False after a failure and at the end of the walk.
bool ESqlTable::ReadAhead::ReadRows(Reader& reader, Chunk& chunk, std::int64_t last,
                                    std::size_t& rows) {
    ESqlStep read = ESqlStep::Row;
    while (read == ESqlStep::Row) {
        Slot* const slot = TakeFree(reader, chunk);
        if (slot == nullptr) {
            return false;
        }
        slot->rows.lastKey = last;
        read = ReadBlock(reader, chunk, *slot);
        rows += slot->rows.Size();
    }
    return read == ESqlStep::Done;
}

/// Fills the slot and hands it over; the chunk's state is then that of the step.
ESqlStep ESqlTable::ReadAhead::ReadBlock(Reader& reader, Chunk& chunk, Slot& slot) {
    slot.builder->Begin();
    slot.rows.Begin();
    std::fill(slot.misreads.begin(), slot.misreads.end(), ESqlMisreads{});
    const ESqlStep step = reader.statement->StepBlock(slot.rows);
    ESqlError error;
    if (step == ESqlStep::Failed) {
        error = reader.connection->LastError();
    }
    const std::lock_guard hold(lock_);
    if (slot.rows.Size() != 0) {
        chunk.ready.push_back(&slot);
        reader.waitingBytes += slot.rows.TextBytes();
    } else {
        reader.free.push_back(&slot);
    }
    chunk.isRead = step == ESqlStep::Done;
    chunk.hasFailed = step == ESqlStep::Failed;
    chunk.error = std::move(error);
    if (step != ESqlStep::Row || chunk.IsDeliverable()) {
        arrived_.notify_one();
    }
    return step;
}

/// Null once the walk has ended.
ESqlTable::ReadAhead::Slot* ESqlTable::ReadAhead::TakeFree(Reader& reader, Chunk& chunk) {
    std::unique_lock hold(lock_);
    const auto mayGoOn = [this, &reader] {
        return mustEnd_ || (!reader.free.empty() && reader.waitingBytes < kMostWaitingBytes);
    };
    if (!mayGoOn()) {
        chunk.isStalled = true;
        arrived_.notify_one();
        freed_.wait(hold, mayGoOn);
        chunk.isStalled = false;
    }
    if (mustEnd_) {
        return nullptr;
    }
    // The slot that was freed last: those that long texts were read into are few.
    Slot* const slot = reader.free.back();
    reader.free.pop_back();
    return slot;
}

}  // namespace etabulon
