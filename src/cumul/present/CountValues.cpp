#include "cumul/present/PresentFunction.h"
#include "cumul/present/StateFold.h"

namespace etabulon::detail {
namespace {

struct CountValuesFold {
    struct State {
        std::uint32_t values = 0;
        bool hasRecords = false;
    };
    using Value = bool;

    static void Add(State& state, bool /*value*/) noexcept {
        ++state.values;
        state.hasRecords = true;
    }
    static void AddMissing(State& state) noexcept { state.hasRecords = true; }
    static void Merge(State& state, const State& from) noexcept {
        state.values += from.values;
        state.hasRecords = state.hasRecords || from.hasRecords;
    }
    static std::optional<EVariant> Finish(const State& state, double /*argument*/) {
        return state.hasRecords ? std::optional(EVariant(state.values)) : std::nullopt;
    }
};

}  // namespace

const PresentKind kCountValues = {"COUNTVAL", "Nombre de valeurs", PresentKind::For::All,
                                  PresentKind::Result::Count, &StartState<CountValuesFold>};

}  // namespace etabulon::detail
