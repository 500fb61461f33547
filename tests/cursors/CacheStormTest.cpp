#include "CacheFixture.h"
#include "support/Storm.h"

#include <set>

namespace etabulon::test {
namespace {

/// The cache by its rules alone, with a scan for everything.
struct LiteralCache {
    struct Line {
        int id;
        std::string country, city;
        int amount;
        int state;
        std::set<int> tables;  // that stand on it
    };
    using Tag = std::vector<std::string>;  // country, then city
    std::vector<Line*> lines;
    std::vector<std::vector<Line*>> tables;
    std::vector<bool> byCity;
    bool Matches(const Line& line, const Tag& tag) const {
        return (tag.empty() || tag[0].empty() || tag[0] == line.country) &&
               (tag.size() < 2 || tag[1] == line.city);
    }
    static bool IsDead(const Line& line) { return line.state >= 3; }
    static void Modify(Line& line) { line.state = line.state == 2 || line.state == 4 ? 2 : 1; }
    bool Less(std::size_t table, const Line& a, const Line& b) const {
        return byCity[table] ? std::tie(a.city, a.country) < std::tie(b.city, b.country)
                             : std::tie(a.country, a.city) < std::tie(b.country, b.city);
    }
    void File(std::size_t table, Line* line) {
        auto& list = tables[table];
        auto at = list.end();
        while (at != list.begin() && Less(table, *line, **std::prev(at))) {
            --at;
        }
        list.insert(at, line);
    }
    int Append(int id, const std::string& country, const std::string& city, int amount) {
        for (auto line = lines.rbegin(); line != lines.rend(); ++line) {
            if ((*line)->country == country && (*line)->city == city) {
                if (!IsDead(**line)) {
                    return DataDuplicate;
                }
                Modify(**line);
                (*line)->id = id;
                (*line)->amount = amount;
                return DataOk;
            }
        }
        lines.push_back(new Line{id, country, city, amount, 2, {}});
        for (std::size_t table = 0; table < tables.size(); ++table) {
            File(table, lines.back());
        }
        return DataOk;
    }
    void Update(const Tag& tag, int amount) {
        for (Line* line : lines) {
            if (Matches(*line, tag)) {
                line->amount = amount;
                Modify(*line);
            }
        }
    }
    int Delete(const Tag& tag) {
        bool matched = false;
        for (std::size_t at = 0; at < lines.size();) {
            Line* line = lines[at++];
            if (!Matches(*line, tag)) {
                continue;
            }
            matched = true;
            if (IsDead(*line)) {
                continue;
            }
            if (line->state != 2 || !line->tables.empty()) {
                line->state = line->state == 2 ? 4 : 3;
                continue;
            }
            for (auto& table : tables) {
                table.erase(std::find(table.begin(), table.end(), line));
            }
            lines.erase(lines.begin() + static_cast<std::ptrdiff_t>(--at));
            delete line;
        }
        return matched ? DataOk : DataGone;
    }
    void Save() {
        for (Line* line : lines) {
            line->state = line->state == 4 ? 4 : 0;
        }
    }
    void Clear() {
        for (Line* line : lines) {
            delete line;
        }
        lines.clear();
        for (auto& table : tables) {
            table.clear();
        }
    }
    static std::string Text(const std::vector<Line*>& some) {
        std::string text;
        for (const Line* line : some) {
            if (!IsDead(*line)) {
                text += (text.empty() ? "" : " ") + std::to_string(line->id) + ":" +
                        std::to_string(line->amount);
            }
        }
        return text;
    }
};

class CacheStorm : public CachedSales,
                   public ::testing::WithParamInterface<unsigned int>,
                   protected Storm {
protected:
    CacheStorm() : Storm(GetParam()) {
        table.reset();
        stored = MakeTable(rubric);
        table = std::make_unique<FailingTable>(*stored);
        source.Init(levels, table.get(), /*ownsTable=*/false);
        cache->RemNotifier(walk.Get());
        EXPECT_EQ(cache->Browse(ETabulonTag::Null), StatusOk);
        byCity = MakeRef<ETabulonSortDesc>(levels);
        EXPECT_TRUE(byCity->MoveSortLevel(1, 0, 0));
        for (const bool isByCity : {false, true}) {
            shown.push_back(std::unique_ptr<EData>(
                cache->AllocEData(ETabulonTag::Null, isByCity ? byCity.Get() : sort.Get())));
            model.tables.emplace_back();
            model.byCity.push_back(isByCity);
        }
    }
    ~CacheStorm() override { model.Clear(); }
    std::string Country() { return std::string(1, static_cast<char>('a' + Any(4))); }
    std::string City() { return std::string(1, static_cast<char>('k' + Any(9))); }

    static std::string Record(const EFieldSet& fields) {
        return std::string(fields["id"].AsChaine().c_str()) + ":" +
               fields["amount"].AsChaine().c_str();
    }
    std::string WalkText() {
        std::string text;
        for (CursorStatus status = cache->CallReset(ETabulonTag::Null); status == StatusOk;
             status = cache->CallGetNext()) {
            text += (text.empty() ? "" : " ") + Record(cache->Fields());
        }
        return text;
    }
    /// On a table without records.
    void StartOver() {
        model.Clear();
        cache->ClearCache();
        EXPECT_TRUE(EDataMemory(*stored).DeleteLoop());
        EXPECT_EQ(cache->Browse(ETabulonTag::Null), StatusOk);
    }
    void StepEdit();
    void StepTable();
    void Check();

    ERef<ETabulonSortDesc> byCity;
    std::vector<std::unique_ptr<EData>> shown;
    LiteralCache model;
    int nextID = 0;
};

void CacheStorm::StepEdit() {
    LiteralCache::Tag tag;
    ETabulonTag at;
    if (Any(8) != 0) {
        tag = {Any(4) != 0 ? Country() : ""};
        if (tag[0].empty() || Any(2) != 0) {
            tag.push_back(City());
            at.SetValue(kCity, ETabulonValue(tag[1].c_str(), "", /*modified=*/false));
        }
        if (!tag[0].empty()) {
            at.SetValue(kCountry, ETabulonValue(tag[0].c_str(), "", /*modified=*/false));
        }
    }
    DoOne(
        4,
        [&] {
            EXPECT_EQ(cache->IsEmpty(at),
                      std::none_of(model.lines.begin(), model.lines.end(), [&](const auto* line) {
                          return !LiteralCache::IsDead(*line) && model.Matches(*line, tag);
                      }));
            EXPECT_EQ(cache->Delete(at), model.Delete(tag));
        },
        [&] {
            model.Update(tag, nextID);
            EXPECT_EQ(cache->Update(at, "amount", EVariant(nextID)), StatusOk);
        },
        [&] {
            const std::string country = Country();
            const std::string city = City();
            const int expected = model.Append(++nextID, country, city, 5);
            EXPECT_EQ(AppendSale(nextID, country.c_str(), city.c_str(), 5), expected);
        });
}

/// One table goes to some record, and stays there.
void CacheStorm::StepTable() {
    const auto which = static_cast<int>(Any(2));
    EData& view = *shown[static_cast<std::size_t>(which)];
    for (LiteralCache::Line* line : model.lines) {
        line->tables.erase(which);
    }
    std::vector<LiteralCache::Line*> alive;
    for (LiteralCache::Line* line : model.tables[static_cast<std::size_t>(which)]) {
        if (!LiteralCache::IsDead(*line)) {
            alive.push_back(line);
        }
    }
    const unsigned int steps = Any(static_cast<unsigned int>(alive.size()) + 1);
    EPosition at = view.GetFirst();
    for (unsigned int step = 0; step < steps; ++step) {
        at = view.GetNext();
    }
    if (steps < alive.size()) {
        alive[steps]->tables.insert(which);
        EXPECT_EQ(Record(view.Fields()), LiteralCache::Text({alive[steps]}));
    } else {
        EXPECT_EQ(at, kNoPosition);
    }
}

void CacheStorm::Check() {
    EXPECT_EQ(WalkText(), LiteralCache::Text(model.lines));
    EXPECT_EQ(cache->IsDirty(), std::any_of(model.lines.begin(), model.lines.end(),
                                            [](const auto* line) { return line->state != 0; }));
    for (std::size_t which = 0; which < shown.size(); ++which) {
        EData& view = *shown[which];
        const EPosition before = view.position;
        std::string text;
        for (EPosition at = view.GetFirst(); at != kNoPosition; at = view.GetNext()) {
            text += (text.empty() ? "" : " ") + Record(view.Fields());
        }
        EXPECT_EQ(text, LiteralCache::Text(model.tables[which])) << which;
        if (before != kNoPosition) {
            EXPECT_EQ(view.RePos(before, false), before);
        }
    }
}

TEST_P(CacheStorm, AgreesWithTheRulesAlone) {
    for (int step = 0; step < 1500 && !HasFailure(); ++step) {
        SCOPED_TRACE(step);
        const unsigned int kind = Any(200);
        if (kind == 0) {
            StartOver();
        } else if (kind < 3) {
            model.Save();
            // A record that was deleted and has come back as clean is gone when written again.
            if (cache->Save() != StatusOk) {
                StartOver();
            }
        } else if (kind < 60) {
            StepTable();
        } else {
            StepEdit();
        }
        if (step % 7 == 0) {
            Check();
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, CacheStorm, ::testing::Range(1U, 9U));

}  // namespace
}  // namespace etabulon::test
