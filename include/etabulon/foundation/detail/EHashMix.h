#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

// The library's hash functions. They aren't made for keys that an attacker chooses, and no hash is
// stored in a file, since the functions may change with the next version.

namespace etabulon::detail {

/// 2^64 divided by the golden ratio, made odd: a product with it spreads a number's bits upward
/// (multiplicative hashing: Knuth, The Art of Computer Programming, volume 3, section 6.4).
inline constexpr std::uint64_t kHashFactor = 0x9E3779B97F4A7C15U;

/// A table of 2^n entries must take the upper n bits of the result; its lower bits are mixed badly.
constexpr std::uint64_t SpreadBits(std::uint64_t bits) noexcept { return bits * kHashFactor; }

/// Adds a word to the hash of those before it. All bits of the result are good.
constexpr std::uint64_t MixHash(std::uint64_t hash, std::uint64_t word) noexcept {
    hash = (hash ^ word) * kHashFactor;
    return hash ^ (hash >> 32);
}

/// 32 good bits of 64 that need not be spread at all, such as a number or an address.
constexpr std::uint32_t HashNumber(std::uint64_t bits) noexcept {
    return static_cast<std::uint32_t>(SpreadBits(bits ^ (bits >> 32)) >> 32);
}

/// A word of the bytes at any address.
template <class Word = std::uint64_t>
Word WordAt(const char* bytes) noexcept {
    Word word;
    std::memcpy(&word, bytes, sizeof word);
    return word;
}

/// Compares the first and the last word, which may overlap. Most labels are at most two words long,
/// so that this avoids a call of memcmp.
inline bool HaveSameBytes(const char* left, const char* right, std::size_t length) noexcept {
    if (length >= sizeof(std::uint64_t)) {
        const std::size_t last = length - sizeof(std::uint64_t);
        return WordAt<>(left) == WordAt<>(right) &&
               WordAt<>(left + last) == WordAt<>(right + last) &&
               (length <= 2 * sizeof(std::uint64_t) || std::memcmp(left, right, length) == 0);
    }
    if (length >= sizeof(std::uint32_t)) {
        const std::size_t last = length - sizeof(std::uint32_t);
        return WordAt<std::uint32_t>(left) == WordAt<std::uint32_t>(right) &&
               WordAt<std::uint32_t>(left + last) == WordAt<std::uint32_t>(right + last);
    }
    return std::memcmp(left, right, length) == 0;
}

/// Copies in the same way. The two ranges don't overlap.
inline void CopyBytes(char* to, const char* from, std::size_t length) noexcept {
    constexpr std::size_t kWord = sizeof(std::uint64_t);
    if (length >= kWord && length <= 2 * kWord) {
        const auto first = WordAt<>(from);
        const auto last = WordAt<>(from + length - kWord);
        std::memcpy(to, &first, kWord);
        std::memcpy(to + length - kWord, &last, kWord);
    } else if (length >= kWord / 2 && length < kWord) {
        const auto first = WordAt<std::uint32_t>(from);
        const auto last = WordAt<std::uint32_t>(from + length - kWord / 2);
        std::memcpy(to, &first, kWord / 2);
        std::memcpy(to + length - kWord / 2, &last, kWord / 2);
    } else {
        std::memcpy(to, from, length);
    }
}

/// The last 8 bytes, or all of fewer. Texts of one length with the same words before this one are
/// equal if and only if this word is: it may overlap the one before it.
inline std::uint64_t LastWord(const char* bytes, std::size_t length) noexcept {
    if (length >= sizeof(std::uint64_t)) {
        return WordAt(bytes + length - sizeof(std::uint64_t));
    }
    if (length >= sizeof(std::uint32_t)) {
        return std::uint64_t{WordAt<std::uint32_t>(bytes)} << 32 |
               WordAt<std::uint32_t>(bytes + length - sizeof(std::uint32_t));
    }
    std::uint64_t word = 0;
    if (length != 0) {  // a missing text has no bytes to point to
        std::memcpy(&word, bytes, length);
    }
    return word;
}

/// The hash of some bytes, word by word; short texts take one or two multiplications. `above` is
/// the hash of the parent that the bytes are looked up under.
inline std::uint32_t HashBytes(const char* bytes, std::size_t length,
                               std::uint32_t above = 0) noexcept {
    constexpr std::size_t kWord = sizeof(std::uint64_t);
    std::uint64_t hash = std::rotl((length ^ above) * kHashFactor, 29);
    for (std::size_t at = 0; at + kWord < length; at += kWord) {
        hash = std::rotl((hash ^ WordAt(bytes + at)) * kHashFactor, 29);
    }
    hash = (hash ^ LastWord(bytes, length)) * kHashFactor;
    return static_cast<std::uint32_t>(SpreadBits(hash ^ (hash >> 32)) >> 32);
}

}  // namespace etabulon::detail
