#pragma once

#include "cursors/ETabulonCursorCacheTags.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <vector>

namespace etabulon {

namespace detail {

/// Bodies of texts that were met before, so that equal texts of a column share one. A column whose
/// texts are nearly all different is left alone.
class CacheTexts {
public:
    struct Column {
        std::uint32_t met = 0;
        std::uint32_t made = 0;
    };
    /// What equals `text` and was here first, or itself. Null where the column is left alone.
    [[nodiscard]] const Chaine* Share(const Chaine& text, Column& column);
    void Clear() noexcept;

private:
    std::vector<Chaine> texts_;
    HashIndex index_;
};

/// How the values of a field set lie in a line: packed, in the set's own places.
class CacheLayout {
public:
    explicit CacheLayout(const EFieldSet& fields);
    [[nodiscard]] std::uint64_t ShapeNumber() const noexcept { return shape_; }
    [[nodiscard]] std::size_t Bytes() const noexcept { return bytes_; }
    void Construct(void* image) const noexcept { packed_.ConstructRecord(image); }
    void Destroy(void* image) const noexcept { packed_.DestroyRecord(image); }
    void CopyOut(void* image, EFieldSet& fields) const;
    void CopyIn(void* image, const EFieldSet& fields) const;
    /// The image as fields, good until the next call of any of these.
    [[nodiscard]] EFieldSet& View(void* image) const;
    /// Lets the image's texts share bodies with those met before. True if `texts` holds them all.
    bool ShareTexts(void* image, CacheTexts& texts);
    [[nodiscard]] bool IsRecordOf(const EFieldSet& fields) const noexcept;

    // Texts are counted, and counting them up and down takes longer than all else in a step. A
    // line whose texts somebody holds anyway can lend its references instead: the bytes of its
    // image go into the record as they are, and whoever writes over them there gives the line's
    // references back. Of references to one body none is told from another.
    /// Lends the image to a record whose own references have gone.
    void Lend(const void* image, void* record) const noexcept;
    /// Takes the image's references out of the record, where they still are, and drops what
    /// somebody else has put in their place. The record is to be lent to at once.
    void TakeBack(const void* image, void* record) const noexcept;
    /// Leaves what was lent where it is, and counts the image's references anew.
    void GiveUp(const void* image) const noexcept;
    /// Drops the record's own references. It is to be lent to at once.
    void Vacate(void* record) const noexcept { packed_.DestroyRecord(record); }

private:
    std::uint64_t shape_;
    std::size_t bytes_;
    mutable EFieldSet packed_;  // without a buffer of its own; moved from image to image
    struct Text {
        std::uint16_t field;
        CacheTexts::Column column;
    };
    std::vector<Text> texts_;
    std::vector<std::size_t> slots_;  // the places of all bodies in an image
};

}  // namespace detail

/// One record of the cache. Its values lie behind it in the same block of memory.
class ETabulonCursorCache::CacheLine {
public:
    /// The values are those of `fields`. The layout and the tag must outlive the line.
    [[nodiscard]] static std::unique_ptr<CacheLine> Make(const detail::CacheLayout& layout,
                                                         detail::CacheTag& tag, EPosition number);
    CacheLine(const CacheLine&) = delete;
    CacheLine& operator=(const CacheLine&) = delete;
    virtual ~CacheLine();
    static void operator delete(void* memory) noexcept { ::operator delete(memory); }

    [[nodiscard]] const ETabulonTag& Tag() const noexcept { return tag_->tag; }
    [[nodiscard]] detail::CacheTag& SharedTag() const noexcept { return *tag_; }
    /// Never given twice by one cache.
    [[nodiscard]] EPosition Number() const noexcept { return number_; }
    [[nodiscard]] LineState State() const noexcept { return state_; }
    [[nodiscard]] bool IsDead() const noexcept {
        return state_ == LineDeleted || state_ == LineAddedDeleted;
    }

    /// The source record's key; empty for a line made in memory.
    void SetKey(const ETabulonPrimaryKey& key);
    [[nodiscard]] EPosition KeyPosition() const noexcept { return keyPosition_; }
    void CopyKeyTo(EFieldKey& key) const;

    void CopyTo(EFieldSet& fields) const { layout_->CopyOut(Image(), fields); }
    void Take(const EFieldSet& fields) {
        canLend_ = false;
        layout_->CopyIn(Image(), fields);
    }
    /// The values as fields, good until another line of the cache is looked at.
    [[nodiscard]] EFieldSet& View() const { return layout_->View(Image()); }

private:
    friend class Lines;
    /// Asks for memory behind the line.
    struct Behind {
        std::size_t bytes;
    };
    static void* operator new(std::size_t size, Behind behind) {
        return ::operator new(size + behind.bytes);
    }
    static void operator delete(void* memory, Behind) noexcept { ::operator delete(memory); }

    CacheLine(const detail::CacheLayout& layout, detail::CacheTag& tag, EPosition number) noexcept;
    [[nodiscard]] void* Image() const noexcept;

    LineState state_ = LineClean;
    bool canLend_ = false;    // the cache holds all of its texts
    std::uint32_t slot_ = 0;  // in the order of arrival
    detail::CacheTag* tag_;
    const detail::CacheLayout* layout_;
    CacheLine* nextOfTag_ = nullptr;
    CacheLine* previousOfTag_ = nullptr;
    EPosition number_;
    // The key, without the room for segments that few keys have.
    EPosition keyPosition_ = kNoPosition;
    std::uint32_t segments_ = 0;
    EVariant segment_;
    std::unique_ptr<EVariant[]> moreSegments_;
};

}  // namespace etabulon
