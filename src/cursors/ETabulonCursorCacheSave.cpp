#include "cursors/ETabulonCursorCacheLines.h"
#include "cursors/ETabulonCursorCacheUpdater.h"
#include "etabulon/cursors/ECursorScopes.h"
#include "etabulon/cursors/ETabulonCursorCache.h"
#include "etabulon/foundation/EExtract.h"
#include "etabulon/foundation/ERef.h"

namespace etabulon {

/// One save: writes line after line through the source's updater.
class ETabulonCursorCache::Saving {
public:
    explicit Saving(ETabulonCursorCache& cache)
        : cache_(cache), updater_(ERef<IUpdater>::Adopt(cache.Updater())) {}
    [[nodiscard]] bool CanWrite() const noexcept { return static_cast<bool>(updater_); }
    CursorStatus Write(CacheLine& line);

private:
    CursorStatus Update(CacheLine& line);
    CursorStatus Insert(CacheLine& line);
    CursorStatus Delete(CacheLine& line);
    CursorStatus WriteRecord(const CacheLine& line);
    void LearnKey(CacheLine& line);

    ETabulonCursorCache& cache_;
    ERef<IUpdater> updater_;
    ETabulonPrimaryKey key_;
    EExtract record_;
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
    Lines::ExtractKey(line, key_);
    return updater_->Delete(key_, line.Tag());
}

CursorStatus ETabulonCursorCache::Saving::WriteRecord(const CacheLine& line) {
    record_ = line.View();
    const CursorStatus status = updater_->SetBuffer(record_);
    return status == StatusOk ? updater_->Save() : status;
}

// A later save of the line needs the key of its new record.
void ETabulonCursorCache::Saving::LearnKey(CacheLine& line) {
    if (EData* const table = cache_.updater_->Table(); table != nullptr) {
        key_.Set(table->CurKey(), table->position);
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
        // Deliberate: no line is marked as saved, not even those already written. A second save
        // writes them again. FailedSaveLeavesEveryLineMarked holds it.
        return status;
    }
    for (CacheLine* const line : lines_->Slots()) {
        // Deliberate: a saved deletion makes its line clean, so that the next walk shows it until
        // the caller clears the cache. A line in LineAddedDeleted stays in that state.
        // SavedDeletedLineComesBackAsClean holds it.
        if (line != nullptr && line->State() != LineAddedDeleted) {
            lines_->SetState(*line, LineClean);
        }
    }
    return StatusOk;
}

}  // namespace etabulon
