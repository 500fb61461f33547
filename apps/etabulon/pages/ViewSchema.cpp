#include "apps/etabulon/pages/ViewSchema.h"

#include "apps/etabulon/request/CliView.h"
#include "etabulon/report/EReportJson.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <string_view>
#include <vector>

namespace etabulon {
namespace {

constexpr std::string_view kObject = R"("type": "object", "additionalProperties": false)";

std::string TypeOf(const CliViewKey& key) {
    switch (key.kind) {
        case CliViewValue::List:
            return R"("type": "array", "items": {"type": ["string", "integer"]})";
        case CliViewValue::Number:
            return R"("type": "integer", "minimum": 0)";
        case CliViewValue::Flag:
            return R"("type": "boolean")";
        default:
            break;
    }
    std::vector<std::string> values;
    for (const std::string& value : key.values) {
        values.push_back(JsonName(value));
    }
    return values.empty() ? R"("type": "string")"
                          : fmt::format(R"("enum": [{}])", fmt::join(values, ", "));
}

std::string Properties(const std::vector<CliViewKey>& keys, std::string_view indent) {
    std::vector<std::string> lines;
    for (const CliViewKey& key : keys) {
        lines.push_back(fmt::format(R"({}{}: {{{}, "description": {}}})", indent,
                                    JsonName(key.name), TypeOf(key), JsonName(key.description)));
    }
    return fmt::format("{}", fmt::join(lines, ",\n"));
}

}  // namespace

std::string MakeViewSchema(const CLI::App& program) {
    const std::vector<CliViewKey> shared = CliView::KeysOf(program, {});
    std::string text = fmt::format(
        "{{\n  \"$schema\": \"https://json-schema.org/draft/2020-12/schema\",\n"
        "  \"title\": \"A saved view of etabulon\",\n  {}, \"required\": [\"version\"],\n"
        "  \"properties\": {{\n    \"version\": {{\"const\": {}}},\n{}",
        kObject, CliViewFile::kVersion, Properties(shared, "    "));
    for (const CLI::App* const command : program.get_subcommands({})) {
        const bool isKey = std::any_of(
            shared.begin(), shared.end(),
            [command](const CliViewKey& key) { return key.name == command->get_name(); });
        if (isKey) {
            continue;
        }
        text +=
            fmt::format(",\n    {}: {{{}, \"description\": {}, \"properties\": {{\n{}\n    }}}}",
                        JsonName(command->get_name()), kObject,
                        JsonName("Only for the command " + command->get_name()),
                        Properties(CliView::KeysOf(program, command->get_name()), "      "));
    }
    return text + "\n  }\n}\n";
}

}  // namespace etabulon
