#include "etabulon/foundation/Chaine.h"

#include "etabulon/foundation/EStringTable.h"

#include <charconv>
#include <cstdarg>
#include <cstdio>
#include <limits>
#include <new>
#include <stdexcept>

namespace etabulon {
namespace {

constexpr std::size_t kMaxLength = std::numeric_limits<std::uint32_t>::max() - 1;

bool IsBlank(char c) noexcept { return c == ' ' || c == '\t'; }
bool IsDigit(char c) noexcept { return c >= '0' && c <= '9'; }

// The text capacities for which a body with its header of 16 bytes fills a chunk of the usual
// allocators: 8, 24, 40...
std::size_t CapacityFor(std::size_t stored) noexcept {
    constexpr std::size_t kLeast = 8;
    constexpr std::size_t kStep = 16;
    return stored <= kLeast ? kLeast : (stored - kLeast + kStep - 1) / kStep * kStep + kLeast;
}

}  // namespace

static_assert(sizeof(Chaine::Body) == 16);

constinit Chaine::EmptyBody Chaine::emptyBody_{{{0}, 1, 0, {0}}, {}};

Chaine::Chaine(const char* text) : Chaine(text, text == nullptr ? 0 : std::strlen(text)) {}

Chaine::Chaine(const char* bytes, std::size_t length) : body_(&emptyBody_.body) {
    if (length != 0) {
        body_ = NewBody(length);
        std::memcpy(body_->Text(), bytes, length);
        SetLength(length);
    }
}

Chaine Chaine::Format(const char* format, ...) {
    char buffer[256];
    Chaine text;
    std::va_list arguments;
    va_start(arguments, format);
    std::va_list again;
    va_copy(again, arguments);
    const int needed = std::vsnprintf(buffer, sizeof buffer, format, arguments);
    va_end(arguments);
    if (needed >= 0) {
        const auto length = static_cast<std::size_t>(needed);
        if (length < sizeof buffer) {
            text.Assign(buffer, length);
        } else {
            text.body_ = NewBody(length);
            std::vsnprintf(text.body_->Text(), length + 1, format, again);
            text.SetLength(length);
        }
    }
    va_end(again);
    return text;
}

Chaine Chaine::Load(unsigned int stringID) { return Chaine(StringTableText(stringID)); }

Chaine Chaine::FromUnsigned(std::uint64_t number) {
    char digits[20];
    const char* end = std::to_chars(digits, digits + sizeof digits, number).ptr;
    return Chaine(digits, static_cast<std::size_t>(end - digits));
}

Chaine::Body* Chaine::NewBody(std::size_t length) {
    if (length > kMaxLength) {
        throw std::length_error("etabulon::Chaine");
    }
    std::size_t capacity = CapacityFor(length + 1);
    if (capacity > kMaxLength + 1) {
        capacity = length + 1;
    }
    Body* body = ::new (::operator new(sizeof(Body) + capacity)) Body;
    body->share.store(0, std::memory_order_relaxed);
    body->foldHash.store(0, std::memory_order_relaxed);
    body->capacity = static_cast<std::uint32_t>(capacity);
    body->length = 1;
    *body->Text() = '\0';
    return body;
}

void Chaine::Destroy(Body* body) noexcept { ::operator delete(body); }

void Chaine::Own(std::size_t length, bool keepText) {
    const bool shared = body_->share.load(std::memory_order_acquire) != 0;
    if (!shared && length < body_->capacity) {
        return;
    }
    std::size_t room = length;
    if (keepText && length >= body_->capacity) {
        // Grows by half, so that appending piece by piece takes linear time.
        const std::size_t grown = Length() + Length() / 2;
        room = grown > length && grown <= kMaxLength ? grown : length;
    }
    Body* own = NewBody(room);
    if (keepText) {
        std::memcpy(own->Text(), body_->Text(), body_->length);
        own->length = body_->length;
    }
    Release(std::exchange(body_, own));
}

void Chaine::SetLength(std::size_t length) noexcept {
    body_->length = static_cast<std::uint32_t>(length + 1);
    MutableText()[length] = '\0';
    body_->foldHash.store(0, std::memory_order_relaxed);
}

void Chaine::Assign(const char* bytes, std::size_t length) {
    if (length == 0) {
        Clear();
        return;
    }
    const char* own = body_->Text();
    if (bytes >= own && bytes <= own + Length()) {
        // The bytes are a part of this text, whose body must outlive the copying.
        *this = Chaine(bytes, length);
        return;
    }
    Own(length, /*keepText=*/false);
    std::memcpy(body_->Text(), bytes, length);
    SetLength(length);
}

void Chaine::Append(std::string_view text) {
    if (text.empty()) {
        return;
    }
    const Chaine keep = text.data() >= body_->Text() && text.data() <= body_->Text() + Length()
                            ? *this
                            : Chaine();  // a part of this text: the copy keeps its body
    const std::size_t length = Length();
    if (text.size() > kMaxLength - length) {
        throw std::length_error("etabulon::Chaine");
    }
    Own(length + text.size(), /*keepText=*/true);
    std::memcpy(MutableText() + length, text.data(), text.size());
    SetLength(length + text.size());
}

void Chaine::Clear() noexcept {
    if (body_->capacity != 0 && body_->share.load(std::memory_order_acquire) == 0) {
        SetLength(0);
    } else {
        Release(std::exchange(body_, &emptyBody_.body));
    }
}

std::size_t Chaine::Find(char c, std::size_t from) const noexcept { return View().find(c, from); }

std::size_t Chaine::FindOneOf(const char* set, std::size_t from) const noexcept {
    return View().find_first_of(set, from);
}

bool Chaine::Split(char c, Chaine& before, Chaine& after) const {
    const std::size_t index = Find(c);
    const Chaine whole(*this);  // before or after may be this text
    if (index == npos) {
        after = Chaine();
        before = whole;
        return false;
    }
    before = whole.Mid(0, index);
    after = whole.Mid(index + 1);
    return true;
}

void Chaine::RemoveAll(char c) {
    const std::size_t first = Find(c);
    if (first == npos) {
        return;
    }
    Own(Length(), /*keepText=*/true);
    char* const text = MutableText();
    std::size_t kept = first;
    for (std::size_t i = first; i < Length(); ++i) {
        if (text[i] != c) {
            text[kept++] = text[i];
        }
    }
    SetLength(kept);
}

Chaine Chaine::Mid(std::size_t from, std::size_t length) const {
    if (from == 0 && length >= Length()) {
        return *this;
    }
    return from >= Length() ? Chaine() : Chaine(View().substr(from, length));
}

bool Chaine::IsDecimalNumber() const noexcept {
    constexpr std::size_t kMaxDigits = 10;
    const std::string_view text = View();
    std::size_t i = 0;
    while (i < text.size() && IsBlank(text[i])) {
        ++i;
    }
    const std::size_t first = i;
    while (i < text.size() && IsDigit(text[i])) {
        ++i;
    }
    const std::size_t digits = i - first;
    while (i < text.size() && IsBlank(text[i])) {
        ++i;
    }
    return i == text.size() && digits >= 1 && digits <= kMaxDigits;
}

std::uint64_t Chaine::ToUnsigned() const noexcept {
    constexpr std::uint64_t kMax = std::numeric_limits<std::uint64_t>::max();
    std::uint64_t number = 0;
    for (const char c : View()) {
        if (IsBlank(c)) {
            // Deliberate: also between digits, so "1 000" is a thousand. IsReadWithoutItsBlanks
            // holds it.
            continue;
        }
        if (!IsDigit(c)) {
            break;
        }
        const auto digit = static_cast<std::uint64_t>(c - '0');
        if (number > (kMax - digit) / 10) {
            return kMax;
        }
        number = number * 10 + digit;
    }
    return number;
}

}  // namespace etabulon
