#include "etabulon/sql/UseColumns.h"

#include "etabulon/foundation/ELinkEngine.h"

#include <set>
#include <string_view>

namespace etabulon {

namespace {

constexpr char kMarks[] = {kLinkForward, kLinkBackward};
constexpr std::string_view kLinkMarks(kMarks, sizeof kMarks);

Chaine StepName(std::string_view step, const DRubric& rubric) {
    if (const std::size_t dot = step.find('.'); dot != std::string_view::npos) {
        const Chaine owner(step.substr(0, dot));
        if (!owner.EqualsFolded(rubric.Name())) {
            return {};
        }
        step.remove_prefix(dot + 1);
    }
    if (const std::size_t bracket = step.find('['); bracket != std::string_view::npos) {
        step = step.substr(0, bracket);
    }
    return Chaine(step);
}

void AddLinkColumns(std::string_view path, const DRubric& rubric, std::set<unsigned int>& columns) {
    const std::size_t mark = path.find_first_of(kLinkMarks);
    const std::string_view step = path.substr(0, mark);
    if (path[mark] == kLinkForward) {
        if (const DLink* const link = rubric.FindLink(StepName(step, rubric)); link != nullptr) {
            columns.insert(link->variables.begin(), link->variables.end());
        }
        return;
    }
    // Backward links: the columns that foreign keys of other rubrics refer to.
    for (std::size_t i = 0; i < rubric.Dico()->Size(); ++i) {
        for (const DLink& link : rubric.Dico()->At(i)->Links()) {
            if (link.target == &rubric) {
                columns.insert(link.TargetVariables().begin(), link.TargetVariables().end());
            }
        }
    }
}

void AddColumns(const ETabulonVariableID& id, const DRubric& rubric,
                std::set<unsigned int>& columns) {
    if (id.IsLink()) {
        AddLinkColumns(id.Code().View(), rubric, columns);
        return;
    }
    if (id.IsAccelerator()) {
        for (std::size_t i = 0; i < rubric.Size(); ++i) {
            if (rubric.At(i)->Accelerator() == id.Accelerator()) {
                columns.insert(static_cast<unsigned int>(i));
            }
        }
        return;
    }
    if (!id.IsValid()) {
        return;
    }
    if (const DVariable* const variable = rubric.Find(StepName(id.Code().View(), rubric));
        variable != nullptr) {
        columns.insert(variable->Index());
    }
}

}  // namespace

std::vector<unsigned int> UseColumns(const ETabulonLevels& levels,
                                     std::span<const ETabulonVariableID> others,
                                     const DRubric& rubric) {
    std::set<unsigned int> columns(rubric.Key().begin(), rubric.Key().end());
    for (unsigned int position = 0; position < levels.Size(); ++position) {
        const ETabulonLevels::Level& level = levels.GetLevel(levels.GetLevelID(position));
        AddColumns(level.DataID(), rubric, columns);
        AddColumns(level.DescID(), rubric, columns);
    }
    for (const ETabulonVariableID& id : others) {
        AddColumns(id, rubric, columns);
    }
    return {columns.begin(), columns.end()};
}

}  // namespace etabulon
