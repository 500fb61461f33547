#include "etabulon/report/EReportWriter.h"

#include <functional>
#include <set>
#include <utility>

namespace etabulon {

void GiveNames(std::span<EReportColumn> columns) {
    std::set<std::string, std::less<>> given;
    for (const EReportColumn& column : columns) {
        given.insert(column.name);
    }
    std::set<std::string, std::less<>> met;
    for (EReportColumn& column : columns) {
        if (met.insert(column.name).second) {
            continue;
        }
        std::string name;
        for (unsigned int number = 2; name.empty() || !given.insert(name).second; ++number) {
            name = column.name + '_' + std::to_string(number);
        }
        column.name = std::move(name);
        met.insert(column.name);
    }
}

}  // namespace etabulon
