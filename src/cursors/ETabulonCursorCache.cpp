#include "etabulon/cursors/ETabulonCursorCache.h"

#include "cursors/ETabulonCursorCacheLines.h"
#include "cursors/ETabulonCursorCacheUpdater.h"
#include "etabulon/cursors/ECursorListener.h"
#include "etabulon/cursors/ECursorScopes.h"
#include "etabulon/cursors/EDataCache.h"
#include "etabulon/foundation/ERef.h"

#include <atomic>
#include <utility>

namespace etabulon {

namespace {

constexpr auto kNothingMatched = static_cast<CursorStatus>(DataGone);
constexpr auto kDuplicate = static_cast<CursorStatus>(DataDuplicate);
constexpr auto kNoLine = static_cast<CursorStatus>(DataNoCurrent);

std::uint64_t NewGeneration() noexcept {
    static std::atomic<std::uint64_t> last{0};
    return ++last;
}

}  // namespace

/// Makes a line of each record of the source's walk.
class ETabulonCursorCache::CacheFiller : public ECursorListener {
public:
    explicit CacheFiller(ETabulonCursorCache* cache) : cache_(cache) {}
    CursorStatus OnReset(const ETabulonTag& /*tag*/, const ETabulonCursor& /*cursor*/) override {
        cache_->ClearCache();
        return StatusOk;
    }
    CursorStatus OnMove(const ETabulonCursor& /*cursor*/) override {
        cache_->AppendCurrentToCache();
        return StatusOk;
    }

private:
    ETabulonCursorCache* cache_;
};

ETabulonCursorCache::ETabulonCursorCache(ETabulonCursor* source)
    : ETabulonCursorRelay(source),
      updater_(std::make_unique<detail::CacheUpdater>(*this)),
      lines_(std::make_unique<Lines>()),
      tagGeneration_(NewGeneration()) {
    Init(source->Levels());
}

ETabulonCursorCache::~ETabulonCursorCache() {
    ClearCache();
    for (std::size_t index = 0; index < cacheNotifiers_.Size(); ++index) {
        cacheNotifiers_.At(index)->Release();
    }
}

ETabulonCursor::IUpdater* ETabulonCursorCache::Updater() {
    return updater_->Hold() ? updater_.get() : nullptr;
}

// --------------------------------------------------------------------------------------- notifiers

void ETabulonCursorCache::AddCacheNotifier(ICacheNotifier* notifier) {
    auto reference = ERef<ICacheNotifier>::Retain(notifier);
    cacheNotifiers_.Add(notifier);
    static_cast<void>(reference.Detach());  // owned by the entry
}

void ETabulonCursorCache::RemCacheNotifier(ICacheNotifier* notifier) {
    for (std::uint32_t index = 0; index < cacheNotifiers_.Size();) {
        if (cacheNotifiers_.At(index) == notifier) {
            cacheNotifiers_.RemoveAt(index);
            notifier->Release();
        } else {
            ++index;
        }
    }
}

void ETabulonCursorCache::AddCacheNotifiers(const PTableau<ICacheNotifier*>& notifiers) {
    const PTableau<ICacheNotifier*> added(notifiers);  // `notifiers` may be this cache's own
    for (std::uint32_t index = 0; index < added.Size(); ++index) {
        AddCacheNotifier(added.At(index));
    }
}

void ETabulonCursorCache::RemCacheNotifiers(const PTableau<ICacheNotifier*>& notifiers) {
    const PTableau<ICacheNotifier*> removed(notifiers);
    for (std::uint32_t index = 0; index < removed.Size(); ++index) {
        RemCacheNotifier(removed.At(index));
    }
}

// Reads size and entry again on every iteration, as a cursor does for its listeners.
template <class Call>
void ETabulonCursorCache::CallNotifiers(Call call) {
    for (std::uint32_t index = 0; index < cacheNotifiers_.Size(); ++index) {
        call(*cacheNotifiers_.At(index));
    }
}

template <class Call>
void ETabulonCursorCache::CallTables(Call call) {
    for (std::size_t index = 0; index < dataCaches_.size(); ++index) {
        call(*dataCaches_[index]);
    }
}

// -------------------------------------------------------------------------------------------- walk

CursorStatus ETabulonCursorCache::Fill() {
    auto filler = MakeRef<CacheFiller>(this);
    const ECursorListening listening(*Source(), *filler);
    return Source()->Browse(ETabulonTag::Null);
}

CursorStatus ETabulonCursorCache::Reset(const ETabulonTag& tag) {
    if (mustFill_) {
        // Reads the whole source, whatever the tag: the filter of this walk selects from the lines.
        if (const CursorStatus status = Fill(); status != StatusOk) {
            return status;
        }
        mustFill_ = false;
    }
    filterTag_ = tag;
    lines_->StandBeforeFirst();
    return GetNext();
}

CursorStatus ETabulonCursorCache::GetNext() {
    for (;;) {
        if (IsCancelled()) {
            return StatusCancelled;
        }
        CacheLine* const line = lines_->Step();
        if (line == nullptr) {
            return StatusEnd;
        }
        if (line->IsDead()) {
            continue;
        }
        lines_->Load(*line, iFields());
        if (IsInFilter()) {
            return StatusOk;
        }
    }
}

// Deliberate: accepts lines strictly below the tag, where every other cursor accepts the record of
// the tag itself too. A walk at the full tag of a line shows nothing. LineOfTheTagItselfIsNotShown
// holds it.
bool ETabulonCursorCache::IsInFilter() const {
    const ETabulonTag& tag = CurrentTag();
    return filterTag_.IsRoot() ? !tag.IsRoot() : tag.IsChildOf(filterTag_);
}

// Returns the line's own tag: a copy would change the reference count of each text per record. The
// tag stays until the next step, also if a listener removes its line: later listeners still use it.
const ETabulonTag& ETabulonCursorCache::CurrentTag() const {
    if (IsTagStale()) {
        const CacheLine* const line = lines_->Current();
        lines_->Show(line);
        if (line != nullptr) {
            MarkTagFresh();
        }
    }
    const ETabulonTag* const shown = lines_->Shown();
    return shown != nullptr ? *shown : ETabulonCursorRelay::CurrentTag();
}

// Clearing the lines frees their tags, and later tags may reuse the addresses.
std::uint64_t ETabulonCursorCache::TagGeneration() const noexcept {
    return lines_->Shown() != nullptr ? tagGeneration_ : 0;
}

void ETabulonCursorCache::ExtractCurrentTag(ETabulonTag& tag) const {
    if (const CacheLine* const line = lines_->Current(); line != nullptr) {
        tag = line->Tag();
    } else {
        ETabulonCursorRelay::ExtractCurrentTag(tag);
    }
}

void ETabulonCursorCache::ExtractPrimaryKey(ETabulonPrimaryKey& key) const {
    if (const CacheLine* const line = lines_->Current(); line != nullptr) {
        lines_->ExtractKey(*line, key);
    } else {
        key.Reset();
    }
}

void ETabulonCursorCache::AppendCurrentToCache() {
    // Deliberate: the tables get no event. A table that was made before the fill shows only lines
    // that are appended after it. TableMadeBeforeTheFillStaysEmpty holds it.
    lines_->AddFromSource(Source()->CurrentTag(), Source()->Fields(), Source()->PrimaryKey());
}

// ------------------------------------------------------------------------------------------- edits

void ETabulonCursorCache::SendTagToFields(const ETabulonTag& tag, EFieldSet& fields) const {
    for (unsigned int position = 0; position < Levels().Size(); ++position) {
        const unsigned int levelID = Levels().GetLevelID(position);
        const ETabulonLevels::Level& level = Levels().GetLevel(levelID);
        const ETabulonValue& value = tag.Value(levelID);
        const bool hasData = level.DataID().ExistsIn(fields);
        if (hasData) {
            level.DataID().GetIn(fields) <<= value.Data();
        }
        if (!level.DescID().IsValid() || !level.DescID().ExistsIn(fields)) {
            continue;
        }
        // If one variable is both data and label, storing its text would overwrite the data.
        EField& text = level.DescID().GetIn(fields);
        if (!hasData || &text != &level.DataID().GetIn(fields)) {
            text <<= EVariant(value.DisplayValue());
        }
    }
}

void ETabulonCursorCache::InitBuffer(EFieldSet& fields, const ETabulonTag& tag) const {
    fields.SetNull();
    changes_.UpdateFields(fields, tag);
    SendTagToFields(tag, fields);
}

CursorStatus ETabulonCursorCache::Append(const ETabulonTag& tag) {
    const ECursorLocking locking(*this);
    const ETabulonTag kept(tag);
    InitBuffer(iFields(), kept);
    return Append(Fields());
}

CursorStatus ETabulonCursorCache::Append(const EFieldSet& fields) {
    CacheLine* line = nullptr;
    return AppendLine(fields, line);
}

ETabulonTag ETabulonCursorCache::TakeFields(const EFieldSet& fields) {
    iFields() <<= fields;
    ETabulonTag tag;
    ExtractTagOfFields(tag);
    return tag;
}

CursorStatus ETabulonCursorCache::AppendLine(const EFieldSet& fields, CacheLine*& line) {
    const ECursorLocking locking(*this);
    const ETabulonTag tag = TakeFields(fields);
    CallNotifiers([&](ICacheNotifier& notifier) { notifier.OnLineAppended(tag, iFields()); });
    line = lines_->Find(tag);
    if (line == nullptr) {
        line = &AddLine(tag);
        return StatusOk;
    }
    if (!line->IsDead()) {
        return kDuplicate;
    }
    CallTables([line](EDataCache& table) { table.OnLineRevived(*line); });
    // Deliberate: a revived line takes the caller's fields, where a new line takes the fields as
    // the notifiers have filled them. What notifiers add to a revived line is lost, unless the
    // caller passed the cursor's own fields. RevivedLineTakesTheCallersFields holds it.
    lines_->Store(*line, fields);
    lines_->Change(*line, Lines::Event::Modified);
    return StatusOk;
}

ETabulonCursorCache::CacheLine& ETabulonCursorCache::AddLine(const ETabulonTag& tag) {
    CacheLine& line = lines_->Add(tag, Fields());
    lines_->Change(line, Lines::Event::Appended);
    try {
        CallTables([&line](EDataCache& table) { table.OnLineAdded(line); });
    } catch (...) {
        CallTables([&line](EDataCache& table) { table.OnLineRemoved(line); });
        lines_->Remove(line);
        throw;
    }
    return line;
}

CursorStatus ETabulonCursorCache::Update(const ETabulonTag& tag, const ETabulonVariableID& id,
                                         const EVariant& value) {
    const ECursorLocking locking(*this);
    // Copies: either argument may lie in a record that is about to be overwritten.
    const ETabulonTag branch(tag);
    const EVariant kept(value);
    changes_.AppendUpdate(branch, id, kept);
    const Lines::Branch lines(*lines_, branch);
    ETabulonTag at;
    for (const LineHandle& handle : lines.Handles()) {
        CacheLine* line = lines_->At(handle);
        if (line == nullptr) {
            continue;
        }
        at = line->Tag();
        EFieldSet& fields = iFields();
        line->CopyTo(fields);
        id.GetIn(fields) <<= kept;
        CallNotifiers([&](ICacheNotifier& notifier) {
            notifier.OnValueUpdated(at, id, iFields());
            notifier.OnLineUpdated(at, iFields());
        });
        line = lines_->At(handle);
        if (line == nullptr) {
            continue;
        }
        // Deliberate: updates dead lines too, and so revives them.
        // UpdateOfABranchRevivesItsDeadLines holds it.
        if (line->IsDead()) {
            CallTables([line](EDataCache& table) { table.OnLineRevived(*line); });
        }
        lines_->Store(*line, Fields());
        lines_->Change(*line, Lines::Event::Modified);
        CallTables([line](EDataCache& table) { table.OnLineChanged(*line); });
    }
    return StatusOk;
}

CursorStatus ETabulonCursorCache::Update(const EFieldSet& fields) {
    const ECursorLocking locking(*this);
    CacheLine* const line = lines_->Find(TakeFields(fields));
    return line != nullptr ? StoreFields(*line, fields) : kNoLine;
}

CursorStatus ETabulonCursorCache::UpdateLine(CacheLine& line, const EFieldSet& fields) {
    const ECursorLocking locking(*this);
    return TakeFields(fields) == line.Tag() ? StoreFields(line, fields) : kNoLine;
}

CursorStatus ETabulonCursorCache::StoreFields(CacheLine& found, const EFieldSet& fields) {
    if (found.IsDead()) {
        return kNoLine;
    }
    const Lines::Pin pin(*lines_);
    const LineHandle handle = Lines::HandleOf(found);
    const ETabulonTag at(found.Tag());  // equals the fields' tag, but may have other display texts
    iFields() <<= fields;
    CallNotifiers([&](ICacheNotifier& notifier) { notifier.OnLineUpdated(at, iFields()); });
    CacheLine* const line = lines_->At(handle);
    if (line == nullptr || line->IsDead()) {
        return kNoLine;
    }
    lines_->Store(*line, Fields());
    lines_->Change(*line, Lines::Event::Modified);
    CallTables([line](EDataCache& table) { table.OnLineChanged(*line); });
    return StatusOk;
}

CursorStatus ETabulonCursorCache::Delete(const ETabulonTag& tag) {
    const ECursorLocking locking(*this);
    const ETabulonTag branch(tag);
    const Lines::Branch lines(*lines_, branch);
    ETabulonTag at;
    for (const LineHandle& handle : lines.Handles()) {
        DeleteAt(handle, at);
    }
    return lines.Handles().empty() ? kNothingMatched : StatusOk;
}

CursorStatus ETabulonCursorCache::DeleteLine(CacheLine& line) {
    const ECursorLocking locking(*this);
    const Lines::Pin pin(*lines_);
    ETabulonTag at;
    DeleteAt(Lines::HandleOf(line), at);
    return StatusOk;
}

void ETabulonCursorCache::DeleteAt(const LineHandle& handle, ETabulonTag& at) {
    const CacheLine* const line = lines_->At(handle);
    if (line == nullptr || line->IsDead()) {
        return;
    }
    at = line->Tag();
    bool canGo = line->State() == LineAdded;
    for (std::size_t index = 0; canGo && index < dataCaches_.size(); ++index) {
        canGo = dataCaches_[index]->CanRemoveLine(*line);
    }
    CallTables([line, canGo](EDataCache& table) {
        canGo ? table.OnLineRemoved(*line) : table.OnLineDeleted(*line);
    });
    const auto end = [&] {
        if (CacheLine* const gone = lines_->At(handle); gone != nullptr) {
            canGo ? lines_->Remove(*gone) : lines_->Change(*gone, Lines::Event::Deleted);
        }
    };
    try {
        CallNotifiers([&at](ICacheNotifier& notifier) { notifier.OnLineDeleted(at); });
    } catch (...) {
        end();  // the tables have dropped the line already
        throw;
    }
    end();
}

void ETabulonCursorCache::ClearCache() {
    const ECursorLocking locking(*this);
    CallTables([](EDataCache& table) { table.OnCacheCleared(); });
    lines_->Clear();
    mustFill_ = true;
    tagGeneration_ = NewGeneration();
    changes_.Reset();
    CallNotifiers([](ICacheNotifier& notifier) { notifier.OnCacheCleared(); });
}

// --------------------------------------------------------------------------------------- questions

bool ETabulonCursorCache::IsDirty() const noexcept { return lines_->IsDirty(); }

bool ETabulonCursorCache::IsEmpty() const noexcept { return !lines_->HasAlive(); }

bool ETabulonCursorCache::IsEmpty(const ETabulonTag& tag) const { return !lines_->HasAlive(tag); }

EData* ETabulonCursorCache::AllocEData(const ETabulonTag& root, ETabulonSortDesc* sortDesc) {
    const ECursorLocking locking(*this);
    return new EDataCache(this, root, sortDesc);
}

}  // namespace etabulon
