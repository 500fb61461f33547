#pragma once

#include "cursors/ETabulonCursorCacheLine.h"

#include <cstdint>
#include <deque>
#include <memory>
#include <vector>

namespace etabulon {

/// Where a line was. It may have gone since.
struct ETabulonCursorCache::LinePlace {
    std::uint32_t slot;
    EPosition number;
};

/// The lines in order of arrival, their index by tag, and the place of the walk.
///
/// A line that goes leaves a hole; holes are closed when they are many and no places are kept.
class ETabulonCursorCache::Lines {
public:
    enum class Event : std::uint8_t { Modified, Appended, Deleted };
    /// While one lives, places stay good.
    class Keeping {
    public:
        explicit Keeping(Lines& lines) noexcept : lines_(lines) { ++lines_.keepers_; }
        ~Keeping() {
            if (--lines_.keepers_ == 0) {
                lines_.CloseHoles();
            }
        }
        Keeping(const Keeping&) = delete;
        Keeping& operator=(const Keeping&) = delete;

    private:
        Lines& lines_;
    };
    /// The lines at and below a tag in order of arrival. Those that are appended meanwhile aren't
    /// among them.
    class Branch {
    public:
        Branch(Lines& lines, const ETabulonTag& tag);
        [[nodiscard]] const std::vector<LinePlace>& Places() const noexcept { return places_; }

    private:
        Keeping keeping_;
        std::vector<LinePlace> places_;
    };
    [[nodiscard]] static LinePlace PlaceOf(const CacheLine& line) noexcept {
        return {line.slot_, line.number_};
    }
    /// The line of a place that is kept. Null for one that has gone.
    [[nodiscard]] CacheLine* At(const LinePlace& place) const noexcept;

    ~Lines() { Clear(); }

    /// A line of no state with the values of `fields`; the tag finds it from now on.
    CacheLine& Add(const ETabulonTag& tag, const EFieldSet& fields);
    /// The same of the source's record, whose texts are made to share bodies.
    void AddFromSource(const ETabulonTag& tag, const EFieldSet& fields,
                       const ETabulonPrimaryKey& key);
    [[nodiscard]] CacheLine* Find(const ETabulonTag& tag) const;
    /// Gives the line the values of `fields`.
    void Store(CacheLine& line, const EFieldSet& fields) {
        EndLoan();
        line.Take(fields);
    }
    /// Destroys it.
    void Remove(CacheLine& line) noexcept;
    void Clear() noexcept;
    static LineState StateAfter(LineState state, Event event) noexcept;
    void Change(CacheLine& line, Event event) noexcept {
        SetState(line, StateAfter(line.State(), event));
    }
    void SetState(CacheLine& line, LineState state) noexcept;

    [[nodiscard]] bool IsDirty() const noexcept { return dirty_ != 0; }
    [[nodiscard]] bool HasAlive() const noexcept { return alive_ != 0; }
    [[nodiscard]] bool HasAlive(const ETabulonTag& tag) const;
    static void ExtractKey(const CacheLine& line, ETabulonPrimaryKey& key);
    /// The tags at and below `tag` that have lines.
    [[nodiscard]] std::vector<detail::CacheTag*> TagsOf(const ETabulonTag& tag) const {
        return tags_.Branch(tag);
    }
    [[nodiscard]] static CacheLine* NextOfTag(const CacheLine& line) noexcept {
        return line.nextOfTag_;
    }
    [[nodiscard]] static std::uint32_t SlotOf(const CacheLine& line) noexcept { return line.slot_; }
    /// By slot, null for holes.
    [[nodiscard]] const std::vector<CacheLine*>& Slots() const noexcept { return slots_; }

    // --- the walk ---
    /// Copies the line's record into the source's fields; its texts are lent, where that goes.
    void Load(CacheLine& line, EFieldSet& fields);
    /// What is lent is the record's from now on.
    void EndLoan() noexcept;
    void StandBeforeFirst() noexcept { current_ = -1; }
    /// The next line, or null at the end.
    [[nodiscard]] CacheLine* Step() noexcept;
    /// Null when the walk stands on none.
    [[nodiscard]] CacheLine* Current() const noexcept {
        return current_ >= 0 && current_ < End() ? slots_[static_cast<std::size_t>(current_)]
                                                 : nullptr;
    }
    /// Its tag is handed out, and lives on when the line goes or all are cleared.
    void Show(const CacheLine* line) const noexcept {
        shown_ = line != nullptr ? &line->SharedTag() : nullptr;
    }
    [[nodiscard]] const ETabulonTag* Shown() const noexcept {
        return shown_ != nullptr ? &shown_->tag : nullptr;
    }

private:
    [[nodiscard]] std::int64_t End() const noexcept {
        return static_cast<std::int64_t>(slots_.size());
    }
    [[nodiscard]] detail::CacheLayout& LayoutOf(const EFieldSet& fields);
    void Link(CacheLine& line) noexcept;
    void Unlink(CacheLine& line) noexcept;
    void LeaveWalk(std::int64_t removed) noexcept;
    void CloseHoles() noexcept;
    void AskAhead(std::size_t slot) const noexcept;

    std::deque<detail::CacheLayout> layouts_;  // one, unless the source's fields change
    detail::CacheTexts texts_;
    detail::CacheTags tags_;
    std::vector<CacheLine*> slots_;  // owned
    std::size_t holes_ = 0;
    std::size_t dirty_ = 0;
    std::size_t alive_ = 0;
    int keepers_ = 0;           // of places
    EPosition nextNumber_ = 1;  // goes on through Clear
    std::int64_t current_ = -1;
    CacheLine* lent_ = nullptr;  // whose references are in lentTo_
    void* lentTo_ = nullptr;
    mutable const detail::CacheTag* shown_ = nullptr;
};

}  // namespace etabulon
