#include "grid/ResultKeys.h"

#include "etabulon/foundation/EDataType.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <numeric>

namespace etabulon::detail {

bool NumberKey(const EVariant& number, std::uint64_t& key) {
    constexpr std::uint64_t kSign = std::uint64_t{1} << 63;
    switch (TypeInfo(number.Type()).storage) {
        case EStorage::Double: {
            double value = number.AsDouble();
            if (value != value) {
                return false;
            }
            value = value == 0 ? 0 : value;  // the two zeros are equal
            std::memcpy(&key, &value, sizeof key);
            key = (key & kSign) != 0 ? ~key : key | kSign;
            return true;
        }
        case EStorage::Int32:
        case EStorage::Int64:
        case EStorage::UInt32:
            key = static_cast<std::uint64_t>(number.AsInt64()) ^ kSign;
            return true;
        default:
            return false;
    }
}

// A radix sort of 11 bits at a time, from the lowest (Knuth, The Art of Computer Programming,
// volume 3, section 5.2.5, algorithm R). Digits that all keys share cost no pass over the lines.
void SortByKeys(std::span<const std::uint64_t> keys, std::vector<std::uint32_t>& lines) {
    constexpr unsigned int kDigitBits = 11;
    constexpr std::size_t kDigits = std::size_t{1} << kDigitBits;
    std::uint64_t differing = 0;
    for (const std::uint64_t key : keys) {
        differing |= key ^ keys[0];
    }
    struct Keyed {
        std::uint64_t key;
        std::uint32_t line;
    };
    std::vector<Keyed> sorted;
    sorted.reserve(lines.size());
    for (const std::uint32_t line : lines) {
        sorted.push_back({keys[line], line});
    }
    std::vector<Keyed> next(lines.size());
    for (unsigned int shift = 0; shift < 64; shift += kDigitBits) {
        if ((differing >> shift) % kDigits == 0) {
            continue;
        }
        std::array<std::uint32_t, kDigits> ends{};
        for (const Keyed& keyed : sorted) {
            ++ends[(keyed.key >> shift) % kDigits];
        }
        std::partial_sum(ends.begin(), ends.end(), ends.begin());
        for (std::size_t at = sorted.size(); at-- > 0;) {
            next[--ends[(sorted[at].key >> shift) % kDigits]] = sorted[at];
        }
        sorted.swap(next);
    }
    std::transform(sorted.begin(), sorted.end(), lines.begin(),
                   [](const Keyed& keyed) { return keyed.line; });
}

bool ResultKeys::Make(const ETabulonValue& result, std::uint64_t& key) {
    if (IsMissing(result)) {
        key = 0;
        return true;
    }
    if (result.Status() != ETabulonValue::ValNormal) {
        key = 1;
        return true;
    }
    const EVariant& data = result.Data();
    type_ = type_ < 0 ? int{data.Type()} : type_;
    return int{data.Type()} == type_ && NumberKey(data, key) && key >= kFirstOfNumbers;
}

std::vector<std::uint64_t> ResultKeys::Ranks(const std::vector<ETabulonValue>& results) {
    std::vector<std::uint32_t> sorted(results.size());
    std::iota(sorted.begin(), sorted.end(), 0U);
    const auto compare = [&results](std::uint32_t a, std::uint32_t b) {
        const ETabulonValue& left = IsMissing(results[a]) ? ETabulonValue::Null : results[a];
        const ETabulonValue& right = IsMissing(results[b]) ? ETabulonValue::Null : results[b];
        return left.Compare(right, /*byDisplay=*/false);
    };
    std::stable_sort(sorted.begin(), sorted.end(),
                     [&compare](std::uint32_t a, std::uint32_t b) { return compare(a, b) < 0; });
    std::vector<std::uint64_t> ranks(results.size());
    for (std::size_t at = 1; at < sorted.size(); ++at) {
        ranks[sorted[at]] = ranks[sorted[at - 1]] + (compare(sorted[at - 1], sorted[at]) != 0);
    }
    return ranks;
}

}  // namespace etabulon::detail
