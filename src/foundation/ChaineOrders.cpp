#include "etabulon/foundation/Chaine.h"
#include "etabulon/foundation/EExpects.h"
#include "etabulon/foundation/detail/EHashMix.h"
#include "foundation/LocaleOrder.h"

#include <algorithm>
#include <array>
#include <atomic>

namespace etabulon {
namespace {

constexpr std::array<unsigned char, 256> BuildFoldTable() {
    std::array<unsigned char, 256> table{};
    for (unsigned int byte = 0; byte < table.size(); ++byte) {
        const bool small = byte >= 0x61 && byte <= 0x7A;
        // Deliberate: 0xED (í), 0xF0 (ð) and 0xF7 stay, although 0xED and 0xF0 have capitals:
        // dictionaries are ordered by this table. FoldsSmallLettersButForItsHoles holds it.
        const bool accented =
            byte >= 0xE0 && byte <= 0xFD && byte != 0xED && byte != 0xF0 && byte != 0xF7;
        table[byte] = static_cast<unsigned char>(small || accented ? byte - 0x20 : byte);
    }
    return table;
}

constexpr std::array<unsigned char, 256> kFold = BuildFoldTable();

unsigned char Folded(char c) noexcept { return kFold[static_cast<unsigned char>(c)]; }

constexpr std::uint64_t kHighBits = 0x8080808080808080U;

// The eight bytes folded; bytes from 0x80 upward go through the table.
std::uint64_t FoldBytes(std::uint64_t word) noexcept {
    std::array<char, 8> bytes{};
    std::memcpy(bytes.data(), &word, sizeof word);
    for (char& c : bytes) {
        c = static_cast<char>(Folded(c));
    }
    std::memcpy(&word, bytes.data(), sizeof word);
    return word;
}

// The same; a word of ASCII goes without a table.
inline std::uint64_t FoldWord(std::uint64_t word) noexcept {
    if ((word & kHighBits) != 0) {
        return FoldBytes(word);
    }
    // The high bit of each byte: set in fromA from 'a' upward, in aboveZ above 'z'.
    const std::uint64_t fromA = word + 0x1F1F1F1F1F1F1F1FU;
    const std::uint64_t aboveZ = word + 0x0505050505050505U;
    return word - (((fromA & ~aboveZ & kHighBits)) >> 2);
}

int Sign(int difference) noexcept { return (difference > 0) - (difference < 0); }

constinit std::atomic<LocaleCompare> localeCompare{&DefaultLocaleCompare};
constinit std::atomic<LocaleKey> localeKey{&DefaultLocaleKey};

}  // namespace

unsigned char Chaine::Fold(unsigned char byte) noexcept { return kFold[byte]; }

int Chaine::ComparePlain(const Chaine& other) const noexcept {
    if (body_ == other.body_) {
        return 0;
    }
    const std::size_t length = std::min(body_->length, other.body_->length);
    const int difference = std::memcmp(c_str(), other.c_str(), length);
    if (difference != 0) {
        return Sign(difference);
    }
    return Sign((body_->length > length) - (other.body_->length > length));
}

int Chaine::CompareFolded(const Chaine& other) const noexcept {
    return body_ == other.body_ ? 0 : CompareFolded(View(), other.View());
}

int Chaine::CompareFolded(std::string_view left, std::string_view right) noexcept {
    const std::size_t shorter = std::min(left.size(), right.size());
    std::size_t i = 0;
    while (i < shorter && Folded(left[i]) == Folded(right[i])) {
        ++i;
    }
    if (i == shorter && left.size() == right.size()) {
        return 0;
    }
    // Deliberate: the terminator of the shorter text takes part, and bytes from 0x80 upward are
    // negative. So "cafe" stands above "cafe" with an accented letter after it.
    // ComparesSignedBytesOverTheShorterStoredLength holds it.
    const auto at = [i](std::string_view text) {
        return static_cast<int>(static_cast<signed char>(i < text.size() ? Folded(text[i]) : 0));
    };
    const int difference = at(left) - at(right);
    return Sign(difference != 0 ? difference : (left.size() > shorter) - (right.size() > shorter));
}

bool Chaine::EqualsFolded(std::string_view left, std::string_view right) noexcept {
    return left.size() == right.size() &&
           std::equal(left.begin(), left.end(), right.begin(),
                      [](char a, char b) { return a == b || Folded(a) == Folded(b); });
}

std::uint32_t Chaine::FoldHash(std::string_view text) noexcept {
    constexpr std::size_t kWord = sizeof(std::uint64_t);
    std::uint64_t hash = text.size();
    for (std::size_t at = 0; at + kWord < text.size(); at += kWord) {
        hash = detail::MixHash(hash, FoldWord(detail::WordAt(text.data() + at)));
    }
    hash = detail::MixHash(hash, FoldWord(detail::LastWord(text.data(), text.size())));
    const auto result = static_cast<std::uint32_t>(detail::MixHash(hash, 0));
    return result != 0 ? result : 1;
}

std::uint32_t Chaine::ComputeFoldHash(const Body* body) noexcept {
    const char* const text = body->Text();
    const std::uint32_t hash = FoldHash({text, body->length - 1});
    body->foldHash.store(hash, std::memory_order_relaxed);
    return hash;
}

std::size_t Chaine::FindFolded(char c, std::size_t from) const noexcept {
    const unsigned char wanted = Folded(c);
    const std::string_view text = View();
    for (std::size_t i = from; i < text.size(); ++i) {
        if (Folded(text[i]) == wanted) {
            return i;
        }
    }
    return npos;
}

int Chaine::CompareLocale(const Chaine& other) const {
    if (body_ == other.body_) {
        return 0;
    }
    return Sign(localeCompare.load(std::memory_order_relaxed)(View(), other.View()));
}

void Chaine::SetLocaleOrder(LocaleCompare compare, LocaleKey key) noexcept {
    E_EXPECTS((compare == nullptr) == (key == nullptr));
    const bool given = compare != nullptr && key != nullptr;
    localeCompare.store(given ? compare : &DefaultLocaleCompare, std::memory_order_relaxed);
    localeKey.store(given ? key : &DefaultLocaleKey, std::memory_order_relaxed);
}

std::size_t Chaine::LocaleSortKey(std::string_view text, char* key, std::size_t capacity) {
    return localeKey.load(std::memory_order_relaxed)(text, key, capacity);
}

Chaine Chaine::LocaleSortKey() const {
    const LocaleKey makeKey = localeKey.load(std::memory_order_relaxed);
    std::array<char, 256> buffer;
    const std::size_t length = makeKey(View(), buffer.data(), buffer.size());
    if (length <= buffer.size()) {
        return Chaine(buffer.data(), length);
    }
    Chaine key = Adopt(NewBody(length));
    makeKey(View(), key.MutableText(), length);
    key.SetLength(length);
    return key;
}

}  // namespace etabulon
