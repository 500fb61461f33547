#include "cumul/present/PresentFunction.h"
#include "cumul/present/StateFold.h"

#include <cmath>

namespace etabulon::detail {
namespace {

/// The sum of squared distances from the mean, value by value (Welford, "Note on a method for
/// calculating corrected sums of squares and products", Technometrics 4, 1962) and of two groups
/// (Chan, Golub, LeVeque, "Algorithms for computing the sample variance", The American Statistician
/// 37, 1983): neither subtracts two large sums.
struct Squares : PresentOnly {
    struct State {
        double mean = 0;
        double squares = 0;
        std::uint64_t values = 0;
    };
    using Value = double;

    static void Add(State& state, double value) noexcept {
        ++state.values;
        const double distance = value - state.mean;
        state.mean += distance / static_cast<double>(state.values);
        state.squares += distance * (value - state.mean);
    }
    static void Merge(State& state, const State& from) noexcept {
        if (state.values == 0 || from.values == 0) {
            state = state.values == 0 ? from : state;
            return;
        }
        const auto ours = static_cast<double>(state.values);
        const auto theirs = static_cast<double>(from.values);
        const double distance = from.mean - state.mean;
        state.mean += distance * (theirs / (ours + theirs));
        state.squares += from.squares + distance * distance * (ours * theirs / (ours + theirs));
        state.values += from.values;
    }
    static std::optional<EVariant> Deviation(const State& state, std::uint64_t left) {
        if (state.values <= left) {
            return std::nullopt;
        }
        return EVariant::FromDouble(
            std::sqrt(state.squares / static_cast<double>(state.values - left)));
    }
};

struct StdDevFold : Squares {
    static std::optional<EVariant> Finish(const State& state, double /*argument*/) {
        return Deviation(state, 1);
    }
};

struct StdDevPFold : Squares {
    static std::optional<EVariant> Finish(const State& state, double /*argument*/) {
        return Deviation(state, 0);
    }
};

}  // namespace

const PresentKind kStdDev = {"STDDEV", "Ecart type", PresentKind::For::Numbers,
                             PresentKind::Result::Real, &StartState<StdDevFold>};
const PresentKind kStdDevP = {"STDDEVP", "Ecart type (population)", PresentKind::For::Numbers,
                              PresentKind::Result::Real, &StartState<StdDevPFold>};

}  // namespace etabulon::detail
