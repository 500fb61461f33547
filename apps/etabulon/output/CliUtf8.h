#pragma once

#include "etabulon/foundation/detail/Utf8.h"
#include "etabulon/report/EReportText.h"

#include <string>
#include <string_view>

namespace etabulon {

using detail::FirstCharacter;

/// A name for a sentence: in single quotes, in the form of AppendShown.
[[nodiscard]] inline std::string Quoted(std::string_view name) {
    std::string shown = "'";
    AppendShown(shown, name);
    shown += '\'';
    return shown;
}

}  // namespace etabulon
