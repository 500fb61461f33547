#pragma once

#include "etabulon/cursors/ETabulonCursorEData.h"
#include "support/FailingSource.h"
#include "support/MemoryTable.h"
#include "support/Tags.h"

#include <memory>
#include <vector>

namespace etabulon::test {

/// Sales in cities, cities in countries: levels by the names of both. Sale 3 has no city.
struct LinkedSales {
    LinkedSales() {
        AddVariables(*countries, {{"code", TYPE_CHAINE}, {"name", TYPE_CHAINE}}, {"code"});
        AddVariables(*cities, {{"id", TYPE_LONG}, {"name", TYPE_CHAINE}, {"country", TYPE_CHAINE}},
                     {"id"});
        cities->AddLink("land", {"country"}, countries);
        AddVariables(*rubric, {{"id", TYPE_LONG}, {"city", TYPE_LONG, kNullableLong}}, {"id"});
        rubric->AddLink("place", {"city"}, cities);
        countryTable = MakeTable(countries, {{"DE", "Germany"}, {"FR", "France"}});
        cityTable = MakeTable(cities, {{1, "Paris", "FR"}, {2, "Ulm", "DE"}, {4, "Rome", "IT"}});
        table = MakeTable(rubric, {{1, 1}, {2, 2}, {3, Missing()}, {4, 1}, {5, 4}, {6, 9}, {7, 2}});
        sources = {FailingSource::Before(*countries), FailingSource::Before(*cities)};
        ETabulonLevels levels = LevelsBy({"place>land>name", "place>name"});
        cursor.Init(levels, table.get(), /*ownsTable=*/false);
    }

    DDico dico;
    DRubric* countries = dico.AddRubric("Countries");
    DRubric* cities = dico.AddRubric("Cities");
    DRubric* rubric = dico.AddRubric("Sales");
    std::unique_ptr<EDataMemory> countryTable, cityTable, table;
    std::vector<std::shared_ptr<FailingSource>> sources;
    ETabulonCursorEData cursor;
};

}  // namespace etabulon::test
