#include "cursors/ETabulonCursorCacheLines.h"

#include "etabulon/foundation/detail/EPrefetch.h"

#include <algorithm>
#include <utility>

namespace etabulon {

namespace {

// How many lines ahead of the walk memory is prefetched: first the line, later its tag, then the
// tag's values, so that each pointer has arrived when it is read.
constexpr std::size_t kLineDistance = 12;
constexpr std::size_t kTagDistance = 8;
constexpr std::size_t kValuesDistance = 4;
constexpr std::size_t kManyTags = 4096;
constexpr std::size_t kFewHoles = 64;

}  // namespace

ETabulonCursorCache::Lines::Branch::Branch(Lines& lines, const ETabulonTag& tag) : pin_(lines) {
    for (const detail::CacheTag* const known : lines.TagsOf(tag)) {
        for (const CacheLine* line = known->lines; line != nullptr; line = NextOfTag(*line)) {
            handles_.push_back(HandleOf(*line));
        }
    }
    std::sort(handles_.begin(), handles_.end(),
              [](const LineHandle& a, const LineHandle& b) { return a.slot < b.slot; });
}

ETabulonCursorCache::CacheLine* ETabulonCursorCache::Lines::At(
    const LineHandle& handle) const noexcept {
    CacheLine* const line = handle.slot < slots_.size() ? slots_[handle.slot] : nullptr;
    return line != nullptr && line->number_ == handle.number ? line : nullptr;
}

// -------------------------------------------------------------------------------- coming and going

detail::CacheLayout& ETabulonCursorCache::Lines::LayoutOf(const EFieldSet& fields) {
    if (layouts_.empty() || layouts_.back().ShapeNumber() != fields.ShapeNumber()) {
        layouts_.emplace_back(fields);
    }
    return layouts_.back();
}

ETabulonCursorCache::CacheLine& ETabulonCursorCache::Lines::Add(const ETabulonTag& tag,
                                                                const EFieldSet& fields) {
    auto line = CacheLine::Make(LayoutOf(fields), tags_.Intern(tag), nextNumber_);
    line->Take(fields);
    line->slot_ = static_cast<std::uint32_t>(slots_.size());
    slots_.push_back(line.get());
    ++nextNumber_;
    Link(*line);
    return *line.release();
}

void ETabulonCursorCache::Lines::AddFromSource(const ETabulonTag& tag, const EFieldSet& fields,
                                               const ETabulonPrimaryKey& key) {
    CacheLine& line = Add(tag, fields);
    try {
        line.SetKey(key);
        line.canLend_ = LayoutOf(fields).InternTexts(line.Image(), texts_);
    } catch (...) {
        Remove(line);
        throw;
    }
}

void ETabulonCursorCache::Lines::Link(CacheLine& line) noexcept {
    detail::CacheTag& tag = *line.tag_;
    line.nextOfTag_ = tag.lines;
    if (tag.lines != nullptr) {
        tag.lines->previousOfTag_ = &line;
    }
    tag.lines = &line;
    // Deliberate: of several lines with one tag only the last is found by it. The source may have
    // such records; a branch has them all. RecordsOfOneTagAreFoundAsTheLast holds it.
    tag.indexed = &line;
    ++alive_;
}

void ETabulonCursorCache::Lines::Unlink(CacheLine& line) noexcept {
    detail::CacheTag& tag = *line.tag_;
    if (line.nextOfTag_ != nullptr) {
        line.nextOfTag_->previousOfTag_ = line.previousOfTag_;
    }
    (line.previousOfTag_ != nullptr ? line.previousOfTag_->nextOfTag_ : tag.lines) =
        line.nextOfTag_;
    tag.indexed = nullptr;
}

ETabulonCursorCache::CacheLine* ETabulonCursorCache::Lines::Find(const ETabulonTag& tag) const {
    CacheLine* found = nullptr;
    for (const detail::CacheTag* known = tags_.ChainOf(tag); known != nullptr;
         known = known->next) {
        CacheLine* const line = known->indexed;
        if (line != nullptr && (found == nullptr || line->Number() > found->Number()) &&
            known->tag == tag) {
            found = line;
        }
    }
    return found;
}

void ETabulonCursorCache::Lines::Remove(CacheLine& line) noexcept {
    EndLoan();
    const std::unique_ptr<CacheLine> gone(&line);
    SetState(line, LineDeleted);
    --dirty_;
    Unlink(line);
    slots_[line.slot_] = nullptr;
    ++holes_;
    LeaveWalk(line.slot_);
    if (pins_ == 0) {
        Compact();
    }
}

// The walk's position is a count of lines, without the holes.
//
// Deliberate: if the walk stands on the removed line, it steps back, so that the next step shows
// the line after; but on the first line it stays, and skips the line that moves up, even one that
// is appended later. If a line before the walk is removed, the walk keeps its count and so stands
// one line further. Listeners that delete during a walk see exactly this.
// WalkInWhichLinesGoPassesSomeOver holds it.
void ETabulonCursorCache::Lines::LeaveWalk(std::int64_t removed) noexcept {
    const auto isHole = [this](std::int64_t slot) {
        return slots_[static_cast<std::size_t>(slot)] == nullptr;
    };
    if (removed > current_) {
        return;
    }
    if (removed == current_) {
        std::int64_t before = current_ - 1;
        while (before >= 0 && isHole(before)) {
            --before;
        }
        if (before >= 0) {
            current_ = before;
            return;
        }
    }
    do {
        ++current_;
    } while (current_ < End() && isHole(current_));
}

void ETabulonCursorCache::Lines::Compact() noexcept {
    if (holes_ < kFewHoles || holes_ < slots_.size() / 2) {
        return;
    }
    const std::int64_t beyond = current_ - End();
    std::int64_t current = -1;
    std::size_t kept = 0;
    for (std::size_t slot = 0; slot < slots_.size(); ++slot) {
        if (current_ == static_cast<std::int64_t>(slot)) {
            current = static_cast<std::int64_t>(kept);
        }
        if (CacheLine* const line = slots_[slot]; line != nullptr) {
            line->slot_ = static_cast<std::uint32_t>(kept);
            slots_[kept++] = line;
        }
    }
    slots_.resize(kept);
    holes_ = 0;
    current_ = beyond >= 0 ? End() + beyond : current;
}

void ETabulonCursorCache::Lines::Clear() noexcept {
    EndLoan();
    for (CacheLine* const line : slots_) {
        delete line;
    }
    slots_.clear();
    tags_.Clear(shown_);
    texts_.Clear();
    layouts_.clear();
    holes_ = dirty_ = alive_ = 0;
    current_ = -1;
}

// ------------------------------------------------------------------------------------------ states

ETabulonCursorCache::LineState ETabulonCursorCache::Lines::StateAfter(LineState state,
                                                                      Event event) noexcept {
    switch (event) {
        case Event::Modified:
            return state == LineAdded || state == LineAddedDeleted ? LineAdded : LineModified;
        case Event::Appended:
            return state == LineDeleted ? LineModified : LineAdded;
        case Event::Deleted:
            break;
    }
    return state == LineAdded ? LineAddedDeleted : LineDeleted;
}

void ETabulonCursorCache::Lines::SetState(CacheLine& line, LineState state) noexcept {
    const bool wasDead = line.IsDead();
    const bool wasDirty = line.state_ != LineClean;
    line.state_ = state;
    alive_ = alive_ + (wasDead ? 1 : 0) - (line.IsDead() ? 1 : 0);
    dirty_ = dirty_ + (state != LineClean ? 1 : 0) - (wasDirty ? 1 : 0);
}

bool ETabulonCursorCache::Lines::HasAlive(const ETabulonTag& tag) const {
    for (const detail::CacheTag* const known : tags_.Branch(tag)) {
        for (const CacheLine* line = known->lines; line != nullptr; line = NextOfTag(*line)) {
            if (!line->IsDead()) {
                return true;
            }
        }
    }
    return false;
}

void ETabulonCursorCache::Lines::ExtractKey(const CacheLine& line, ETabulonPrimaryKey& key) {
    thread_local EFieldKey fields;  // keeps its room from record to record
    line.CopyKeyTo(fields);
    key.Set(fields, line.KeyPosition());
}

// -------------------------------------------------------------------------------------------- walk

void ETabulonCursorCache::Lines::Prefetch(std::size_t slot) const noexcept {
    constexpr std::size_t kCpuLine = 64;  // bytes of a line of the processor's cache
    const auto prefetch = [](const void* memory, std::size_t bytes) {
        for (std::size_t at = 0; at < bytes; at += kCpuLine) {
            detail::PrefetchToRead(static_cast<const std::byte*>(memory) + at);
        }
    };
    if (slot + kLineDistance >= slots_.size()) {
        return;
    }
    if (const CacheLine* const line = slots_[slot + kLineDistance]; line != nullptr) {
        prefetch(line, sizeof *line + kCpuLine);
    }
    if (tags_.Size() < kManyTags) {
        return;  // so few tags stay in the processor's cache: reading lines ahead would only stall
    }
    if (const CacheLine* const line = slots_[slot + kTagDistance]; line != nullptr) {
        prefetch(line->tag_, sizeof line->tag_->tag);
    }
    if (const CacheLine* const line = slots_[slot + kValuesDistance];
        line != nullptr && line->tag_->values != nullptr) {
        prefetch(line->tag_->values - 1, 4 * sizeof(ETabulonValue));
    }
}

void ETabulonCursorCache::Lines::EndLoan() noexcept {
    if (lent_ != nullptr) {
        lent_->layout_->GiveUp(lent_->Image());
        lent_ = nullptr;
    }
}

void ETabulonCursorCache::Lines::Load(CacheLine& line, EFieldSet& fields) {
    void* const record = fields.Buffer();
    const bool isLentTo = lent_ != nullptr && lent_->layout_ == line.layout_ && lentTo_ == record &&
                          fields.ShapeNumber() == line.layout_->ShapeNumber();
    if (!line.canLend_ || !(isLentTo || line.layout_->IsRecordOf(fields))) {
        EndLoan();
        line.CopyTo(fields);
        return;
    }
    if (isLentTo) {
        line.layout_->TakeBack(lent_->Image(), record);
    } else {
        EndLoan();
        line.layout_->Vacate(record);
    }
    line.layout_->Lend(line.Image(), record);
    lent_ = &line;
    lentTo_ = record;
}

ETabulonCursorCache::CacheLine* ETabulonCursorCache::Lines::Step() noexcept {
    ++current_;
    while (current_ < End()) {
        const auto slot = static_cast<std::size_t>(current_);
        Prefetch(slot);
        if (slots_[slot] != nullptr) {
            return slots_[slot];
        }
        ++current_;
    }
    return nullptr;
}

}  // namespace etabulon
