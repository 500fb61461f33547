#pragma once

#include <cstdint>
#include <string>

namespace etabulon::bench {

/// How many rows the benchmarks run on; a smoke run only shows that everything works.
struct Sizes {
    std::int64_t small;
    std::int64_t large;
    int pairs;  // of floor and ours
};

[[nodiscard]] bool IsSmokeRun();
[[nodiscard]] const Sizes& RunSizes();

/// The path of an SQLite file with the generated tables, made at the first call and kept in the
/// folder that ETABULON_BENCH_DIR names, else the temporary folder. Ends the program on failure.
///
/// orders  `rows` rows of 11 columns: id INTEGER PRIMARY KEY, country (40, skewed), city (2,000,
///         follows from country), customer (50,000, follows from city), category (12), product
///         (600, follows from category), month (60, in the order of id), salesperson (200),
///         quantity INTEGER, amount REAL (multiples of 1/64, so that sums are exact in any order),
///         discount REAL (the same; 15 % NULL). Each block of 50,000 rows has each customer once.
/// codes   rows / 5 rows: id INTEGER PRIMARY KEY, code TEXT, all distinct and in no order.
///
/// Within one column all texts have one length and one pattern of capitals and blanks, so that byte
/// order and locale order agree.
[[nodiscard]] const std::string& OrdersFile(std::int64_t rows);

/// The same with one table in a file of its own:
///
/// deliveries  `rows` rows: id INTEGER PRIMARY KEY, place (40), day DATE (1,826 from 2020 on, in no
///             order), at TIMESTAMP (a second of that day, nearly all distinct), month INTEGER
///             (that of the day, 1 to 12), amount REAL (multiples of 1/64).
[[nodiscard]] const std::string& DeliveriesFile(std::int64_t rows);

}  // namespace etabulon::bench
