#pragma once

#include "etabulon/foundation/DDico.h"

#include <cstddef>
#include <string_view>
#include <vector>

namespace etabulon::detail {

inline constexpr std::string_view kLinkMarks = "\x3E\xBB";

/// One step as written: [rubric "."] name ["[" index "]"].
struct PathStep {
    std::string_view rubric;  // empty if not written
    std::string_view name;
    int index = 0;
    bool isBad = true;
};

/// Parses one step. An empty text is a step without a name, and bad.
[[nodiscard]] PathStep ReadPathStep(std::string_view text) noexcept;

/// From a record to one of another rubric: OwnVariables() of the first have the values of
/// KeyVariables() of the second.
struct PathHop {
    const DLink* link = nullptr;
    bool isBackward = false;
    unsigned int index = 0;  // of the element read where an own variable is an array
    DRubric* to = nullptr;

    [[nodiscard]] const std::vector<unsigned int>& OwnVariables() const noexcept {
        return isBackward ? link->TargetVariables() : link->variables;
    }
    [[nodiscard]] const std::vector<unsigned int>& KeyVariables() const noexcept {
        return isBackward ? link->variables : link->TargetVariables();
    }
    friend bool operator==(const PathHop& a, const PathHop& b) noexcept = default;
};

/// A resolved path: where it starts, its hops, and the variable that is read at the end.
struct LinkPath {
    DRubric* start = nullptr;
    std::vector<PathHop> hops;
    DVariable* variable = nullptr;
    unsigned int index = 0;
};

/// False, with an unusable `resolved`, when a name, an index or the number of steps is wrong.
[[nodiscard]] bool ResolveLinkPath(const DDico& dico, std::string_view path, LinkPath& resolved);

}  // namespace etabulon::detail
