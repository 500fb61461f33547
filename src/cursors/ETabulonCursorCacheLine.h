#pragma once

#include "cursors/ETabulonCursorCacheTags.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <vector>

namespace etabulon {

namespace detail {

/// Interns texts, so that equal texts of a column share one body. A column whose texts are mostly
/// distinct isn't interned: the lookups would cost more than the memory they save.
class CacheTexts {
public:
    struct Column {
        std::uint32_t seen = 0;
        std::uint32_t distinct = 0;
    };
    /// The first text met that equals `text`. Null for a column that isn't interned.
    [[nodiscard]] const Chaine* Intern(const Chaine& text, Column& column);
    void Clear() noexcept;

private:
    std::vector<Chaine> texts_;
    HashIndex index_;
};

/// The layout of a line's image, which holds the values of a field set in packed form.
class CacheLayout {
public:
    explicit CacheLayout(const EFieldSet& fields);
    [[nodiscard]] std::uint64_t ShapeNumber() const noexcept { return shape_; }
    [[nodiscard]] std::size_t Bytes() const noexcept { return bytes_; }
    void Construct(void* image) const noexcept { packed_.ConstructRecord(image); }
    void Destroy(void* image) const noexcept { packed_.DestroyRecord(image); }
    void CopyOut(void* image, EFieldSet& fields) const;
    void CopyIn(void* image, const EFieldSet& fields) const;
    /// The image as fields, valid until the next call of any of these operations.
    [[nodiscard]] EFieldSet& View(void* image) const;
    /// Interns the image's texts. True if `texts` holds every one of them.
    bool InternTexts(void* image, CacheTexts& texts);
    [[nodiscard]] bool IsRecordOf(const EFieldSet& fields) const noexcept;

    // Texts are reference-counted, and counting takes longer than all other work of a step. A line
    // whose texts the cache keeps alive lends its references instead: the bytes of its image are
    // copied into the record without counting. A field assignment there releases the line's
    // reference, and TakeBack or GiveUp count a new one: references to a body are interchangeable.
    /// Lends the image to a record that holds no references of its own.
    void Lend(const void* image, void* record) const noexcept;
    /// Takes the image's references back from the record, and releases the texts that callers have
    /// stored there meanwhile. The next operation on the record must be Lend.
    void TakeBack(const void* image, void* record) const noexcept;
    /// Leaves the lent references to the record, and counts new ones for the image.
    void GiveUp(const void* image) const noexcept;
    /// Releases the record's own references. The next operation on the record must be Lend.
    void Vacate(void* record) const noexcept { packed_.DestroyRecord(record); }

private:
    std::uint64_t shape_;
    std::size_t bytes_;
    mutable EFieldSet packed_;  // a view without a buffer of its own, moved from image to image
    struct Text {
        std::uint16_t field;
        CacheTexts::Column column;
    };
    std::vector<Text> texts_;
    std::vector<std::size_t> slots_;  // the offsets of all text bodies in an image
};

}  // namespace detail

/// One record of the cache. Its values, the image, lie after it in the same block of memory.
class ETabulonCursorCache::CacheLine {
public:
    /// A blank line. The layout and the tag must outlive it.
    [[nodiscard]] static std::unique_ptr<CacheLine> Make(const detail::CacheLayout& layout,
                                                         detail::CacheTag& tag, EPosition number);
    CacheLine(const CacheLine&) = delete;
    CacheLine& operator=(const CacheLine&) = delete;
    virtual ~CacheLine();
    static void operator delete(void* memory) noexcept { ::operator delete(memory); }

    [[nodiscard]] const ETabulonTag& Tag() const noexcept { return tag_->tag; }
    [[nodiscard]] detail::CacheTag& SharedTag() const noexcept { return *tag_; }
    /// One cache never gives a number twice.
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
    /// The values as fields, valid until another line of the cache is viewed or copied.
    [[nodiscard]] EFieldSet& View() const { return layout_->View(Image()); }

private:
    friend class Lines;
    /// The size of the memory to allocate after the line.
    struct ImageMemory {
        std::size_t bytes;
    };
    static void* operator new(std::size_t size, ImageMemory image) {
        return ::operator new(size + image.bytes);
    }
    static void operator delete(void* memory, ImageMemory) noexcept { ::operator delete(memory); }

    CacheLine(const detail::CacheLayout& layout, detail::CacheTag& tag, EPosition number) noexcept;
    [[nodiscard]] void* Image() const noexcept;

    LineState state_ = LineClean;
    bool canLend_ = false;    // the cache has interned all of its texts
    std::uint32_t slot_ = 0;  // its index in Lines::slots_
    detail::CacheTag* tag_;
    const detail::CacheLayout* layout_;
    CacheLine* nextOfTag_ = nullptr;
    CacheLine* previousOfTag_ = nullptr;
    EPosition number_;
    // The key. Most have one segment, so that only others allocate.
    EPosition keyPosition_ = kNoPosition;
    std::uint32_t segments_ = 0;
    EVariant segment_;
    std::unique_ptr<EVariant[]> moreSegments_;
};

}  // namespace etabulon
