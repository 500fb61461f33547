#pragma once

#include "apps/etabulon/request/CliPath.h"
#include "apps/etabulon/request/CliResult.h"
#include "apps/etabulon/request/CliTable.h"
#include "etabulon/values/ETabulonLevels.h"
#include "etabulon/values/ETabulonTag.h"
#include "etabulon/values/ETabulonValue.h"

#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace etabulon {

/// A level that the user asked for. Its index in CliLevels is its identifier.
struct CliLevel {
    std::string shown;
    CliVariable data;
    CliVariable label;  // equal to the data if the level has no label
    [[nodiscard]] bool HasLabel() const noexcept { return !(label.code == data.code); }
    /// As --levels names it, in quotes where it needs them.
    [[nodiscard]] std::string Written() const {
        return data.written + (HasLabel() ? ':' + label.written : "");
    }
};

/// The levels of a table that a command was asked for.
class CliLevels {
public:
    explicit CliLevels(const CliTable& table) noexcept : table_(table) {}

    std::vector<CliLevel> all;
    ETabulonLevels levels;

    [[nodiscard]] const CliTable& Table() const noexcept { return table_; }
    /// Adds the levels that `text` names, as --levels lists them.
    [[nodiscard]] CliResult<> Add(std::string_view text);
    /// The identifier of the level with these data. Where there is none, it is added as it is
    /// written in `shown`.
    [[nodiscard]] CliResult<unsigned int> FindOrAdd(const CliPath& data, const std::string& shown);
    /// The same for the level of each place.
    [[nodiscard]] CliResult<> AddPlaces(const std::vector<CliPlaceChoice>& places);

    /// The identifier of the level whose data have this code.
    [[nodiscard]] std::optional<unsigned int> Find(const Chaine& code) const;
    /// The identifiers of the levels that `text` names, as --levels does or without their labels.
    /// `option` is the one that was given `text`, for messages.
    [[nodiscard]] CliResult<std::set<unsigned int>> FindAll(std::string_view text,
                                                            std::string_view option) const;
    /// The place that `text` names. Its levels must be among these; its values are as ReadValue
    /// reads them. A level with several values has none in the place.
    [[nodiscard]] CliResult<ETabulonTag> ReadTag(std::string_view text) const;

private:
    void Add(CliLevel level);
    [[nodiscard]] CliFailure NoSuchLevel(const std::string& shown, std::string_view option) const;

    CliTable table_;
    std::unordered_map<std::string, unsigned int> byCode_;
};

/// A value of the variable's type; null for NULL without quotes. `what` says for messages whether
/// the variable is a level or a column.
[[nodiscard]] CliResult<ETabulonValue> ReadValue(const CliVariable& variable, std::string_view what,
                                                 const CliWordChoice& word);

/// Values of the type code are numbers to a user; a boolean isn't.
[[nodiscard]] bool IsNumber(int type);
/// The name of a type for users.
[[nodiscard]] std::string TypeName(int type);

}  // namespace etabulon
