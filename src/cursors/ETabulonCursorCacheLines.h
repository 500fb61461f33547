#pragma once

#include "cursors/ETabulonCursorCacheLine.h"

#include <cstdint>
#include <deque>
#include <memory>
#include <vector>

namespace etabulon {

/// A handle of a line, which stays safe to use when the line is destroyed.
struct ETabulonCursorCache::LineHandle {
    std::uint32_t slot;
    EPosition number;
};

/// The lines in order of arrival, their index by tag, and the position of the walk.
///
/// A destroyed line leaves a hole. Compact removes holes once at least 64 of them make up half of
/// the slots, unless handles are pinned.
class ETabulonCursorCache::Lines {
public:
    enum class Event : std::uint8_t { Modified, Appended, Deleted };
    /// Keeps handles valid for a scope, by putting off Compact.
    class Pin {
    public:
        explicit Pin(Lines& lines) noexcept : lines_(lines) { ++lines_.pins_; }
        ~Pin() {
            if (--lines_.pins_ == 0) {
                lines_.Compact();
            }
        }
        Pin(const Pin&) = delete;
        Pin& operator=(const Pin&) = delete;

    private:
        Lines& lines_;
    };
    /// The lines at and below a tag in order of arrival, as of its construction.
    class Branch {
    public:
        Branch(Lines& lines, const ETabulonTag& tag);
        [[nodiscard]] const std::vector<LineHandle>& Handles() const noexcept { return handles_; }

    private:
        Pin pin_;
        std::vector<LineHandle> handles_;
    };
    [[nodiscard]] static LineHandle HandleOf(const CacheLine& line) noexcept {
        return {line.slot_, line.number_};
    }
    /// The line of a pinned handle. Null for a line that was destroyed.
    [[nodiscard]] CacheLine* At(const LineHandle& handle) const noexcept;

    ~Lines() { Clear(); }

    /// Adds a clean line with the values of `fields`, which Find then returns for the tag.
    CacheLine& Add(const ETabulonTag& tag, const EFieldSet& fields);
    /// The same for the source's record, whose texts are interned.
    void AddFromSource(const ETabulonTag& tag, const EFieldSet& fields,
                       const ETabulonPrimaryKey& key);
    [[nodiscard]] CacheLine* Find(const ETabulonTag& tag) const;
    /// Gives the line the values of `fields`.
    void Store(CacheLine& line, const EFieldSet& fields) {
        EndLoan();
        line.Take(fields);
    }
    /// Destroys the line.
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

    // ------------------------------------------------------------------------------------ the walk
    /// Copies the line's record into the source's fields, and lends its texts where possible.
    void Load(CacheLine& line, EFieldSet& fields);
    /// Gives the lent references to the record.
    void EndLoan() noexcept;
    void StandBeforeFirst() noexcept { current_ = -1; }
    /// The next line, or null at the end.
    [[nodiscard]] CacheLine* Step() noexcept;
    /// Null if the walk stands on no line.
    [[nodiscard]] CacheLine* Current() const noexcept {
        return current_ >= 0 && current_ < End() ? slots_[static_cast<std::size_t>(current_)]
                                                 : nullptr;
    }
    /// Remembers that the line's tag was handed out, so that it outlives the line and one Clear.
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
    void Compact() noexcept;
    void Prefetch(std::size_t slot) const noexcept;

    std::deque<detail::CacheLayout> layouts_;  // more than one only if the source's fields change
    detail::CacheTexts texts_;
    detail::CacheTags tags_;
    std::vector<CacheLine*> slots_;  // owned
    std::size_t holes_ = 0;
    std::size_t dirty_ = 0;
    std::size_t alive_ = 0;
    int pins_ = 0;              // live Pin objects
    EPosition nextNumber_ = 1;  // not reset by Clear
    std::int64_t current_ = -1;
    CacheLine* lent_ = nullptr;  // whose references are in lentTo_
    void* lentTo_ = nullptr;
    mutable const detail::CacheTag* shown_ = nullptr;
};

}  // namespace etabulon
