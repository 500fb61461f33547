#include "cursors/ETabulonCursorCacheLine.h"

#include "etabulon/foundation/EDataType.h"

#include <cstring>

namespace etabulon {

namespace detail {

namespace {

Chaine::Body* BodyAt(const void* record, std::size_t slot) noexcept {
    Chaine::Body* body = nullptr;
    std::memcpy(&body, static_cast<const std::byte*>(record) + slot, sizeof body);
    return body;
}

void Retain(Chaine::Body* body) noexcept {
    if (body != nullptr) {
        Chaine::Retain(body);
    }
}

}  // namespace

// ------------------------------------------------------------------------------------------- texts

const Chaine* CacheTexts::Intern(const Chaine& text, Column& column) {
    // Interning stops for a column once more than half of at least 4096 texts were distinct.
    constexpr std::uint32_t kTrial = 4096;
    if (column.distinct > kTrial && column.distinct > column.seen / 2) {
        return nullptr;
    }
    ++column.seen;
    const std::int32_t known = index_.Find(text.FoldHash(), [this, &text](std::int32_t index) {
        return texts_[static_cast<std::size_t>(index)] == text;
    });
    if (known >= 0) {
        return &texts_[static_cast<std::size_t>(known)];
    }
    ++column.distinct;
    index_.Reserve(static_cast<std::uint32_t>(texts_.size()) + 1);
    texts_.push_back(text);
    index_.Add(text.FoldHash(), static_cast<std::int32_t>(texts_.size() - 1));
    return &texts_.back();
}

void CacheTexts::Clear() noexcept {
    texts_.clear();
    index_.Clear();
}

// ------------------------------------------------------------------------------------------ layout

CacheLayout::CacheLayout(const EFieldSet& fields)
    : shape_(fields.ShapeNumber()), bytes_(0), packed_(fields.Packed()) {
    bytes_ = packed_.RecordSize();
    for (std::size_t index = 0; index < packed_.Size(); ++index) {
        const auto field = static_cast<std::uint16_t>(index);
        if (const EFieldDesc& desc = packed_.At(field).Desc(); desc.IsSlot()) {
            slots_.push_back(packed_.OffsetOf(field));
            texts_.push_back({field, {}});
        }
    }
}

// Fields added later are last in the set, and have no offset in its record.
bool CacheLayout::IsRecordOf(const EFieldSet& fields) const noexcept {
    const std::size_t count = fields.Size();
    return fields.ShapeNumber() == shape_ && fields.Buffer() != nullptr && count != 0 &&
           fields.OffsetOf(static_cast<std::uint16_t>(count - 1)) != EFieldSet::kNoOffset;
}

EFieldSet& CacheLayout::View(void* image) const {
    packed_.ChangeBuffer(image, /*takeOwnership=*/false);
    return packed_;
}

void CacheLayout::CopyOut(void* image, EFieldSet& fields) const {
    if (IsRecordOf(fields)) {
        packed_.CopyRecord(fields.Buffer(), image);
    } else {
        fields <<= View(image);
    }
}

void CacheLayout::CopyIn(void* image, const EFieldSet& fields) const {
    if (IsRecordOf(fields)) {
        packed_.CopyRecord(image, fields.Buffer());
    } else {
        View(image) <<= fields;
    }
}

bool CacheLayout::InternTexts(void* image, CacheTexts& texts) {
    const EFieldSet& view = View(image);
    bool areHeld = true;
    for (Text& text : texts_) {
        const EField& field = view.At(text.field);
        if (field.IsMissing()) {
            continue;
        }
        if (field.Type() != TYPE_CHAINE) {
            areHeld = false;
            continue;
        }
        const Chaine own = field.AsChaine();
        const Chaine* const shared = texts.Intern(own, text.column);
        areHeld = areHeld && shared != nullptr;
        if (shared != nullptr && !shared->IsSameBody(own)) {
            packed_.At(text.field) <<= EVariant(*shared);
        }
    }
    return areHeld;
}

void CacheLayout::Lend(const void* image, void* record) const noexcept {
    std::memcpy(record, image, Bytes());
}

void CacheLayout::TakeBack(const void* image, void* record) const noexcept {
    for (const std::size_t slot : slots_) {
        Chaine::Body* const lent = BodyAt(image, slot);
        if (Chaine::Body* const found = BodyAt(record, slot); found != lent) {
            Retain(lent);
            if (found != nullptr) {
                Chaine::Release(found);
            }
        }
    }
}

void CacheLayout::GiveUp(const void* image) const noexcept {
    for (const std::size_t slot : slots_) {
        Retain(BodyAt(image, slot));
    }
}

}  // namespace detail

// -------------------------------------------------------------------------------------------- line

static_assert(sizeof(ETabulonCursorCache::CacheLine) % alignof(Chaine) == 0);

ETabulonCursorCache::CacheLine::CacheLine(const detail::CacheLayout& layout, detail::CacheTag& tag,
                                          EPosition number) noexcept
    : tag_(&tag), layout_(&layout), number_(number) {
    layout_->Construct(Image());
}

ETabulonCursorCache::CacheLine::~CacheLine() { layout_->Destroy(Image()); }

std::unique_ptr<ETabulonCursorCache::CacheLine> ETabulonCursorCache::CacheLine::Make(
    const detail::CacheLayout& layout, detail::CacheTag& tag, EPosition number) {
    return std::unique_ptr<CacheLine>(new (ImageMemory{layout.Bytes()})
                                          CacheLine(layout, tag, number));
}

// The image isn't covered by the line's const: a view of it is writable.
void* ETabulonCursorCache::CacheLine::Image() const noexcept {
    return const_cast<CacheLine*>(this) + 1;
}

void ETabulonCursorCache::CacheLine::SetKey(const ETabulonPrimaryKey& key) {
    const EFieldKey& fields = key.Fields();
    std::unique_ptr<EVariant[]> more;
    if (fields.Size() > 1) {
        more = std::make_unique<EVariant[]>(fields.Size() - 1U);
        for (std::uint16_t index = 1; index < fields.Size(); ++index) {
            more[index - 1U] = fields.At(index);
        }
    }
    segment_ = fields.Size() != 0 ? EVariant(fields.At(0)) : EVariant();
    moreSegments_ = std::move(more);
    segments_ = fields.Size();
    keyPosition_ = key.Position();
}

void ETabulonCursorCache::CacheLine::CopyKeyTo(EFieldKey& key) const {
    key.Resize(static_cast<std::uint16_t>(segments_));
    for (std::uint16_t index = 0; index < segments_; ++index) {
        key.At(index) = index == 0 ? segment_ : moreSegments_[index - 1U];
    }
}

}  // namespace etabulon
