#pragma once

#include "etabulon/values/ETabulonValue.h"

#include <cstdint>
#include <span>
#include <vector>

namespace etabulon::detail {

/// The number's place in the order of its type. False for types that aren't compared as one number.
[[nodiscard]] bool NumberKey(const EVariant& number, std::uint64_t& key);

/// A stable sort of `lines`, which are indexes into `keys`.
void SortByKeys(std::span<const std::uint64_t> keys, std::vector<std::uint32_t>& lines);

/// Numbers in the order of results: first those without a value and missing ones, which a reader
/// can't tell apart, then values that differ, then the others. Equal results have equal keys.
class ResultKeys {
public:
    /// `read(index, value)` reads a result into a value, whose storage is reused.
    template <class Read>
    [[nodiscard]] static std::vector<std::uint64_t> Of(std::uint32_t count, const Read& read) {
        std::vector<std::uint64_t> keys(count);
        ResultKeys maker;
        ETabulonValue result;
        for (std::uint32_t index = 0; index < count; ++index) {
            read(index, result);
            if (!maker.Make(result, keys[index])) {
                return Ranked(count, read);
            }
        }
        return keys;
    }

private:
    static constexpr std::uint64_t kFirstOfNumbers = 2;
    [[nodiscard]] static bool IsMissing(const ETabulonValue& result) {
        return result.IsNull() ||
               (result.Status() == ETabulonValue::ValNormal && result.Data().IsMissing());
    }
    [[nodiscard]] bool Make(const ETabulonValue& result, std::uint64_t& key);
    [[nodiscard]] static std::vector<std::uint64_t> Ranks(
        const std::vector<ETabulonValue>& results);
    template <class Read>
    [[nodiscard]] static std::vector<std::uint64_t> Ranked(std::uint32_t count, const Read& read) {
        std::vector<ETabulonValue> results(count);
        for (std::uint32_t index = 0; index < count; ++index) {
            read(index, results[index]);
        }
        return Ranks(results);
    }

    int type_ = -1;  // of the numbers so far
};

}  // namespace etabulon::detail
