#include "apps/etabulon/request/CliCalculations.h"

#include "apps/etabulon/output/CliUtf8.h"
#include "apps/etabulon/request/CliLevels.h"
#include "apps/etabulon/request/CliSuggest.h"
#include "etabulon/cumul/ETabulonCumulFunc.h"
#include "etabulon/cumul/PresentFunctions.h"
#include "etabulon/foundation/DDico.h"
#include "etabulon/foundation/EDataType.h"
#include "etabulon/foundation/ERef.h"
#include "etabulon/report/EReportCross.h"
#include "etabulon/sql/ESqlSchema.h"
#include "etabulon/values/ETabulonVariableDesc.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace etabulon {
namespace {

constexpr unsigned int kWideSize = 8;

struct ValueType {
    int code;
    unsigned int size;
};

/// The type that a variable is declared with for a function. A result has the type of its variable,
/// which is too narrow for an average of whole numbers and for a sum of small ones.
ValueType TypeFor(const std::string& function, const DVariable& variable) {
    const int type = int{variable.TypeCode()};
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

/// Null where the variable has no such function.
ERef<ETabulonCumulFunc> FindFunction(const ETabulonVariableDesc& variable, const Chaine& code) {
    auto function = ERef<ETabulonCumulFunc>::Adopt(variable.Functions().GetFunction(code));
    return function ? function : FindPresentFunction(code, variable.DataType());
}

bool IsQuantile(std::string_view code) {
    return code.size() > 1 && (code.front() == 'P' || code.front() == 'p') &&
           code.find_first_not_of("0123456789", 1) == std::string_view::npos;
}

/// Those that a variable has: all of them, for what a message says of another one.
std::string FunctionsOf(const ETabulonVariableDesc& variable, std::string_view wanted) {
    std::vector<std::string> ofRecords;
    const ETabulonCumulFuncCollection& functions = variable.Functions();
    for (unsigned int index = 0; index < functions.Size(); ++index) {
        const auto function = ERef<ETabulonCumulFunc>::Adopt(functions.GetFunction(index));
        ofRecords.emplace_back(function->Code().View());
    }
    std::vector<std::string> ofValues;
    bool hasQuantiles = false;
    for (const Chaine& code : PresentFunctionCodes(variable.DataType())) {
        if (IsQuantile(code.View())) {
            hasQuantiles = true;
        } else {
            ofValues.emplace_back(code.View());
        }
    }
    if (hasQuantiles && IsQuantile(wanted)) {
        return "; quantiles are 'P1' to 'P99'";
    }
    std::vector<std::string> all = ofRecords;
    all.insert(all.end(), ofValues.begin(), ofValues.end());
    if (std::string meant = DidYouMean(wanted, all); !meant.empty()) {
        return meant;
    }
    return fmt::format("; of all records there are '{}'; of the values that are there '{}'{}",
                       fmt::join(ofRecords, "', '"), fmt::join(ofValues, "', '"),
                       hasQuantiles ? " and the quantiles 'P1' to 'P99'" : "");
}

ERef<ETabulonVariableDesc> Describe(const CliVariable& variable) {
    return ETabulonVariableDesc::Make(ETabulonVariableID(variable.code),
                                      variable.variable->TypeCode(), variable.variable->Size(),
                                      Chaine(variable.shown), nullptr);
}

/// A valid calculation for an error message, as close as possible to the one that was asked for.
std::string Example(const CliTable& table, const CliLevelChoice& choice) {
    if (choice.label) {
        if (const CliResult<CliVariable> variable = table.FindVariable(*choice.label)) {
            return "COUNT:" + variable->written;
        }
    }
    if (const CliResult<CliVariable> variable = table.FindVariable(choice.data)) {
        return "COUNT:" + variable->written;
    }
    for (const ESqlColumn& column : table.Info().columns) {
        const CliVariable each = table.VariableOf(column);
        const auto function = FindFunction(*Describe(each), Chaine(choice.data.steps.front().name));
        if (function.Get() != nullptr) {
            return fmt::format("{}:{}", function->Code().View(), each.written);
        }
    }
    return "COUNT:" + table.VariableOf(table.Info().columns.front()).written;
}

CliResult<CliVariable> FindOperand(const CliTable& table, const CliLevelChoice& choice) {
    if (choice.label && choice.data.steps.size() == 1 && !choice.data.steps.front().table) {
        return table.FindVariable(*choice.label);
    }
    return CliFailure{CliExit::Usage,
                      fmt::format("{} in --calc isn't written as FUNCTION:column, such as {}",
                                  Quoted(choice.shown), Example(table, choice))};
}

CliResult<> AddCalculation(const CliTable& table, const CliLevelChoice& choice,
                           CliCalculations& calculations) {
    CliResult<CliVariable> operand = FindOperand(table, choice);
    if (!operand) {
        return operand.Failure();
    }
    CliCalculation added;
    added.variable = std::move(*operand);
    const DVariable& variable = *added.variable.variable;
    const auto description = Describe(added.variable);
    const std::string& wanted = choice.data.steps.front().name;
    const auto function = FindFunction(*description, Chaine(wanted));
    if (function.Get() == nullptr) {
        return CliFailure{CliExit::Usage,
                          fmt::format("column {}, whose type is {}, has no function {}{}",
                                      Quoted(added.variable.shown), TypeName(variable.TypeCode()),
                                      Quoted(wanted), FunctionsOf(*description, wanted))};
    }
    added.function = function->Code().View();
    if (added.function.starts_with("CODE") && table.Info().keyKind == ESqlKeyKind::None) {
        return CliFailure{CliExit::Usage,
                          fmt::format("{} in --calc gives the key of a record, and {} has none",
                                      added.function, Quoted(table.Info().name.View()))};
    }
    added.shown = fmt::format("{}({})", added.function, added.variable.shown);
    for (const CliCalculation& other : calculations.all) {
        if (other.function == added.function && other.variable.code == added.variable.code) {
            return CliFailure{CliExit::Usage,
                              fmt::format("{} is given twice in --calc", added.shown)};
        }
    }
    const ValueType type = TypeFor(added.function, variable);
    added.isNumber = IsNumber(function->ResultType(type.code));
    calculations.collection.AddCalculation(function->Code(),
                                           ETabulonVariableID(added.variable.code), type.code,
                                           type.size, Chaine(added.variable.shown));
    calculations.all.push_back(std::move(added));
    return {};
}

}  // namespace

CliResult<CliCalculations> MakeCalculations(const CliTable& table, std::string_view text) {
    const CliResult<std::vector<CliLevelChoice>> choices = ParseLevels(text);
    if (!choices) {
        return choices.Failure();
    }
    if (choices->empty()) {
        return CliFailure{CliExit::Usage,
                          "there is nothing to calculate: --calc FUNCTION:column,... is missing"};
    }
    CliCalculations calculations;
    for (const CliLevelChoice& choice : *choices) {
        if (const CliResult<> added = AddCalculation(table, choice, calculations); !added) {
            return added.Failure();
        }
    }
    return calculations;
}

ETabulonValue CliCalculation::OfNoRecords() const {
    EReportNames::Calculation calculation;
    calculation.function = function;
    return calculation.OfNoRecords();
}

std::vector<ETabulonValue> CliCalculations::OfNoRecords() const {
    std::vector<ETabulonValue> values;
    for (const CliCalculation& calculation : all) {
        values.push_back(calculation.OfNoRecords());
    }
    return values;
}

std::vector<CliVariable> CliCalculations::Variables() const {
    std::vector<CliVariable> variables;
    for (const CliCalculation& calculation : all) {
        variables.push_back(calculation.variable);
    }
    return variables;
}

bool CliCalculations::AreNumbers() const {
    return std::all_of(all.begin(), all.end(),
                       [](const CliCalculation& each) { return each.isNumber; });
}

}  // namespace etabulon
