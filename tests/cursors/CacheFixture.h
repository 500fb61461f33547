#pragma once

#include "cursors/ETabulonCursorCacheLine.h"
#include "etabulon/cursors/ECacheListener.h"
#include "etabulon/cursors/EDataCache.h"
#include "etabulon/cursors/ETabulonCursorEData.h"
#include "etabulon/sort/ETabulonSortDesc.h"
#include "support/MemoryTable.h"
#include "support/Tags.h"
#include "support/WalkTrace.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <thread>

namespace etabulon::test {

/// Opens the steps of a cache.
class OpenCache : public ETabulonCursorCache {
public:
    using ETabulonCursor::CallGetNext;
    using ETabulonCursor::CallReset;
    using ETabulonCursorCache::ETabulonCursorCache;
    using ETabulonCursorCache::iFields;
    using EDataCache = ETabulonCursorCache::EDataCache;
    using CacheLine = ETabulonCursorCache::CacheLine;
};

class OpenSource : public ETabulonCursorEData {
public:
    using ETabulonCursorEData::CallGetNext;
    using ETabulonCursorEData::CallReset;
};

/// Writes what it hears as "append [FR, Nice] | value [FR, Lyon] amount | ...".
class CacheTrace : public ECacheListener {
public:
    std::function<void(const std::string& event, EFieldSet* fields)> onEvent;
    [[nodiscard]] std::string Take() { return std::exchange(log_, {}); }

    void OnCacheCleared() override { Hear("clear", "", nullptr); }
    void OnLineAppended(const ETabulonTag& tag, EFieldSet& fields) override {
        Hear("append", tag.DisplayID().c_str(), &fields);
    }
    void OnLineDeleted(const ETabulonTag& tag) override {
        Hear("delete", tag.DisplayID().c_str(), nullptr);
    }
    void OnValueUpdated(const ETabulonTag& tag, const ETabulonVariableID& id,
                        EFieldSet& fields) override {
        Hear("value", std::string(tag.DisplayID().c_str()) + " " + id.Code().c_str(), &fields);
    }
    void OnLineUpdated(const ETabulonTag& tag, EFieldSet& fields) override {
        Hear("update", tag.DisplayID().c_str(), &fields);
    }

private:
    void Hear(const std::string& event, const std::string& what, EFieldSet* fields) {
        log_ += (log_.empty() ? "" : " | ") + event + (what.empty() ? "" : " ") + what;
        if (onEvent) {
            onEvent(event, fields);
        }
    }
    std::string log_;
};

/// Five sales under country and city. The two of Ulm have one tag.
///
///     id  country  city   amount
///     1   FR       Paris  10
///     2   FR       Lyon   20
///     3   DE       Ulm    5
///     4   DE       Bonn   7
///     5   DE       Ulm    9
class CachedSales : public ::testing::Test {
protected:
    static constexpr unsigned int kCountry = 0;
    static constexpr unsigned int kCity = 1;

    CachedSales() {
        AddVariables(*rubric,
                     {{"id", TYPE_LONG},
                      {"country", TYPE_CHAINE},
                      {"city", TYPE_CHAINE},
                      {"amount", TYPE_DOUBLE, kNullableDouble}},
                     {"id"});
        stored = MakeTable(rubric, {{1, "FR", "Paris", 10},
                                    {2, "FR", "Lyon", 20},
                                    {3, "DE", "Ulm", 5},
                                    {4, "DE", "Bonn", 7},
                                    {5, "DE", "Ulm", 9}});
        table = std::make_unique<FailingTable>(*stored);
        levels = LevelsBy({"country", "city"});
        source.Init(levels, table.get(), /*ownsTable=*/false);
        cache = std::make_unique<OpenCache>(&source);
        cache->AddNotifier(walk.Get());
        sort = MakeRef<ETabulonSortDesc>(levels);
    }
    ~CachedSales() override {
        if (cache) {
            cache->RemNotifier(walk.Get());
        }
    }

    static ETabulonTag At(const char* country) { return Tag({{kCountry, country}}); }
    static ETabulonTag At(const char* country, const char* city) {
        return Tag({{kCountry, country}, {kCity, city}});
    }
    /// "1 2 3", with "-" for no number.
    std::string Walk(const ETabulonTag& tag = ETabulonTag::Null) {
        EXPECT_EQ(cache->Browse(tag), StatusOk);
        std::string text = walk->Take();
        const std::size_t first = text.find(" | ");
        return first == std::string::npos ? "" : text.substr(first + 3);
    }
    std::string Show(EData& shown) {
        std::string text;
        for (EPosition at = shown.GetFirst(); at != kNoPosition; at = shown.GetNext()) {
            text += (text.empty() ? "" : " ") + RecordText(shown);
        }
        EXPECT_EQ(shown.status, DataEnd);
        return text;
    }
    static std::string RecordText(EData& shown) {
        const EField& id = shown.Fields()["id"];
        return (id.IsMissing() ? std::string("-") : std::string(id.AsChaine().c_str())) +
               std::string(shown.Fields()["city"].AsChaine().c_str());
    }
    /// What the table holds: "1:10 2:20".
    std::string Stored() {
        EDataMemory other(*stored);
        std::string text;
        for (EPosition at = other.GetFirst(); at != kNoPosition; at = other.GetNext()) {
            text += std::string(text.empty() ? "" : " ") + other.Fields()["id"].AsChaine().c_str() +
                    ":" + other.Fields()["amount"].AsChaine().c_str();
        }
        return text;
    }
    /// What it holds after a save.
    std::string Saved() {
        EXPECT_EQ(cache->Save(), StatusOk);
        return Stored();
    }
    std::unique_ptr<OpenCache::EDataCache> Table(const ETabulonTag& root = ETabulonTag::Null) {
        return std::unique_ptr<OpenCache::EDataCache>(
            dynamic_cast<OpenCache::EDataCache*>(cache->AllocEData(root, sort.Get())));
    }
    CursorStatus AppendSale(int id, const char* country, const char* city, double amount) {
        EFieldSet& fields = cache->iFields();
        fields["id"] <<= EVariant(id);
        fields["country"] <<= EVariant(country);
        fields["city"] <<= EVariant(city);
        fields["amount"] <<= EVariant::FromDouble(amount);
        return cache->Append(cache->Fields());
    }
    /// Waits until another thread has had the lock.
    bool IsUnlocked() {
        std::jthread([this] {
            source.CursorLock(true);
            source.CursorUnlock();
        });
        return true;
    }
    /// A cache of its own on the same records, under these levels, that has been read.
    void Relevel(std::initializer_list<const char*> variables) {
        cache->RemNotifier(walk.Get());
        cache->RemCacheNotifier(trace.Get());
        ETabulonLevels others = LevelsBy(variables);
        source.Init(others, table.get(), /*ownsTable=*/false);
        cache = std::make_unique<OpenCache>(&source);
        cache->AddCacheNotifier(trace.Get());
        EXPECT_EQ(cache->Browse(ETabulonTag::Null), StatusOk);
        static_cast<void>(trace->Take());
    }

    DDico dico;
    DRubric* rubric = dico.AddRubric("Sales", "Sales");
    std::unique_ptr<EDataMemory> stored;
    std::unique_ptr<FailingTable> table;
    ETabulonLevels levels;
    OpenSource source;
    std::unique_ptr<OpenCache> cache;
    ERef<WalkTrace> walk = MakeRef<WalkTrace>("id");
    ERef<CacheTrace> trace = MakeRef<CacheTrace>();
    ERef<ETabulonSortDesc> sort;
};

}  // namespace etabulon::test
