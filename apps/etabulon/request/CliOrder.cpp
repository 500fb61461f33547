#include "apps/etabulon/request/CliOrder.h"

#include "apps/etabulon/output/CliUtf8.h"
#include "apps/etabulon/request/CliSuggest.h"
#include "etabulon/cross/ECrossTable.h"
#include "etabulon/cumul/ETabulonCumulFunc.h"
#include "etabulon/foundation/ERef.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>

namespace etabulon {
namespace {

constexpr std::string_view kTotalWord = "total";

bool IsWord(const CliPath& path, std::string_view word) {
    const CliPathStep& step = path.steps.front();
    return path.steps.size() == 1 && !step.isQuoted && !step.table && step.name == word;
}

/// FUNCTION:column of a calculation.
std::string WrittenCalculation(const CliCalculation& calculation) {
    return calculation.function + ":" + calculation.variable.written;
}

CliResult<unsigned int> FindCalculation(const CliPath& function, const CliPath& operand,
                                        const std::string& shown, std::string_view option,
                                        const CliTable& table,
                                        const CliCalculations& calculations) {
    const CliResult<CliVariable> variable = table.FindVariable(operand);
    const auto isItsFunction = [&function](const CliCalculation& each) {
        return function.steps.size() == 1 &&
               Lowered(each.function) == Lowered(function.steps.front().name);
    };
    if (!variable &&
        std::none_of(calculations.all.begin(), calculations.all.end(), isItsFunction)) {
        return CliFailure{
            CliExit::Usage,
            fmt::format("{} in {} is none of the calculations of --calc, such as {}, "
                        "and no column with :asc or :desc behind it",
                        Quoted(shown), option, WrittenCalculation(calculations.all.front()))};
    }
    if (!variable) {
        return variable.Failure();
    }
    std::vector<std::string> names;
    for (unsigned int index = 0; index < calculations.all.size(); ++index) {
        const CliCalculation& each = calculations.all[index];
        if (each.variable.code == variable->code && isItsFunction(each)) {
            return index;
        }
        names.push_back(WrittenCalculation(each));
    }
    return CliFailure{CliExit::Usage,
                      fmt::format("{} in {} isn't one of the calculations of --calc{}",
                                  Quoted(shown), option, WhatThereIs(shown, names))};
}

/// Reads the keys of one order.
class OrderReader {
public:
    explicit OrderReader(const CliOrderScope& scope) : scope_(scope) {}

    [[nodiscard]] CliResult<ECrossKey> Read(const CliOrderChoice& choice) const {
        if (choice.value) {
            return ReadCell(choice);
        }
        const std::optional<unsigned int> level = FindLevel(choice, scope_.own);
        if (level) {
            return LabelKey(choice, *level);
        }
        ECrossKey key{ECrossKey::Total, choice.isFalling.value_or(true)};
        key.calculation = static_cast<unsigned int>(scope_.shown);
        if (!choice.operand && IsWord(choice.data, kTotalWord)) {
            return key;
        }
        if (!choice.operand) {
            return NoSuchKey(choice);
        }
        const CliResult<unsigned int> calculation =
            FindCalculation(choice.data, *choice.operand, choice.shown, scope_.option,
                            scope_.levels.levels.Table(), scope_.calculations);
        if (!calculation) {
            return calculation.Failure();
        }
        key.calculation = *calculation;
        return key;
    }

private:
    [[nodiscard]] const CliLevel& Level(unsigned int id) const {
        return scope_.levels.levels.all[id];
    }
    /// The level that the key names by its data, with or without its label.
    [[nodiscard]] std::optional<unsigned int> FindLevel(const CliOrderChoice& choice,
                                                        std::span<const unsigned int> ids) const {
        const CliTable& table = scope_.levels.levels.Table();
        const CliResult<CliVariable> data = table.FindVariable(choice.data);
        if (!data) {
            return std::nullopt;
        }
        const auto found = std::find_if(ids.begin(), ids.end(), [&](unsigned int id) {
            return Level(id).data.code == data->code;
        });
        if (found == ids.end()) {
            return std::nullopt;
        }
        if (choice.operand) {
            const CliResult<CliVariable> label = table.FindVariable(*choice.operand);
            if (!label || !(label->code == Level(*found).label.code)) {
                return std::nullopt;
            }
        }
        return *found;
    }
    [[nodiscard]] ECrossKey LabelKey(const CliOrderChoice& choice, unsigned int level) const {
        ECrossKey key{ECrossKey::Label};
        key.level = level;
        for (unsigned int index = 0; index < scope_.levels.keys.Size(); ++index) {
            if (scope_.levels.keys[index].Level() == level) {
                key.isFalling = scope_.levels.keys[index].IsReverseOrder();
            }
        }
        key.isFalling = choice.isFalling.value_or(key.isFalling);
        return key;
    }
    [[nodiscard]] CliResult<ECrossKey> ReadCell(const CliOrderChoice& choice) const {
        const std::optional<unsigned int> level = FindLevel(choice, scope_.across);
        if (!level || *level != scope_.across.front()) {
            return NoSuchKey(choice);
        }
        const CliResult<ETabulonValue> value =
            ReadValue(Level(*level).data, "level", *choice.value);
        if (!value) {
            return value.Failure();
        }
        ECrossKey key{ECrossKey::Cell, choice.isFalling.value_or(true)};
        key.calculation = static_cast<unsigned int>(scope_.shown);
        key.across.SetValue(*level, *value);
        return key;
    }
    [[nodiscard]] CliFailure NoSuchKey(const CliOrderChoice& choice) const {
        std::vector<std::string> names;
        for (const unsigned int id : scope_.own) {
            names.push_back(Level(id).data.written);
        }
        for (const CliCalculation& calculation : scope_.calculations.all) {
            names.push_back(WrittenCalculation(calculation));
        }
        if (!scope_.across.empty()) {
            names.push_back(Level(scope_.across.front()).data.written + "=...");
        }
        return {CliExit::Usage,
                fmt::format("{} can't sort by {}{}", scope_.option, Quoted(choice.shown),
                            WhatThereIs(choice.shown, names))};
    }

    const CliOrderScope& scope_;
};

}  // namespace

CliResult<std::vector<ECrossKey>> ReadOrder(std::string_view text, const CliOrderScope& scope) {
    const CliResult<std::vector<CliOrderChoice>> choices = ParseOrder(text);
    if (!choices) {
        return choices.Failure();
    }
    std::vector<ECrossKey> keys;
    for (const CliOrderChoice& choice : *choices) {
        CliResult<ECrossKey> key = OrderReader(scope).Read(choice);
        if (!key) {
            return key.Failure();
        }
        keys.push_back(std::move(*key));
    }
    return keys;
}

CliResult<CliResultOrder> ReadResultOrder(std::string_view text, std::string_view option,
                                          const CliTable& table,
                                          const CliCalculations& calculations) {
    const CliResult<std::vector<CliOrderChoice>> choices = ParseOrder(text);
    if (!choices) {
        return choices.Failure();
    }
    if (calculations.all.empty() || choices->size() != 1 || !choices->front().operand) {
        return CliFailure{
            CliExit::Usage,
            calculations.all.empty()
                ? fmt::format("{} sorts by a calculation: --calc is missing", option)
                : fmt::format("{} takes one of the calculations of --calc, such as {}", option,
                              WrittenCalculation(calculations.all.front()))};
    }
    const CliOrderChoice& choice = choices->front();
    const CliResult<unsigned int> calculation =
        FindCalculation(choice.data, *choice.operand, choice.shown, option, table, calculations);
    if (!calculation) {
        return calculation.Failure();
    }
    return CliResultOrder{*calculation, choice.isFalling.value_or(true)};
}

CliResult<> CheckShares(const CliCalculations& calculations, unsigned int index,
                        std::string_view option) {
    const auto calculation =
        ERef<ETabulonCumulFuncOnVar>::Adopt(calculations.collection.Calculation(index));
    if (ECrossTable::HasShares(*calculation->Function())) {
        return {};
    }
    return CliFailure{CliExit::Usage,
                      fmt::format("{} can't show {} in percent: only what COUNT, COUNTVAL and SUM "
                                  "give adds up to its total",
                                  option, calculations.all[index].shown)};
}

CliResult<> CheckOthers(const CliCalculations& calculations) {
    for (const CliCalculation& calculation : calculations.all) {
        if (calculation.function == "CODEMIN") {
            return CliFailure{
                CliExit::Usage,
                fmt::format("--others can't put {} together: where values are missing, the lowest "
                            "of several lines isn't known by theirs; CODELOWEST leaves missing "
                            "values out",
                            calculation.shown)};
        }
    }
    return {};
}

CliResult<std::vector<unsigned int>> ReadShares(std::string_view text, std::string_view option,
                                                const CliTable& table,
                                                const CliCalculations& calculations) {
    const CliResult<std::vector<CliLevelChoice>> choices = ParseLevels(text);
    if (!choices) {
        return choices.Failure();
    }
    std::vector<unsigned int> shares;
    for (const CliLevelChoice& choice : *choices) {
        if (!choice.label) {
            return CliFailure{CliExit::Usage,
                              fmt::format("{} in {} isn't written as FUNCTION:column, such as {}",
                                          Quoted(choice.shown), option,
                                          WrittenCalculation(calculations.all.front()))};
        }
        const CliResult<unsigned int> index =
            FindCalculation(choice.data, *choice.label, choice.shown, option, table, calculations);
        if (!index) {
            return index.Failure();
        }
        if (const CliResult<> checked = CheckShares(calculations, *index, option); !checked) {
            return checked.Failure();
        }
        shares.push_back(*index);
    }
    return shares;
}

}  // namespace etabulon
