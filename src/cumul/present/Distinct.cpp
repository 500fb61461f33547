#include "cumul/present/PresentFunction.h"
#include "cumul/present/StateFold.h"
#include "etabulon/foundation/detail/EHashMix.h"
#include "etabulon/foundation/detail/HashIndex.h"
#include "foundation/EVariantAccess.h"
#include "foundation/EVariantNumber.h"
#include "foundation/EVariantOrderKey.h"

#include <string>
#include <vector>

namespace etabulon::detail {
namespace {

/// Some bytes that only equal values have: of a whole number its 8 bytes, of other numbers and of
/// dates their key in the order of values, of texts their own.
std::string_view IdentityOf(const EVariant& value, std::string& holder) {
    const EContent content = EVariantAccess::Read(value);
    holder.clear();
    switch (content.info->valueClass) {
        case EValueClass::Number: {
            const ENumber number = ReadNumber(content);
            const bool isWhole = number.IsExact() && number.scale == 0 &&
                                 number.whole == ClampTo<std::int64_t>(number.whole);
            if (!isWhole) {
                break;
            }
            const auto whole = static_cast<std::int64_t>(number.whole);
            holder.append(reinterpret_cast<const char*>(&whole), sizeof whole);
            return holder;
        }
        case EValueClass::Date:
            break;
        case EValueClass::Text:
            if (!content.info->folds) {
                return TextOf(content);
            }
            break;
        default:
            return content.Raw();
    }
    AppendOrderKey(value, holder);
    return holder;
}

/// Byte strings, each once. A handful is searched one by one: most cells of a sparse table have no
/// more.
class IdentitySet {
public:
    [[nodiscard]] std::uint32_t Size() const noexcept {
        return static_cast<std::uint32_t>(ends_.size());
    }
    [[nodiscard]] std::string_view At(std::size_t index) const noexcept {
        const std::size_t begin = index == 0 ? 0 : ends_[index - 1];
        return std::string_view(bytes_).substr(begin, ends_[index] - begin);
    }
    void Add(std::string_view bytes) {
        const std::uint32_t hash = HashBytes(bytes.data(), bytes.size());
        if (Has(bytes, hash)) {
            return;
        }
        bytes_ += bytes;
        ends_.push_back(bytes_.size());
        if (Size() <= kHandful) {
            return;
        }
        index_.Reserve(Size());
        while (index_.Size() + 1 < Size()) {
            const std::string_view added = At(index_.Size());
            index_.Add(HashBytes(added.data(), added.size()),
                       static_cast<std::int32_t>(index_.Size()));
        }
        index_.Add(hash, static_cast<std::int32_t>(Size() - 1));
    }

private:
    static constexpr std::uint32_t kHandful = 12;

    [[nodiscard]] bool Has(std::string_view bytes, std::uint32_t hash) const {
        if (Size() > kHandful) {
            return index_.Find(hash, [&](std::int32_t at) {
                return At(static_cast<std::size_t>(at)) == bytes;
            }) >= 0;
        }
        for (std::size_t at = 0; at < Size(); ++at) {
            if (At(at) == bytes) {
                return true;
            }
        }
        return false;
    }

    std::string bytes_;
    std::vector<std::size_t> ends_;
    HashIndex index_;  // of all, once they are more than a handful
};

struct DistinctFold {
    struct State {
        IdentitySet values;
        bool hasRecords = false;
    };
    using Value = const EVariant&;

    static void Add(State& state, const EVariant& value) {
        thread_local std::string holder;
        state.hasRecords = true;
        state.values.Add(IdentityOf(value, holder));
    }
    static void AddMissing(State& state) noexcept { state.hasRecords = true; }
    static void Merge(State& state, const State& from) {
        state.hasRecords = state.hasRecords || from.hasRecords;
        for (std::size_t at = 0; at < from.values.Size(); ++at) {
            state.values.Add(from.values.At(at));
        }
    }
    static std::optional<EVariant> Finish(const State& state, double /*argument*/) {
        return state.hasRecords ? std::optional(EVariant(state.values.Size())) : std::nullopt;
    }
};

}  // namespace

const PresentKind kDistinct = {"DISTINCT", "Valeurs distinctes", PresentKind::For::All,
                               PresentKind::Result::Count, &StartState<DistinctFold>};

}  // namespace etabulon::detail
