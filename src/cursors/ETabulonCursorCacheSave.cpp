#include "cursors/ETabulonCursorCacheLines.h"
#include "etabulon/cursors/ETabulonCursorCache.h"
#include "etabulon/cursors/ETabulonCursorEData.h"
#include "etabulon/foundation/EExtract.h"
#include "etabulon/foundation/ERef.h"

namespace etabulon {

namespace {

constexpr auto kNotFound = static_cast<CursorStatus>(DataNoSuchPosition);

}  // namespace

/// One save: writes line after line through the source's updater.
class ETabulonCursorCache::Saving {
public:
    explicit Saving(ETabulonCursorCache& cache)
        : cache_(cache), last_(cache), updater_(ERef<IUpdater>::Adopt(cache.Updater())) {}
    [[nodiscard]] bool CanWrite() const noexcept { return static_cast<bool>(updater_); }
    CursorStatus Write(CacheLine& line);

private:
    /// The last cursor of the chain, whose updater it is: relays between may tell of another
    /// record than the one that it stands on.
    class Last : public ETabulonCursorRelay {
    public:
        explicit Last(ETabulonCursorCache& cache) : ETabulonCursorRelay(Find(cache.Source())) {}
        using ETabulonCursorRelay::ExtractCurrentTag;
        using ETabulonCursorRelay::GetNext;
        [[nodiscard]] EPosition Position() const {
            ETabulonPrimaryKey key;
            ExtractPrimaryKey(key);
            return key.Position();
        }
        /// Null if it is no table's.
        [[nodiscard]] ETabulonCursorEData* Table() {
            return dynamic_cast<ETabulonCursorEData*>(Source());
        }

    private:
        static ETabulonCursor* Find(ETabulonCursor* cursor) {
            auto* const relay = dynamic_cast<ETabulonCursorRelay*>(cursor);
            return relay != nullptr ? Find(relay->Source()) : cursor;
        }
    };

    CursorStatus Update(CacheLine& line);
    CursorStatus Insert(CacheLine& line);
    CursorStatus Delete(CacheLine& line);
    CursorStatus WriteRecord(const CacheLine& line);
    CursorStatus MakeSourceDiffer(const ETabulonTag& tag);
    CursorStatus LeaveOtherRecord(const CacheLine& line);
    [[nodiscard]] bool CanBeFound(const CacheLine& line);
    void LearnKey(CacheLine& line);

    ETabulonCursorCache& cache_;
    Last last_;
    ERef<IUpdater> updater_;
    ETabulonPrimaryKey key_;
    EExtract record_;
    ETabulonTag sourceTag_;
};

CursorStatus ETabulonCursorCache::Saving::Write(CacheLine& line) {
    switch (line.State()) {
        case LineModified:
            return Update(line);
        case LineAdded:
            return Insert(line);
        case LineDeleted:
            return Delete(line);
        default:
            return StatusOk;
    }
}

CursorStatus ETabulonCursorCache::Saving::Update(CacheLine& line) {
    if (!CanBeFound(line)) {
        return kNotFound;
    }
    if (const CursorStatus status = MakeSourceDiffer(line.Tag()); status != StatusOk) {
        return status;
    }
    Lines::ExtractKey(line, key_);
    const CursorStatus status = updater_->StartUpdate(key_, line.Tag());
    return status == StatusOk ? WriteRecord(line) : status;
}

CursorStatus ETabulonCursorCache::Saving::Insert(CacheLine& line) {
    CursorStatus status = updater_->StartInsert(line.Tag());
    if (status == StatusOk) {
        status = WriteRecord(line);
    }
    if (status == StatusOk) {
        LearnKey(line);
    }
    return status;
}

CursorStatus ETabulonCursorCache::Saving::Delete(CacheLine& line) {
    if (!CanBeFound(line)) {
        return kNotFound;
    }
    if (const CursorStatus status = LeaveOtherRecord(line); status != StatusOk) {
        return status;
    }
    if (const CursorStatus status = MakeSourceDiffer(line.Tag()); status != StatusOk) {
        return status;
    }
    Lines::ExtractKey(line, key_);
    return updater_->Delete(key_, line.Tag());
}

CursorStatus ETabulonCursorCache::Saving::WriteRecord(const CacheLine& line) {
    record_ = line.View();
    const CursorStatus status = updater_->SetBuffer(record_);
    return status == StatusOk ? updater_->Save() : status;
}

// The updater doesn't move where the source's fields have the tag already. They may have it from
// anywhere, by a walk of this cache above all, while the table stands on some other record.
CursorStatus ETabulonCursorCache::Saving::MakeSourceDiffer(const ETabulonTag& tag) {
    const auto differs = [this, &tag] {
        last_.ExtractCurrentTag(sourceTag_);
        return !(sourceTag_ == tag);
    };
    cache_.iFields().SetNull();
    if (differs()) {
        return StatusOk;
    }
    const ETabulonLevels& levels = last_.Source()->Levels();
    for (unsigned int position = 0; position < levels.Size(); ++position) {
        cache_.iField(levels.GetLevel(levels.GetLevelID(position)).DataID()) <<= EVariant("1");
        if (differs()) {
            return StatusOk;
        }
    }
    // Without a level that could differ the table can't be made to move, and what it stands on
    // isn't to be written over.
    return kNotFound;
}

// To a table no position is the current record, whichever that is. Lines without a key are those
// that a relay between has made up.
bool ETabulonCursorCache::Saving::CanBeFound(const CacheLine& line) {
    return line.KeyPosition() != kNoPosition || last_.Table() == nullptr;
}

// A table cursor deletes where its walk stands, if it stands anywhere. The walk that filled the
// cache came to its end; whoever walked the source since may have stopped on a record.
CursorStatus ETabulonCursorCache::Saving::LeaveOtherRecord(const CacheLine& line) {
    const EPosition stands = last_.Position();
    if (stands == kNoPosition || stands == line.KeyPosition()) {
        return StatusOk;
    }
    CursorStatus status = StatusOk;
    while (status == StatusOk) {
        status = last_.GetNext();
    }
    return status == StatusEnd ? StatusOk : status;
}

// So that the line can be saved again when it is changed again.
void ETabulonCursorCache::Saving::LearnKey(CacheLine& line) {
    if (ETabulonCursorEData* const table = last_.Table(); table != nullptr) {
        key_.Set(table->Data()->CurKey(), table->Data()->position);
        line.SetKey(key_);
    }
}

CursorStatus ETabulonCursorCache::Save() {
    const ECursorExclusive exclusive(*this);
    CursorStatus status = StatusOk;
    {
        Saving saving(*this);
        for (std::size_t slot = 0; status == StatusOk && slot < lines_->Slots().size(); ++slot) {
            CacheLine* const line = lines_->Slots()[slot];
            if (line == nullptr) {
                continue;
            }
            const bool isWritten = line->State() != LineClean && line->State() != LineAddedDeleted;
            if (isWritten && !saving.CanWrite()) {
                status = static_cast<CursorStatus>(DataReadOnly);
            } else if (isWritten) {
                status = saving.Write(*line);
            }
        }
    }
    if (status != StatusOk) {
        // Deliberate: nothing is marked as written, not even what was. A second save writes it
        // again. FailedSaveLeavesEveryLineMarked holds it.
        return status;
    }
    for (CacheLine* const line : lines_->Slots()) {
        // Deliberate: a line that was deleted is clean by that, and shows in the next walk, until
        // the caller clears the cache. One that was made and deleted stays as it is.
        // SavedDeletedLineComesBackAsClean holds it.
        if (line != nullptr && line->State() != LineAddedDeleted) {
            lines_->SetState(*line, LineClean);
        }
    }
    return StatusOk;
}

}  // namespace etabulon
