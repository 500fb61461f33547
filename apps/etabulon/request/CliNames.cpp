#include "apps/etabulon/request/CliNames.h"

#include "apps/etabulon/request/CliSuggest.h"

namespace etabulon {

void CliNames::Add(std::string_view name, std::string_view code) {
    names_.try_emplace(std::string(name), count_);
    lowered_.try_emplace(Lowered(name), count_);
    codes_.try_emplace(std::string(code), count_);
    ++count_;
}

std::optional<std::size_t> CliNames::Find(std::string_view name) const {
    const auto look = [](const Places& places, const std::string& text) {
        const auto found = places.find(text);
        return found == places.end() ? std::optional<std::size_t>() : found->second;
    };
    const std::string exact(name);
    if (const auto place = look(names_, exact)) {
        return place;
    }
    if (const auto place = look(lowered_, Lowered(name))) {
        return place;
    }
    return look(codes_, exact);
}

}  // namespace etabulon
