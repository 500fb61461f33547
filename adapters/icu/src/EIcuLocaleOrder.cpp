#include "etabulon/icu/EIcuLocaleOrder.h"

#include "EIcuText.h"
#include "etabulon/foundation/Chaine.h"

#include <unicode/ucol.h>
#include <unicode/uloc.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <mutex>
#include <new>
#include <string_view>

namespace etabulon {
namespace {

// An installed collator is never changed, so that comparisons use it without a lock.
constinit std::atomic<const UCollator*> installed{nullptr};

int IcuCompare(std::string_view left, std::string_view right) {
    if (left == right) {
        return 0;
    }
    // No shortcut for ASCII: some languages order pairs of ASCII letters as one letter, and not in
    // every mix of case.
    const detail::EIcuText leftText(left);
    const detail::EIcuText rightText(right);
    return ucol_strcoll(installed.load(std::memory_order_acquire), leftText.Units(),
                        leftText.Length(), rightText.Units(), rightText.Length());
}

std::size_t IcuKey(std::string_view text, char* key, std::size_t capacity) {
    const detail::EIcuText units(text);
    // The key keeps ICU's terminator, which sorts below every other byte and so changes no order.
    // Without it a key would need a buffer of one byte more than its length.
    const auto room = static_cast<std::int32_t>(
        std::min<std::size_t>(capacity, std::numeric_limits<std::int32_t>::max()));
    const std::int32_t length =
        ucol_getSortKey(installed.load(std::memory_order_acquire), units.Units(), units.Length(),
                        reinterpret_cast<std::uint8_t*>(key), room);
    if (length <= 0) {
        throw std::bad_alloc();  // ICU fails here only if memory runs out
    }
    return static_cast<std::size_t>(length);
}

void ThrowIfOutOfMemory(UErrorCode status) {
    if (status == U_MEMORY_ALLOCATION_ERROR) {
        throw std::bad_alloc();
    }
}

// ICU's name of a locale; false with `error` for an unknown language. Throws std::bad_alloc.
bool FindLocale(const char* locale, std::string& name, std::string& error) {
    std::array<char, ULOC_FULLNAME_CAPACITY> full{};
    UErrorCode status = U_ZERO_ERROR;
    uloc_canonicalize(locale, full.data(), static_cast<std::int32_t>(full.size()), &status);
    ThrowIfOutOfMemory(status);
    const bool fits = U_SUCCESS(status) && status != U_STRING_NOT_TERMINATED_WARNING;
    name = fits ? full.data() : "";
    // The POSIX locale sorts capitals before small letters, against the contract of this order.
    if (name == "c" || name == "posix" || name == "en_US_POSIX") {
        name.clear();
    }
    // Checked here, because ICU opens its root order for every unknown name.
    const bool anyLanguage = name.empty() || name.front() == '_' || name.front() == '@';
    if (!fits || (!anyLanguage && *uloc_getISO3Language(name.c_str()) == '\0')) {
        error = std::string("no such locale: ") + (locale != nullptr ? locale : name.c_str());
        return false;
    }
    return true;
}

// The collator of this name, made once; null with `error`. Throws std::bad_alloc.
const UCollator* CollatorOf(const std::string& name, std::string& error) {
    // Never destroyed: other threads may compare until the process ends.
    static auto& collators = *new std::map<std::string, const UCollator*>;
    static constinit std::mutex lock;
    const std::scoped_lock hold(lock);
    const UCollator*& known = collators[name];
    if (known != nullptr) {
        return known;
    }
    UErrorCode status = U_ZERO_ERROR;
    UCollator* const collator = ucol_open(name.c_str(), &status);
    // The keywords of a locale may set a case level or another strength.
    ucol_setAttribute(collator, UCOL_STRENGTH, UCOL_SECONDARY, &status);
    ucol_setAttribute(collator, UCOL_CASE_LEVEL, UCOL_OFF, &status);
    // Without normalization a combining accent might sort otherwise than the accented letter.
    ucol_setAttribute(collator, UCOL_NORMALIZATION_MODE, UCOL_ON, &status);
    if (U_FAILURE(status)) {
        ucol_close(collator);
        ThrowIfOutOfMemory(status);
        error = "no order for the locale " + name + ": " + u_errorName(status);
        return nullptr;
    }
    known = collator;
    return known;
}

}  // namespace

bool InstallIcuLocaleOrder(const char* locale, std::string& error) {
    std::string name;
    if (!FindLocale(locale, name, error)) {
        return false;
    }
    const UCollator* const collator = CollatorOf(name, error);
    if (collator == nullptr) {
        return false;
    }
    installed.store(collator, std::memory_order_release);
    Chaine::SetLocaleOrder(&IcuCompare, &IcuKey);
    return true;
}

}  // namespace etabulon
