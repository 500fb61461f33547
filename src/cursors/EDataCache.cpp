#include "etabulon/cursors/EDataCache.h"

#include "cursors/EDataCacheList.h"
#include "cursors/ETabulonCursorCacheLines.h"
#include "etabulon/sort/ETabulonSortDesc.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace etabulon {

ETabulonCursorCache::EDataCache::EDataCache(ETabulonCursorCache* cache, const ETabulonTag& root,
                                            ETabulonSortDesc* sortDesc)
    : EData(cache->Fields().Packed()),
      cache_(cache),
      sortDesc_(ERef<ETabulonSortDesc>::Retain(sortDesc)),
      root_(root),
      record_(Fields()),
      list_(std::make_unique<List>(*sortDesc)) {
    AttachBuffer(record_.Get(), static_cast<int>(Fields().RecordSize()));
    // Deliberate: while the cache hasn't read its source, the table doesn't show lines that were
    // appended already: the fill will clear them. TableMadeBeforeTheFillStaysEmpty holds it.
    if (!cache_->mustFill_) {
        const Lines::Branch branch(*cache_->lines_, root_);
        std::vector<CacheLine*> lines;
        for (const LineHandle& handle : branch.Handles()) {
            if (CacheLine* const line = cache_->lines_->At(handle); !line->IsDead()) {
                lines.push_back(line);
            }
        }
        auto tags = cache_->lines_->TagsOf(root_);
        list_->Fill(lines, tags);
    }
    cache_->dataCaches_.push_back(this);
}

ETabulonCursorCache::EDataCache::~EDataCache() {
    auto& tables = cache_->dataCaches_;
    tables.erase(std::remove(tables.begin(), tables.end(), this), tables.end());
}

// -------------------------------------------------------------------------------------------- walk

bool ETabulonCursorCache::EDataCache::Shows(const CacheLine& line) const {
    return !line.IsDead() && line.Tag().IsAtOrBelow(root_);
}

EPosition ETabulonCursorCache::EDataCache::Walk(CacheLine* from, Direction direction) {
    for (CacheLine* line = from; line != nullptr;
         line = direction == Direction::On ? list_->Next(*line) : list_->Previous(*line)) {
        if (!Shows(*line)) {
            continue;
        }
        position = line->Number();
        LoadBuffer();
        if (IsVisible()) {
            status = DataOk;
            return position;
        }
    }
    return LeaveRecord(DataEnd);
}

EPosition ETabulonCursorCache::EDataCache::LeaveRecord(std::int32_t newStatus) {
    position = kNoPosition;
    LoadBuffer();
    return Fail(newStatus);
}

EPosition ETabulonCursorCache::EDataCache::GetFirst() {
    return Walk(list_->First(), Direction::On);
}

EPosition ETabulonCursorCache::EDataCache::GetLast() {
    return Walk(list_->Last(), Direction::Back);
}

EPosition ETabulonCursorCache::EDataCache::StepFrom(Direction direction) {
    const CacheLine* const line = list_->Find(position);
    if (line == nullptr) {
        return LeaveRecord(DataNoCurrent);
    }
    return Walk(direction == Direction::On ? list_->Next(*line) : list_->Previous(*line),
                direction);
}

EPosition ETabulonCursorCache::EDataCache::GetNext() { return StepFrom(Direction::On); }

EPosition ETabulonCursorCache::EDataCache::GetPrevious() { return StepFrom(Direction::Back); }

// Deliberate: finds every line of the list, also dead lines and lines outside of the root, which a
// walk skips. -1 is no position. RePosFindsWhatAWalkPassesOver holds it.
EPosition ETabulonCursorCache::EDataCache::RePos(EPosition where, bool /*flag*/) {
    if (list_->Find(where) == nullptr) {
        return LeaveRecord(DataNoSuchPosition);
    }
    position = where;
    status = DataOk;
    LoadBuffer();
    return position;
}

bool ETabulonCursorCache::EDataCache::LoadBuffer() {
    if (const CacheLine* const line = list_->Find(position); line != nullptr) {
        line->CopyTo(Fields());
    }
    return EData::LoadBuffer();
}

const EFieldKey& ETabulonCursorCache::EDataCache::CurKey() {
    if (const CacheLine* const line = list_->Find(position); line != nullptr) {
        line->CopyKeyTo(key_);
    } else {
        key_.Free();
    }
    return key_;
}

// ----------------------------------------------------------------------------------------- writing

EPosition ETabulonCursorCache::EDataCache::Insert() {
    CacheLine* line = nullptr;
    const std::int32_t inserted = cache_->AppendLine(Fields(), line);
    if (inserted != DataOk) {
        return LeaveRecord(inserted);
    }
    position = line->Number();
    status = DataOk;
    LoadBuffer();
    return position;
}

EPosition ETabulonCursorCache::EDataCache::Update(EPosition where) {
    if (where != kNoPosition) {
        position = where;
    }
    if (position == kNoPosition) {
        return Fail(DataNoCurrent);
    }
    status = cache_->Update(Fields());
    // Deliberate: returns the position also if the cache refused, where other tables return -1, so
    // that only the status tells. UpdateAnswersThePositionWhateverCameOfIt holds it.
    return position;
}

EPosition ETabulonCursorCache::EDataCache::UpdateRecord() {
    CacheLine* const line = list_->Find(position);
    if (line == nullptr) {
        return Fail(DataNoCurrent);
    }
    status = cache_->UpdateLine(*line, Fields());
    return status == DataOk ? position : kNoPosition;
}

template <class Remove>
bool ETabulonCursorCache::EDataCache::DeleteAt(EPosition where, const Remove& remove) {
    if (where == kNoPosition) {
        where = position;
    }
    if (where == kNoPosition) {
        status = DataNoCurrent;
        return false;
    }
    if (where != position && RePos(where, /*flag=*/false) == kNoPosition) {
        return false;
    }
    CacheLine* const line = list_->Find(position);
    if (line == nullptr) {
        status = DataNoSuchPosition;
        return false;
    }
    if (deleteDepth_ == 0) {
        position = kNoPosition;  // the cache keeps the current line of a table
        LoadBuffer();
    }
    status = remove(*line);
    return status == DataOk;
}

bool ETabulonCursorCache::EDataCache::DeleteOne(EPosition where) {
    return DeleteAt(where, [this](const CacheLine& line) { return cache_->Delete(line.Tag()); });
}

bool ETabulonCursorCache::EDataCache::DeleteRecord(EPosition where) {
    return DeleteAt(where, [this](CacheLine& line) { return cache_->DeleteLine(line); });
}

bool ETabulonCursorCache::EDataCache::DeleteLoop() {
    std::vector<ETabulonTag> tags;
    for (EPosition at = GetFirst(); at != kNoPosition; at = GetNext()) {
        tags.push_back(list_->Find(at)->Tag());
    }
    LeaveRecord(DataOk);
    for (const ETabulonTag& tag : tags) {
        status = cache_->Delete(tag);
        if (status != DataOk) {
            return false;
        }
    }
    return true;
}

// ----------------------------------------------------------------------------- called by the cache

bool ETabulonCursorCache::EDataCache::CanRemoveLine(const CacheLine& line) const {
    return position != line.Number();
}

void ETabulonCursorCache::EDataCache::OnLineAdded(CacheLine& line) { list_->Insert(line); }

void ETabulonCursorCache::EDataCache::OnLineRevived(CacheLine& line) {
    if (list_->Find(line.Number()) == nullptr) {
        list_->Insert(line);
    }
}

void ETabulonCursorCache::EDataCache::OnLineRemoved(const CacheLine& line) {
    list_->Remove(line.Number());
}

void ETabulonCursorCache::EDataCache::OnCacheCleared() {
    list_->Clear();
    position = kNoPosition;
    LoadBuffer();
}

}  // namespace etabulon
