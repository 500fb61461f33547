// The data of the guide's examples: the orders of a small shop.
#pragma once

#include "etabulon/cursors/ETabulonCursorEData.h"
#include "etabulon/foundation/DDico.h"
#include "etabulon/foundation/EDataMemory.h"

#include <memory>

enum ShopLevel : unsigned int { kCountry = 0, kCity = 1, kProduct = 2 };

struct Shop {
    Shop() {
        using namespace etabulon;
        DRubric* const orders = dictionary.AddRubric("orders");
        orders->AddVariable("id", "Id", TYPE_LONG, 4);
        for (const char* name : {"country", "city", "product"}) {
            orders->AddVariable(name, name, TYPE_CHAINE, 0);
        }
        orders->AddVariable("quantity", "Quantity", TYPE_LONG, 5);  // a byte more: may be missing
        orders->AddVariable("amount", "Amount", TYPE_DOUBLE, 9);
        orders->SetKey({"id"});

        table = std::make_unique<EDataMemory>(orders);
        const auto add = [this](int id, const char* country, const char* city, const char* product,
                                int quantity, double amount) {
            table->Append({EVariant(id), EVariant(country), EVariant(city), EVariant(product),
                           EVariant(quantity), EVariant::FromDouble(amount)});
        };
        add(1, "France", "Lyon", "Lamp", 2, 90);
        add(2, "Austria", "Graz", "Chair", 1, 120);
        add(3, "France", "Paris", "Lamp", 1, 45);
        add(4, "France", "Lyon", "Chair", 4, 480);
        add(5, "Austria", "Graz", "Lamp", 3, 135);

        levels.AddLevel("Country", "country", HICON{});
        levels.AddLevel("City", "city", HICON{});
        levels.AddLevel("Product", "product", HICON{});
        cursor.Init(levels, table.get(), /*ownsTable=*/false);
    }

    etabulon::DDico dictionary;                    // what there is; outlives what stands on it
    std::unique_ptr<etabulon::EDataMemory> table;  // the records
    etabulon::ETabulonLevels levels;               // the columns that may become levels
    etabulon::ETabulonCursorEData cursor;          // walks the table
};
