#pragma once

#include "apps/etabulon/request/CliPath.h"
#include "apps/etabulon/request/CliResult.h"
#include "etabulon/foundation/Chaine.h"
#include "etabulon/foundation/EDerivation.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace etabulon {

/// How a variable is made from another one, as written behind its name: `.year`, `.bin(1000)`.
struct CliDerivation {
    std::string written;
    std::uint32_t groups = 0;  // of bins: their bounds are those of the table's values
    EDerivation how;           // of anything else; of bins, one whose bounds are still to be found

    [[nodiscard]] bool Takes(int type) const noexcept { return how.Takes(type); }
};

/// A variable that is made from another one.
struct CliDerived {
    Chaine base;  // its code
    CliDerivation derivation;
};

/// Takes the derivation off the end of a path's last step; none where it ends in no name of one.
/// Fails where an argument is missing or wrong.
[[nodiscard]] CliResult<std::optional<CliDerivation>> TakeDerivation(CliPathStep& step);
/// The name would be read as one with a derivation at its end.
[[nodiscard]] bool LooksDerived(std::string_view name);
/// The derivations that values of a type have, for messages; empty where there are none.
[[nodiscard]] std::string DerivationsOf(int type);

}  // namespace etabulon
