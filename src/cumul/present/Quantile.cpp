#include "cumul/present/PresentFunction.h"
#include "cumul/present/StateFold.h"

#include <algorithm>
#include <vector>

namespace etabulon::detail {
namespace {

/// In the order of variants: NaN is below all others.
bool IsLess(double left, double right) noexcept { return !(left >= right) && right == right; }

constexpr std::size_t kPercent = 100;

/// Between the two values around (n - 1) * percent / 100, by their distance: definition 7 of
/// Hyndman and Fan, "Sample quantiles in statistical packages", The American Statistician 50, 1996.
struct QuantileFold : PresentOnly {
    struct State {
        std::vector<double> values;
    };
    using Value = double;

    static void Add(State& state, double value) { state.values.push_back(value); }
    static void Merge(State& state, const State& from) {
        state.values.insert(state.values.end(), from.values.begin(), from.values.end());
    }
    static std::optional<EVariant> Finish(const State& state, double percent) {
        if (state.values.empty()) {
            return std::nullopt;
        }
        thread_local std::vector<double> sorted;
        sorted = state.values;
        // Of whole numbers, so that a position between two values isn't rounded twice.
        const std::size_t position = (sorted.size() - 1) * static_cast<std::size_t>(percent);
        const auto below = sorted.begin() + static_cast<std::ptrdiff_t>(position / kPercent);
        std::nth_element(sorted.begin(), below, sorted.end(), &IsLess);
        const double rest = static_cast<double>(position % kPercent) / kPercent;
        double quantile = *below;
        if (rest > 0) {
            const double above = *std::min_element(below + 1, sorted.end(), &IsLess);
            quantile += above == quantile ? 0 : rest * (above - quantile);
        }
        return EVariant::FromDouble(quantile);
    }
};

}  // namespace

const PresentKind kMedian = {"MEDIAN", "Médiane", PresentKind::For::Numbers,
                             PresentKind::Result::Real, &StartState<QuantileFold>};
const PresentKind kPercentile = {"P90", "Centile", PresentKind::For::Numbers,
                                 PresentKind::Result::Real, &StartState<QuantileFold>};

}  // namespace etabulon::detail
