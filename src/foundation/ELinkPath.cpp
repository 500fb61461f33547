#include "foundation/ELinkPath.h"

#include "etabulon/foundation/ELinkEngine.h"

#include <algorithm>
#include <charconv>

namespace etabulon::detail {

namespace {

struct MarkedStep : PathStep {
    char mark = 0;  // after it; 0 for the last
};

/// False when there are more than kMostLinkSteps steps, or one is bad.
bool SplitPath(std::string_view path, std::vector<MarkedStep>& steps) {
    while (steps.size() < kMostLinkSteps) {
        const std::size_t end = path.find_first_of(kLinkMarks);
        MarkedStep& step = steps.emplace_back();
        static_cast<PathStep&>(step) = ReadPathStep(path.substr(0, end));
        if (step.isBad) {
            return false;
        }
        if (end == std::string_view::npos) {
            return true;
        }
        step.mark = path[end];
        path.remove_prefix(end + 1);
    }
    return false;
}

/// An index other than 0 needs an array among the variables, and must lie in every array there.
bool FitsIndex(const DRubric& rubric, const std::vector<unsigned int>& variables,
               unsigned int index) {
    bool fits = index == 0;
    for (const unsigned int variable : variables) {
        const unsigned int count = rubric.At(variable)->Count();
        if (count > 1 && index >= count) {
            return false;
        }
        fits = fits || count > 1;
    }
    return fits;
}

/// The link of `from` that points at `here` and that `name` stands for: by its own name or
/// foreign-key variable, otherwise the first that points at the variable of that name.
const DLink* FindLinkBack(const DRubric& here, const DRubric& from, const Chaine& name) {
    const DLink* const named = from.FindLink(name);
    if (named != nullptr && named->target == &here) {
        return named;
    }
    const DVariable* const variable = here.Find(name);
    if (variable == nullptr) {
        return nullptr;
    }
    for (const DLink& link : from.Links()) {
        const std::vector<unsigned int>& pointedAt = link.TargetVariables();
        if (link.target == &here &&
            std::find(pointedAt.begin(), pointedAt.end(), variable->Index()) != pointedAt.end()) {
            return &link;
        }
    }
    return nullptr;
}

/// The hop that `step` makes from `here`; its link stays null when there is none.
PathHop FindHop(const DDico& dico, const DRubric& here, const MarkedStep& step,
                const PathStep& next) {
    PathHop hop;
    hop.index = static_cast<unsigned int>(step.index);
    hop.isBackward = step.mark == kLinkBackward;
    const Chaine name(step.name);
    if (!hop.isBackward) {
        hop.link = here.FindLink(name);
        hop.to = hop.link == nullptr ? nullptr : hop.link->target;
        return hop;
    }
    hop.to = dico.Find(Chaine(next.rubric));
    if (hop.to != nullptr) {
        hop.link = FindLinkBack(here, *hop.to, name);
    }
    return hop;
}

}  // namespace

PathStep ReadPathStep(std::string_view text) noexcept {
    PathStep step;
    const std::size_t bracket = text.find_first_of("[]");
    if (bracket != std::string_view::npos) {
        const std::string_view digits = text.substr(bracket + 1);
        const char* const end = digits.data() + digits.size();
        unsigned int index = 0;
        const auto read = std::from_chars(digits.data(), end, index);
        if (text[bracket] != '[' || read.ec != std::errc() || end - read.ptr != 1 ||
            *read.ptr != ']' || index > 0xFFFF) {
            return step;
        }
        step.index = static_cast<int>(index);
        text = text.substr(0, bracket);
    }
    if (const std::size_t dot = text.find('.'); dot != std::string_view::npos) {
        step.rubric = text.substr(0, dot);
        text.remove_prefix(dot + 1);
        if (step.rubric.empty()) {
            return step;
        }
    }
    step.name = text;
    step.isBad = text.empty();
    return step;
}

bool ResolveLinkPath(const DDico& dico, std::string_view path, LinkPath& resolved) {
    std::vector<MarkedStep> steps;
    if (!SplitPath(path, steps)) {
        return false;
    }
    DRubric* here = dico.Find(Chaine(steps.front().rubric));
    resolved.start = here;
    for (std::size_t i = 0;; ++i) {
        const MarkedStep& step = steps[i];
        // A step may omit its rubric, which follows from the hops so far.
        if (here == nullptr || (!step.rubric.empty() && dico.Find(Chaine(step.rubric)) != here)) {
            return false;
        }
        if (i + 1 == steps.size()) {
            break;
        }
        const PathHop hop = FindHop(dico, *here, step, steps[i + 1]);
        if (hop.link == nullptr || hop.OwnVariables().size() != hop.KeyVariables().size() ||
            !FitsIndex(*here, hop.OwnVariables(), hop.index)) {
            return false;
        }
        resolved.hops.push_back(hop);
        here = hop.to;
    }
    resolved.variable = here->Find(Chaine(steps.back().name));
    resolved.index = static_cast<unsigned int>(steps.back().index);
    return resolved.variable != nullptr && resolved.index < resolved.variable->Count();
}

}  // namespace etabulon::detail
