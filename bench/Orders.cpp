#include "bench/Orders.h"

#include "bench/Sqlite.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>
#include <numeric>
#include <string>
#include <utility>
#include <vector>

namespace etabulon::bench {

namespace {

// To be raised with every change of what is generated: it is part of the files' names.
constexpr int kGeneratorVersion = 1;

constexpr std::uint32_t kCountries = 40;
constexpr std::uint32_t kCities = 2000;
constexpr std::uint32_t kCustomers = 50000;
constexpr std::uint32_t kCategories = 12;
constexpr std::uint32_t kProducts = 600;
constexpr std::uint32_t kMonths = 60;
constexpr std::uint32_t kSalespersons = 200;

constexpr const char* kSchema =
    "CREATE TABLE orders (id INTEGER PRIMARY KEY, country TEXT NOT NULL, city TEXT NOT NULL,"
    " customer TEXT NOT NULL, category TEXT NOT NULL, product TEXT NOT NULL,"
    " month TEXT NOT NULL, salesperson TEXT NOT NULL, quantity INTEGER NOT NULL,"
    " amount REAL NOT NULL, discount REAL);"
    "CREATE TABLE codes (id INTEGER PRIMARY KEY, code TEXT NOT NULL);";

constexpr std::uint32_t kDays = 1826;
constexpr std::uint32_t kSecondsPerDay = 86400;
constexpr const char* kDeliveriesSchema =
    "CREATE TABLE deliveries (id INTEGER PRIMARY KEY, place TEXT NOT NULL, day DATE NOT NULL,"
    " at TIMESTAMP NOT NULL, month INTEGER NOT NULL, amount REAL NOT NULL);";

/// SplitMix64: the same numbers on every machine.
class Random {
public:
    explicit Random(std::uint64_t seed) : state_(seed) {}
    std::uint32_t Below(std::uint32_t bound) {
        state_ += 0x9E3779B97F4A7C15U;
        std::uint64_t mixed = state_;
        mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9U;
        mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EBU;
        mixed ^= mixed >> 31;
        return static_cast<std::uint32_t>(((mixed >> 32) * bound) >> 32);
    }
    void Shuffle(std::vector<std::uint32_t>& numbers) {
        for (auto left = static_cast<std::uint32_t>(numbers.size()); left > 1; --left) {
            std::swap(numbers[left - 1], numbers[Below(left)]);
        }
    }

private:
    std::uint64_t state_;
};

/// A name of its own for each index below 2^20: words of two syllables of three letters. The index
/// is scattered over them by an odd factor, so that the order of names isn't that of indexes.
std::string Name(std::uint32_t index, int words, std::uint32_t salt) {
    static constexpr char consonants[] = "bcdfghklmnprstvz";
    static constexpr char vowels[] = "aeio";
    std::string name;
    std::uint64_t scattered =
        ((index + std::uint64_t{salt} * 0x3F1) * 0x9E3779B97F4A7C15U) & 0xFFFFFFFFFFU;
    for (int syllable = 0; syllable < 2 * words; ++syllable) {
        if (syllable != 0 && syllable % 2 == 0) {
            name += ' ';
        }
        const std::size_t start = name.size();
        name += consonants[scattered & 15];
        name += vowels[(scattered >> 4) & 3];
        name += consonants[(scattered >> 6) & 15];
        scattered >>= 10;
        if (syllable % 2 == 0) {
            name[start] = static_cast<char>(name[start] - 'a' + 'A');
        }
    }
    return name;
}

std::vector<std::string> Names(std::uint32_t count, int words, std::uint32_t salt) {
    std::vector<std::string> names;
    for (std::uint32_t index = 0; index < count; ++index) {
        names.push_back(Name(index, words, salt));
    }
    return names;
}

/// What follows from what: each city has its country and each customer his city.
struct World {
    std::vector<std::string> countries = Names(kCountries, 1, 1);
    std::vector<std::string> cities = Names(kCities, 2, 2);
    std::vector<std::string> customers = Names(kCustomers, 2, 3);
    std::vector<std::string> categories = Names(kCategories, 1, 4);
    std::vector<std::string> products = Names(kProducts, 2, 5);
    std::vector<std::string> salespersons = Names(kSalespersons, 2, 6);
    std::vector<std::string> months;
    std::vector<std::uint32_t> countryOfCity;
    std::vector<std::uint32_t> cityOfCustomer;

    World() {
        Random random(20);
        for (std::uint32_t city = 0; city < kCities; ++city) {
            // The lower of three draws: the first countries have most of the cities. The first
            // city of each is given, so that none is empty.
            const std::uint32_t drawn = std::min(
                {random.Below(kCountries), random.Below(kCountries), random.Below(kCountries)});
            countryOfCity.push_back(city < kCountries ? city : drawn);
        }
        for (std::uint32_t customer = 0; customer < kCustomers; ++customer) {
            cityOfCustomer.push_back(customer < kCities ? customer : random.Below(kCities));
        }
        for (std::uint32_t month = 0; month < kMonths; ++month) {
            std::array<char, 32> text{};
            std::snprintf(text.data(), text.size(), "%04u-%02u", 2020 + month / 12, month % 12 + 1);
            months.emplace_back(text.data());
        }
    }
};

void FillOrders(Database& database, std::int64_t rows) {
    const World world;
    Statement insert(database, "INSERT INTO orders VALUES (?,?,?,?,?,?,?,?,?,?,?)");
    Random random(21);
    std::vector<std::uint32_t> turns(kCustomers);
    std::iota(turns.begin(), turns.end(), 0U);
    for (std::int64_t row = 0; row < rows; ++row) {
        const auto turn = static_cast<std::size_t>(row % kCustomers);
        if (turn == 0) {
            random.Shuffle(turns);
        }
        const std::uint32_t customer = turns[turn];
        const std::uint32_t city = world.cityOfCustomer[customer];
        const std::uint32_t product = random.Below(kProducts);
        insert.Bind(1, row + 1);
        insert.Bind(2, world.countries[world.countryOfCity[city]]);
        insert.Bind(3, world.cities[city]);
        insert.Bind(4, world.customers[customer]);
        insert.Bind(5, world.categories[product % kCategories]);
        insert.Bind(6, world.products[product]);
        insert.Bind(7, world.months[static_cast<std::size_t>(row * kMonths / rows)]);
        insert.Bind(8, world.salespersons[random.Below(kSalespersons)]);
        insert.Bind(9, std::int64_t{1} + random.Below(20));
        insert.Bind(10, (1 + random.Below(64 * 4000)) / 64.0);
        if (random.Below(100) < 15) {
            insert.BindNull(11);
        } else {
            insert.Bind(11, random.Below(32) / 64.0);
        }
        insert.Run();
    }
}

void FillCodes(Database& database, std::int64_t rows) {
    Statement insert(database, "INSERT INTO codes VALUES (?,?)");
    for (std::int64_t row = 0; row < rows; ++row) {
        insert.Bind(1, row + 1);
        insert.Bind(2, Name(static_cast<std::uint32_t>(row), 2, 7));
        insert.Run();
    }
}

void FillDeliveries(Database& database, std::int64_t rows) {
    const std::vector<std::string> places = Names(kCountries, 1, 1);
    Statement insert(database,
                     "INSERT INTO deliveries SELECT ?1, ?2, date(moment), datetime(moment),"
                     " CAST(strftime('%m', moment) AS INTEGER), ?4"
                     " FROM (SELECT datetime('2020-01-01', ?3 || ' seconds') AS moment)");
    Random random(22);
    for (std::int64_t row = 0; row < rows; ++row) {
        const std::int64_t day = random.Below(kDays);
        insert.Bind(1, row + 1);
        insert.Bind(2, places[random.Below(kCountries)]);
        insert.Bind(3, day * kSecondsPerDay + random.Below(kSecondsPerDay));
        insert.Bind(4, (1 + random.Below(64 * 4000)) / 64.0);
        insert.Run();
    }
}

/// The path of a kept file. `fill` makes its tables where there is none yet.
std::string MakeFile(const std::string& name, std::int64_t rows,
                     const std::function<void(Database&)>& fill) {
    namespace fs = std::filesystem;
    const char* chosen = std::getenv("ETABULON_BENCH_DIR");
    const fs::path folder =
        chosen != nullptr && *chosen != '\0' ? fs::path(chosen) : fs::temp_directory_path();
    const fs::path file =
        folder / ("etabulon-bench-" + name + "-v" + std::to_string(kGeneratorVersion) + "-" +
                  std::to_string(rows) + ".db");
    // Only a complete file ever has this name.
    if (fs::exists(file)) {
        return file.string();
    }
    fs::create_directories(folder);
    const fs::path unfinished = file.string() + "." + std::to_string(::getpid()) + ".unfinished";
    fs::remove(unfinished);
    std::fprintf(stderr, "generating %lld %s in %s\n", static_cast<long long>(rows), name.c_str(),
                 file.c_str());
    {
        Database database(unfinished.string(), Database::Mode::Create);
        database.Run("PRAGMA journal_mode = OFF; PRAGMA synchronous = OFF; BEGIN");
        fill(database);
        database.Run("COMMIT; ANALYZE");
    }
    fs::rename(unfinished, file);
    return file.string();
}

}  // namespace

bool IsSmokeRun() { return std::getenv("ETABULON_BENCH_SMOKE") != nullptr; }

const Sizes& RunSizes() {
    static const Sizes sizes = IsSmokeRun() ? Sizes{500, 5000, 1} : Sizes{100000, 1000000, 5};
    return sizes;
}

const std::string& OrdersFile(std::int64_t rows) {
    static std::map<std::int64_t, std::string> files;
    std::string& file = files[rows];
    if (file.empty()) {
        file = MakeFile("orders", rows, [rows](Database& database) {
            database.Run(kSchema);
            FillOrders(database, rows);
            FillCodes(database, rows / 5);
        });
    }
    return file;
}

const std::string& DeliveriesFile(std::int64_t rows) {
    static std::map<std::int64_t, std::string> files;
    std::string& file = files[rows];
    if (file.empty()) {
        file = MakeFile("deliveries", rows, [rows](Database& database) {
            database.Run(kDeliveriesSchema);
            FillDeliveries(database, rows);
        });
    }
    return file;
}

}  // namespace etabulon::bench
