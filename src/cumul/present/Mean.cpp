#include "cumul/present/PresentFunction.h"
#include "cumul/present/StateFold.h"

namespace etabulon::detail {
namespace {

struct MeanFold : PresentOnly {
    struct State {
        double sum = 0;
        std::uint64_t values = 0;
    };
    using Value = double;

    static void Add(State& state, double value) noexcept {
        state.sum += value;
        ++state.values;
    }
    static void Merge(State& state, const State& from) noexcept {
        state.sum += from.sum;
        state.values += from.values;
    }
    static std::optional<EVariant> Finish(const State& state, double /*argument*/) {
        if (state.values == 0) {
            return std::nullopt;
        }
        return EVariant::FromDouble(state.sum / static_cast<double>(state.values));
    }
};

}  // namespace

const PresentKind kMean = {"MEAN", "Moyenne des valeurs", PresentKind::For::Numbers,
                           PresentKind::Result::Real, &StartState<MeanFold>};

}  // namespace etabulon::detail
