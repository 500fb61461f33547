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
    /// `text`, or what equals it and was here first.
    [[nodiscard]] const Chaine& Share(const Chaine& text, Column& column);
    void Clear() noexcept;

private:
    std::vector<Chaine> texts_;
    KeyIndex index_;
};

/// How the values of a field set lie in a line: packed, in the set's own places.
class CacheLayout {
public:
    explicit CacheLayout(const EFieldSet& fields);
    [[nodiscard]] std::uint64_t ShapeNumber() const noexcept { return packed_.ShapeNumber(); }
    [[nodiscard]] std::size_t Bytes() const noexcept { return packed_.RecordSize(); }
    void Construct(void* image) const noexcept { packed_.ConstructRecord(image); }
    void Destroy(void* image) const noexcept { packed_.DestroyRecord(image); }
    void CopyOut(void* image, EFieldSet& fields) const;
    void CopyIn(void* image, const EFieldSet& fields) const;
    /// The image as fields, good until the next call of any of these.
    [[nodiscard]] EFieldSet& View(void* image) const;
    /// Lets the image's texts share bodies with those met before.
    void ShareTexts(void* image, CacheTexts& texts);

private:
    [[nodiscard]] bool IsRecordOf(const EFieldSet& fields) const noexcept;

    mutable EFieldSet packed_;  // without a buffer of its own; moved from image to image
    struct Text {
        std::uint16_t field;
        CacheTexts::Column column;
    };
    std::vector<Text> texts_;
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
    void Take(const EFieldSet& fields) { layout_->CopyIn(Image(), fields); }
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
