#include "apps/etabulon/request/CliCalculations.h"

#include "apps/etabulon/output/CliUtf8.h"
#include "apps/etabulon/request/CliLevels.h"
#include "apps/etabulon/request/CliSuggest.h"
#include "etabulon/cumul/ETabulonCumulFunc.h"
#include "etabulon/foundation/DDico.h"
#include "etabulon/foundation/EDataType.h"
#include "etabulon/foundation/ERef.h"
#include "etabulon/sql/ESqlSchema.h"
#include "etabulon/values/ETabulonVariableDesc.h"

#include <fmt/format.h>

namespace etabulon {
namespace {

constexpr unsigned kWideSize = 8;

struct ValueType {
    int code;
    unsigned size;
};

/// What a variable is declared as for a function: the result has the type of the variable, and an
/// average of whole numbers isn't whole, nor does a sum of small ones stay small.
ValueType TypeFor(const std::string& function, const DVariable& variable) {
    const int type = variable.TypeCode();
    const ETypeInfo& info = TypeInfo(type);
    if (function == "AVG") {
        return {TYPE_DOUBLE, kWideSize};
    }
    if (function == "SUM" && info.storage == EStorage::Float) {
        return {TYPE_DOUBLE, kWideSize};
    }
    const bool isScaled = info.storage == EStorage::Scaled32 || info.storage == EStorage::Scaled64;
    if (function == "SUM" && !isScaled && info.storage != EStorage::Double && type != TYPE_UINT64) {
        return {TYPE_INT64, kWideSize};
    }
    return {type, variable.Size()};
}

std::vector<std::string> CodesOf(const ETabulonCumulFuncCollection& functions) {
    std::vector<std::string> codes;
    for (unsigned index = 0; index < functions.Size(); ++index) {
        const auto function = ERef<ETabulonCumulFunc>::Adopt(functions.GetFunction(index));
        codes.emplace_back(function->Code().View());
    }
    return codes;
}

ERef<ETabulonVariableDesc> Describe(const CliVariable& variable) {
    return ERef<ETabulonVariableDesc>::Adopt(ETabulonVariableDesc::Build(
        ETabulonVariableID(variable.code), variable.variable->TypeCode(), variable.variable->Size(),
        Chaine(variable.shown), nullptr));
}

/// A calculation that there is, and as much like what was asked for as that makes it out.
std::string Example(const CliDictionary& dictionary, const ESqlTableInfo& table,
                    const CliLevelChoice& choice) {
    CliVariable variable;
    CliFailure unknown;
    if ((choice.label && dictionary.FindVariable(table, *choice.label, variable, unknown)) ||
        dictionary.FindVariable(table, choice.data, variable, unknown)) {
        return "COUNT:" + variable.written;
    }
    for (const ESqlColumn& column : table.columns) {
        const CliVariable each = dictionary.VariableOf(table, column);
        const auto function = ERef<ETabulonCumulFunc>::Adopt(
            Describe(each)->Functions().GetFunction(Chaine(choice.data.steps.front().name)));
        if (function.Get() != nullptr) {
            return fmt::format("{}:{}", function->Code().View(), each.written);
        }
    }
    return "COUNT:" + dictionary.VariableOf(table, table.columns.front()).written;
}

bool CheckShape(const CliDictionary& dictionary, const ESqlTableInfo& table,
                const CliLevelChoice& choice, CliFailure& failure) {
    if (choice.label && choice.data.steps.size() == 1 && !choice.data.steps.front().table) {
        return true;
    }
    return failure.Set(CliExit::Usage,
                       fmt::format("{} in --calc isn't written as FUNCTION:column, such as {}",
                                   Quoted(choice.shown), Example(dictionary, table, choice)));
}

bool AddCalculation(const CliDictionary& dictionary, const ESqlTableInfo& table,
                    const CliLevelChoice& choice, CliCalculations& calculations,
                    CliFailure& failure) {
    CliCalculation added;
    if (!CheckShape(dictionary, table, choice, failure) ||
        !dictionary.FindVariable(table, *choice.label, added.variable, failure)) {
        return false;
    }
    const DVariable& variable = *added.variable.variable;
    const ETabulonVariableID id(added.variable.code);
    const Chaine header(added.variable.shown);
    const auto description = Describe(added.variable);
    const std::string& wanted = choice.data.steps.front().name;
    const auto function =
        ERef<ETabulonCumulFunc>::Adopt(description->Functions().GetFunction(Chaine(wanted)));
    if (function.Get() == nullptr) {
        return failure.Set(
            CliExit::Usage,
            fmt::format("column {}, whose type is {}, has no function {}{}",
                        Quoted(added.variable.shown), TypeName(variable.TypeCode()), Quoted(wanted),
                        WhatThereIs(wanted, CodesOf(description->Functions()))));
    }
    added.function = function->Code().View();
    added.shown = fmt::format("{}({})", added.function, added.variable.shown);
    for (const CliCalculation& other : calculations.all) {
        if (other.function == added.function && other.variable.code == added.variable.code) {
            return failure.Set(CliExit::Usage,
                               fmt::format("{} is given twice in --calc", added.shown));
        }
    }
    const ValueType type = TypeFor(added.function, variable);
    added.isNumber = IsNumber(function->ResultType(type.code));
    calculations.collection.AddCalculation(function->Code(), id, type.code, type.size, header);
    calculations.all.push_back(std::move(added));
    return true;
}

}  // namespace

bool MakeCalculations(const CliDictionary& dictionary, const ESqlTableInfo& table,
                      std::string_view text, CliCalculations& calculations, CliFailure& failure) {
    std::vector<CliLevelChoice> choices;
    if (!ParseLevels(text, choices, failure)) {
        return false;
    }
    if (choices.empty()) {
        return failure.Set(CliExit::Usage,
                           "there is nothing to calculate: --calc FUNCTION:column,... is missing");
    }
    for (const CliLevelChoice& choice : choices) {
        if (!AddCalculation(dictionary, table, choice, calculations, failure)) {
            return false;
        }
    }
    return true;
}

std::vector<CliVariable> VariablesOf(const CliCalculations& calculations) {
    std::vector<CliVariable> variables;
    for (const CliCalculation& calculation : calculations.all) {
        variables.push_back(calculation.variable);
    }
    return variables;
}

}  // namespace etabulon
