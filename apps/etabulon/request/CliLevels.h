#pragma once

#include "apps/etabulon/request/CliDictionary.h"
#include "apps/etabulon/request/CliFailure.h"
#include "apps/etabulon/request/CliPath.h"
#include "etabulon/values/ETabulonLevels.h"
#include "etabulon/values/ETabulonTag.h"

#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace etabulon {

/// A level as it was asked for. Its place in CliLevels is its identifier.
struct CliLevel {
    std::string shown;
    CliVariable data;
    CliVariable label;  // the data itself without one
    [[nodiscard]] bool HasLabel() const noexcept { return !(label.code == data.code); }
};

class CliLevels {
public:
    std::vector<CliLevel> all;
    ETabulonLevels levels;

    /// Requires that there is no level of these data.
    void Add(CliLevel level);
    /// The identifier of the level whose data have this code.
    [[nodiscard]] std::optional<unsigned int> Find(const Chaine& code) const;

private:
    std::unordered_map<std::string, unsigned int> byCode_;
};

/// The levels that `text` names, on a table.
[[nodiscard]] bool MakeLevels(const CliDictionary& dictionary, const ESqlTableInfo& table,
                              std::string_view text, CliLevels& levels, CliFailure& failure);

/// A value as the variable's type has it; null for NULL without quotes. `what` it is of.
[[nodiscard]] bool ReadValue(const CliVariable& variable, std::string_view what,
                             const CliWordChoice& word, ETabulonValue& value, CliFailure& failure);

/// The level of these data, and its identifier; a new one, as it is written in `shown`, if there is
/// none.
[[nodiscard]] bool FindOrAddLevel(const CliDictionary& dictionary, const ESqlTableInfo& table,
                                  const CliPath& data, const std::string& shown, CliLevels& levels,
                                  unsigned int& id, CliFailure& failure);

/// The place that `text` names, whose levels must be among `levels`: values as ReadValue has them.
[[nodiscard]] bool MakeTag(const CliDictionary& dictionary, const ESqlTableInfo& table,
                           const CliLevels& levels, std::string_view text, ETabulonTag& tag,
                           CliFailure& failure);

/// The identifiers of the levels that `text` names, as --levels does or without their labels. Each
/// of what `option` is given must be one of `levels`.
[[nodiscard]] bool FindLevels(const CliDictionary& dictionary, const ESqlTableInfo& table,
                              const CliLevels& levels, std::string_view text,
                              std::string_view option, std::set<unsigned int>& found,
                              CliFailure& failure);

/// Values of the type code are numbers to whoever reads them.
[[nodiscard]] bool IsNumber(int type);
/// What values of a type code are called.
[[nodiscard]] std::string TypeName(int type);

}  // namespace etabulon
