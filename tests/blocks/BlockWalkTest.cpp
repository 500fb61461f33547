#include "blocks/RandomWalk.h"
#include "etabulon/cumul/ETabulonCumulFunc.h"
#include "etabulon/cursors/ECursorScopes.h"
#include "etabulon/cursors/ETabulonCursorPending.h"
#include "etabulon/cursors/LoadColumns.h"
#include "etabulon/pending/ETabulonPendingChanges.h"

namespace etabulon::test {
namespace {

#ifdef __SANITIZE_THREAD__
constexpr unsigned int kSeeds = 15;  // each walk takes some thirty times as long
#else
constexpr unsigned int kSeeds = 60;
#endif

struct Column {
    const char* name;
    int type;
    unsigned int size;
};
constexpr Column kColumns[] = {
    {"id", TYPE_LONG, 0},
    {"plain", TYPE_LONG, 4},
    {"marked", TYPE_LONG, kNullableLong},
    {"real", TYPE_DOUBLE, 8},
    {"markedReal", TYPE_DOUBLE, kNullableDouble},
    {"int8", TYPE_INT8, 0},
    {"uint16", TYPE_UINT16, 0},
    {"uint32", TYPE_UINT32, 0},
    {"int64", TYPE_INT64, 9},
    {"uint64", TYPE_UINT64, 0},
    {"flag", TYPE_BOOL, 2},
    {"single", TYPE_FLOAT, 0},
    {"money", TYPE_CURRENCY, 0},
    {"scaled", TYPE_DECIMAL32, 0},
    {"date", TYPE_DATE, 0},
    {"time", TYPE_TIME, 5},
    {"stamp", TYPE_TIMESTAMP, 0},
    {"guid", TYPE_GUID, 16},
    {"text", TYPE_CHAINE, 0},
    {"folded", TYPE_NC_CHAINE, 0},
    {"capitals", TYPE_UP_CHAINE, 0},
    {"cut", TYPE_ZSTRING, 6},
    {"padded", TYPE_STR, 4},
    {"raw", TYPE_AUTRE, 3},
    {"blob", TYPE_BLOB, 0},
};

/// A table of all types with random records.
struct RandomTable {
    RandomTable(RandomWalk& walk, unsigned int count)
        : dico(std::make_unique<DDico>()), rubric(dico->AddRubric("T", "T")) {
        for (const Column& column : kColumns) {
            rubric->AddVariable(column.name, column.name, column.type, column.size);
        }
        rubric->SetKey({"id"});
        table = std::make_unique<EDataMemory>(rubric);
        const bool hasFewValues = walk.OneIn(2);
        std::vector<std::vector<EVariant>> made;
        for (unsigned int record = 0; record < count; ++record) {
            std::vector<EVariant> values = {EVariant(static_cast<int>(record) + 1)};
            for (std::size_t column = 1; column < std::size(kColumns); ++column) {
                values.push_back(
                    hasFewValues && !made.empty() && !walk.OneIn(20)
                        ? made[walk.Below(static_cast<unsigned int>(made.size()))][column]
                        : walk.Value(kColumns[column].type));
            }
            EXPECT_NE(table->Append(values), kNoPosition);
            if (made.size() < 40) {
                made.push_back(std::move(values));
            }
        }
        for (unsigned int gone = walk.Below(4) * count / 16; gone != 0; --gone) {
            table->DeleteOne(walk.Below(count));
        }
    }
    /// Deletes, changes and adds some records.
    void Edit(RandomWalk& walk) const {
        for (unsigned int edits = walk.Below(30); edits != 0; --edits) {
            const EPosition at = walk.Below(2600);
            if (walk.OneIn(3)) {
                table->DeleteOne(at);
                continue;
            }
            const bool isNew = table->RePos(at, /*flag=*/false) == kNoPosition || walk.OneIn(3);
            for (std::size_t column = 1; column < std::size(kColumns); ++column) {
                if (isNew || walk.OneIn(4)) {
                    table->Fields().At(static_cast<std::uint16_t>(column)) <<=
                        walk.Value(kColumns[column].type);
                }
            }
            if (isNew) {
                table->Fields().At(0) <<= EVariant(static_cast<int>(10000 + walk.Below(100000)));
                static_cast<void>(table->Insert());
            } else {
                static_cast<void>(table->UpdateRecord());
            }
        }
    }
    std::unique_ptr<DDico> dico;
    DRubric* rubric;
    std::unique_ptr<EDataMemory> table;
};

/// Fails to read the record of one key.
class KeyFailingSource : public IRecordSource {
public:
    KeyFailingSource(IRecordSource& inner, const char* key) : inner_(inner), key_(key) {}
    std::unique_ptr<IRecordLookup> OpenLookup(const DRubric& rubric,
                                              std::span<const unsigned int> keyVariables,
                                              std::span<const unsigned int> columns, EData* from,
                                              EDataError& error) override {
        return std::make_unique<Lookup>(
            inner_.OpenLookup(rubric, keyVariables, columns, from, error), key_);
    }

private:
    class Lookup : public IRecordLookup {
    public:
        Lookup(std::unique_ptr<IRecordLookup> inner, Chaine key)
            : inner_(std::move(inner)), key_(std::move(key)) {}
        ERecordRead Read(const EFieldKey& values, void* record) override {
            const bool fails = values.At(0).AsChaine() == key_;
            const ERecordRead read = inner_->Read(fails ? EFieldKey() : values, record);
            return fails ? ERecordRead::Failed : read;
        }
        EDataError LastError() const override { return {1077, 0, "can't be read"}; }
        void Forget() override { inner_->Forget(); }
        std::uint64_t Version() const override { return inner_->Version(); }

    private:
        std::unique_ptr<IRecordLookup> inner_;
        Chaine key_;
    };
    IRecordSource& inner_;
    Chaine key_;
};

constexpr const char* kLinks[] = {"byText>name",      "byText>value", "byText>far>guid",
                                  "byText>far>count", "byTwo>label",  "several>name"};

/// Tables to which a random table links: by a text, by two columns, through two tables, and by a
/// value that several records have. Most links find nothing.
struct LinkTargets {
    LinkTargets(RandomWalk& walk, RandomTable& data) {
        DDico& dico = *data.dico;
        DRubric* const named = dico.AddRubric("Named");
        DRubric* const far = dico.AddRubric("Far");
        DRubric* const two = dico.AddRubric("Two");
        AddVariables(*named,
                     {{"key", TYPE_CHAINE},
                      {"name", TYPE_NC_CHAINE},
                      {"value", TYPE_DOUBLE},
                      {"more", TYPE_CHAINE}},
                     {"key"});
        AddVariables(
            *far,
            {{"key", TYPE_CHAINE}, {"guid", TYPE_GUID, 16}, {"count", TYPE_LONG, kNullableLong}},
            {"key"});
        AddVariables(*two,
                     {{"a", TYPE_LONG, kNullableLong}, {"b", TYPE_INT8}, {"label", TYPE_CHAINE}},
                     {"a", "b"});
        data.rubric->AddLink("byText", {"text"}, named);
        data.rubric->AddLink("byTwo", {"marked", "int8"}, two);
        data.rubric->AddLink("several", {"folded"}, named, {"more"});
        named->AddLink("far", {"more"}, far);
        for (DRubric* const rubric : {named, far, two}) {
            EDataMemory& target = *tables.emplace_back(std::make_unique<EDataMemory>(rubric));
            for (int tries = 0; tries < 120; ++tries) {
                std::vector<EVariant> values;
                for (std::size_t at = 0; at < rubric->Size(); ++at) {
                    values.push_back(walk.Value(rubric->At(at)->TypeCode()));
                }
                static_cast<void>(target.Append(values));  // refused if the key is there already
            }
        }
        if (walk.OneIn(3)) {
            failing = std::make_shared<KeyFailingSource>(*named->Source(),
                                                         walk.OneIn(2) ? "aB" : "text 17");
            named->SetSource(failing);
        }
    }
    std::vector<std::unique_ptr<EDataMemory>> tables;
    std::shared_ptr<IRecordSource> failing;
};

/// All that single steps show of a table: forward, by position, and backward.
std::string Steps(EData& table) {
    std::string text;
    std::vector<EPosition> positions;
    const auto add = [&text, &table] {
        text += std::to_string(table.position);
        for (std::uint16_t part = 0; part < table.CurKey().Size(); ++part) {
            text += '/' + ExactText(table.CurKey().At(part));
        }
        for (std::uint16_t field = 0; field < table.Fields().Size(); ++field) {
            text += ' ' + ExactText(table.Fields().At(field));
        }
        text += '\n';
    };
    for (EPosition at = table.GetFirst(); at != kNoPosition; at = table.GetNext()) {
        positions.push_back(at);
        add();
    }
    for (std::size_t index = 0; index < positions.size(); index += 7) {
        EXPECT_EQ(table.RePos(positions[index], false), positions[index]);
        add();
        EXPECT_EQ(table.GetPrevious() == kNoPosition, index == 0);
        add();
    }
    for (EPosition at = table.GetLast(); at != kNoPosition; at = table.GetPrevious()) {
        add();
    }
    return text + std::to_string(table.status);
}

/// Loads the cursor's table into columns, by blocks and by single steps, which must give the same.
std::unique_ptr<EDataColumns> LoadBoth(ETabulonCursor& cursor, EData& table) {
    CursorStatus status = StatusOk;
    const std::string expected = Steps(table);
    const auto load = [&](bool byBlocks) {
        const BlocksEnabled enabled(byBlocks);
        auto columns = LoadColumns(cursor, ETabulonTag::Null, table.dico, status);
        EXPECT_EQ(status, StatusOk);
        EXPECT_EQ(Steps(*columns), expected);
        return columns;
    };
    load(false);
    return load(true);
}

constexpr unsigned int kCounts[] = {0, 1, 2, 1024, 1025, 1026, 2049, 2600};

TEST(WalkByBlocks, GivesWhatSingleStepsGive) {
    std::size_t blocks = 0;
    for (unsigned int seed = 1; seed <= kSeeds; ++seed) {
        SCOPED_TRACE(seed);
        RandomWalk walk(seed);
        const RandomTable data(walk, kCounts[seed % std::size(kCounts)]);
        ETabulonCursorEData cursor;
        cursor.Init(walk.Levels(data.table->Fields()), data.table.get(), /*ownsTable=*/false);
        for (int question = 0; question < 2; ++question) {
            blocks += walk.Compare(cursor);
        }
        const auto columns = LoadBoth(cursor, *data.table);
        cursor.Init(ETabulonLevels(cursor.Levels()), columns.get(), /*ownsTable=*/false);
        for (int question = 0; question < 2; ++question) {
            blocks += walk.Compare(cursor);
        }
        if (::testing::Test::HasFailure()) {
            return;
        }
    }
    EXPECT_GT(blocks, 2 * kSeeds);
}

TEST(WalkByBlocks, FillsAndRefreshesTreesAsSingleStepsDo) {
    std::size_t blocks = 0;
    for (unsigned int seed = 1; seed <= kSeeds; ++seed) {
        SCOPED_TRACE(seed);
        RandomWalk walk(seed);
        const RandomTable data(walk, kCounts[seed % std::size(kCounts)]);
        ETabulonCursorEData cursor;
        cursor.Init(walk.Levels(data.table->Fields()), data.table.get(), /*ownsTable=*/false);
        blocks += walk.CompareTrees(cursor, [&] { data.Edit(walk); });
        if (::testing::Test::HasFailure()) {
            return;
        }
    }
    EXPECT_GT(blocks, 2 * kSeeds);
}

TEST(WalkByBlocks, FollowsLinksAsSingleStepsDo) {
    std::size_t blocks = 0;
    std::size_t failures = 0;
    for (unsigned int seed = 1; seed <= kSeeds; ++seed) {
        SCOPED_TRACE(seed);
        RandomWalk walk(seed);
        RandomTable data(walk, kCounts[seed % std::size(kCounts)]);
        const LinkTargets targets(walk, data);
        ETabulonCursorEData cursor;
        cursor.Init(walk.Levels(data.table->Fields(), kLinks), data.table.get(),
                    /*ownsTable=*/false);
        for (const char* const link : kLinks) {
            if (walk.OneIn(2)) {
                EXPECT_TRUE(cursor.DeclareLinkField(ETabulonVariableID(link)));
            }
        }
        for (int question = 0; question < 3; ++question) {
            blocks += walk.Compare(cursor);
            failures += cursor.LinkError().status == 1077 ? 1 : 0;
        }
        blocks += walk.CompareTrees(cursor, [&] { data.Edit(walk); });
        if (::testing::Test::HasFailure()) {
            return;
        }
    }
    EXPECT_GT(blocks, 4 * kSeeds);
    EXPECT_GT(failures, kSeeds / 8);
}

TEST(WalkByBlocks, ShowsPendingChangesAsSingleStepsDo) {
    std::size_t blocks = 0;
    for (unsigned int seed = 1; seed <= kSeeds; ++seed) {
        SCOPED_TRACE(seed);
        RandomWalk walk(seed);
        RandomTable data(walk, kCounts[seed % std::size(kCounts)]);
        std::optional<LinkTargets> targets;
        if (walk.OneIn(2)) {
            targets.emplace(walk, data);
        }
        ETabulonCursorEData cursor;
        cursor.Init(
            targets ? walk.Levels(data.table->Fields(), kLinks) : walk.Levels(data.table->Fields()),
            data.table.get(), /*ownsTable=*/false);
        ETabulonPendingChanges changes;
        ETabulonCursorPending overlay(&cursor, &changes);
        overlay.Init(cursor.Levels());
        for (int question = 0; question < 3; ++question) {
            walk.Change(cursor, changes);
            blocks += walk.Compare(overlay);
        }
        blocks += walk.CompareTrees(overlay, [&] {
            data.Edit(walk);
            walk.Change(cursor, changes);
        });
        if (::testing::Test::HasFailure()) {
            return;
        }
    }
    EXPECT_GT(blocks, 4 * kSeeds);
}

// ------------------------------------------------------------------------------------ the decision

/// 3,000 sales in two countries, and a filler that sums their amounts by country.
struct ManySales {
    ManySales() : rubric(dico.AddRubric("Sales", "Sales")) {
        AddVariables(*rubric,
                     {{"id", TYPE_LONG}, {"A", TYPE_CHAINE}, {"amount", TYPE_LONG, kNullableLong}},
                     {"id"});
        table = std::make_unique<EDataMemory>(rubric);
        for (int id = 0; id < 3000; ++id) {
            table->Append({id, id % 2 == 0 ? "FR" : "DE", 1});
        }
    }
    DDico dico;
    DRubric* rubric;
    std::unique_ptr<EDataMemory> table;
};

/// What became of a walk: blocks taken, and what a grid of the amounts says.
struct Outcome {
    std::size_t blocks;
    std::string result;
};

Outcome WalkSales(ETabulonCursorEData& cursor, const ETabulonCumulFuncOnVarCollection& calculations,
                  RecordTrace& trace, const ETabulonPendingChanges* pending = nullptr) {
    ETabulonSortDesc sort(cursor.Levels());
    const auto grid = ETabulonGridFiller::Make(&cursor, pending);
    grid->SetParams(&calculations, 1, &sort);
    const ECursorListening first(cursor, *grid);
    const ECursorListening second(cursor, trace);
    EXPECT_EQ(cursor.Browse(ETabulonTag::Null), StatusOk);
    GridTrace view;
    grid->SendTo(&view);
    return {trace.blocks, view.Take()};
}

ETabulonCumulFuncOnVarCollection Sum() {
    ETabulonCumulFuncOnVarCollection sum;
    sum.AddCalculation("SUM", ETabulonVariableID("amount"), TYPE_LONG, 0, "");
    return sum;
}

constexpr const char* kSums = "start reset axes=1 axe0[DE,FR] 0,0=1500 0,1=1500 column0=3000 end";

TEST(WalkByBlocks, IsTakenOnlyIfNoPartLooksAtSingleRecords) {
    /// Overrides a part of single steps.
    class Doubling : public ETabulonCursorEData {
    protected:
        bool IsInFilter() const override { return ETabulonCursorEData::IsInFilter(); }
    };
    const BlocksEnabled enabled(true);
    ManySales data;
    const auto outcome = [&data](ETabulonCursorEData& cursor, RecordTrace& trace,
                                 const ETabulonPendingChanges* pending = nullptr) {
        cursor.Init(LevelsBy({"A"}), data.table.get(), /*ownsTable=*/false);
        const Outcome heard = WalkSales(cursor, Sum(), trace, pending);
        EXPECT_EQ(heard.result, kSums);
        EXPECT_EQ(trace.records, 3000U);
        return heard.blocks;
    };
    const auto steps = [](bool wantsBlocks) {
        return MakeRef<RecordTrace>(wantsBlocks, static_cast<std::size_t>(-1));
    };
    ETabulonCursorEData plain;
    EXPECT_EQ(outcome(plain, *steps(true)), 3U);
    EXPECT_EQ(outcome(plain, *steps(false)), 0U) << "a listener refuses";
    const ETabulonPendingChanges none;
    EXPECT_EQ(outcome(plain, *steps(true), &none), 0U) << "pending changes";
    plain.SetRecordLockBias(1);
    EXPECT_EQ(outcome(plain, *steps(true)), 0U) << "records are locked";
    plain.SetRecordLockBias(0);
    Doubling derived;
    EXPECT_EQ(outcome(derived, *steps(true)), 0U) << "a derived cursor";
    FailingTable traced(*data.table);
    traced.FailAt("next", 2000, 1099);
    plain.Init(LevelsBy({"A"}), &traced, /*ownsTable=*/false);
    const auto trace = steps(true);
    const ECursorListening listening(plain, *trace);
    EXPECT_EQ(plain.Browse(ETabulonTag::Null), static_cast<CursorStatus>(1099));
    EXPECT_EQ(trace->blocks, 0U) << "a derived table";
    EXPECT_EQ(trace->records, 2000U);
    const BlocksEnabled disabled(false);
    EXPECT_EQ(outcome(plain, *steps(true)), 0U) << "switched off";
}

/// Answers each block with a status.
class Meddler : public EBlockListener {
public:
    explicit Meddler(CursorStatus answer) : answer_(answer) {}
    CursorStatus OnMove(const ETabulonCursor& /*cursor*/) override { return StatusOk; }
    bool WantBlocks(const ETabulonCursor& /*cursor*/, EBlockRequest& /*request*/) override {
        return true;
    }
    CursorStatus OnBlock(const ETabulonCursor& /*cursor*/, const ERecordBlock& /*block*/,
                         std::span<const EBlockIndex> /*records*/) override {
        return answer_;
    }

private:
    CursorStatus answer_;
};

/// Sums the amounts of ManySales by country through pending changes.
std::string SumThrough(ETabulonCursorPending& overlay, RecordTrace& trace) {
    ETabulonSortDesc sort(overlay.Levels());
    const ETabulonCumulFuncOnVarCollection sum = Sum();
    const auto grid = ETabulonGridFiller::Make(&overlay, nullptr);
    grid->SetParams(&sum, 1, &sort);
    const ECursorListening first(overlay, *grid);
    const ECursorListening second(overlay, trace);
    EXPECT_EQ(overlay.Browse(ETabulonTag::Null), StatusOk);
    GridTrace view;
    grid->SendTo(&view);
    return view.Take();
}

ETabulonTag CountryTag(const char* country) {
    ETabulonTag tag;
    tag.SetValue(0, ETabulonValue(EVariant(country), Chaine(), /*modified=*/false));
    return tag;
}

TEST(WalkByBlocks, KeepsItsBlocksWholeUnderPendingChanges) {
    const BlocksEnabled enabled(true);
    ManySales data;
    ETabulonCursorEData cursor;
    cursor.Init(LevelsBy({"A"}), data.table.get(), /*ownsTable=*/false);
    ETabulonPendingChanges changes;
    ETabulonCursorPending overlay(&cursor, &changes);
    overlay.Init(cursor.Levels());
    changes.AppendUpdate(CountryTag("FR"), "amount", EVariant(3));
    const auto updated = MakeRef<RecordTrace>(true, static_cast<std::size_t>(-1), /*every=*/3);
    EXPECT_EQ(SumThrough(overlay, *updated),
              "start reset axes=1 axe0[DE,FR] 0,0=1500 0,1=4500 column0=6000 end");
    EXPECT_EQ(updated->blocks, 3U);
    changes.AppendDelete(CountryTag("DE"));
    const auto deleted = MakeRef<RecordTrace>(true, static_cast<std::size_t>(-1), /*every=*/3);
    EXPECT_EQ(SumThrough(overlay, *deleted),
              "start reset axes=1 axe0[FR] 0,0=4500 column0=4500 end");
    EXPECT_EQ(deleted->blocks, 3U);
    EXPECT_EQ(deleted->records, 1500U);

    ETabulonPendingChanges more;
    ETabulonCursorPending second(&overlay, &more);
    second.Init(cursor.Levels());
    EXPECT_EQ(SumThrough(second, *MakeRef<RecordTrace>(true, static_cast<std::size_t>(-1))),
              "start reset axes=1 axe0[FR] 0,0=4500 column0=4500 end")
        << "changes of changes";
}

TEST(WalkByBlocks, SeesAScriptThatChangesBetweenItsBlocks) {
    /// Inserts a record at a tag after the first block.
    class Inserter : public Meddler {
    public:
        explicit Inserter(ETabulonPendingChanges& changes) : Meddler(StatusOk), changes_(changes) {}
        CursorStatus OnBlock(const ETabulonCursor& cursor, const ERecordBlock& block,
                             std::span<const EBlockIndex> records) override {
            changes_.AppendInsert(CountryTag("FR"));
            return Meddler::OnBlock(cursor, block, records);
        }

    private:
        ETabulonPendingChanges& changes_;
    };
    const BlocksEnabled enabled(true);
    ManySales data;
    ETabulonCursorEData cursor;
    cursor.Init(LevelsBy({"A"}), data.table.get(), /*ownsTable=*/false);
    ETabulonPendingChanges changes;
    ETabulonCursorPending overlay(&cursor, &changes);
    overlay.Init(cursor.Levels());
    changes.AppendDelete(CountryTag("FR"));
    const auto inserter = MakeRef<Inserter>(changes);
    const auto trace = MakeRef<RecordTrace>(true, static_cast<std::size_t>(-1));
    const ECursorListening first(overlay, *inserter);
    const ECursorListening second(overlay, *trace);
    EXPECT_EQ(overlay.Browse(ETabulonTag::Null), StatusOk);
    EXPECT_EQ(trace->records, 512U + 1975U);  // the first block shows every second record
    EXPECT_EQ(trace->blocks, 3U);
}

TEST(WalkByBlocks, GivesApplicationsFunctionsTheirRecordsOneByOne) {
    const BlocksEnabled enabled(true);
    ManySales data;
    ETabulonCursorEData cursor;
    cursor.Init(LevelsBy({"A"}), data.table.get(), /*ownsTable=*/false);
    ETabulonCumulFuncOnVarCollection calculations = Sum();
    const auto variable = ERef<ETabulonVariableDesc>::Adopt(
        ETabulonVariableDesc::Build(ETabulonVariableID("amount"), TYPE_LONG, 0, "amount", nullptr));
    calculations.AddCalculation(
        ETabulonCumulFuncOnVar::Build(MakeRef<LastPositive>().Get(), variable.Get()),
        /*addRef=*/false);
    const auto trace = MakeRef<RecordTrace>(true, static_cast<std::size_t>(-1));
    EXPECT_EQ(WalkSales(cursor, calculations, *trace).blocks, 0U);
}

TEST(WalkByBlocks, KeepsTheSpellingOfTheFirstRecordOfEachLine) {
    DDico dico;
    DRubric* const rubric = dico.AddRubric("Sales", "Sales");
    AddVariables(*rubric, {{"id", TYPE_LONG}, {"A", TYPE_NC_CHAINE}, {"B", TYPE_CHAINE}}, {"id"});
    // The text "A" is met in a known line before it begins one.
    const auto table = MakeTable(
        rubric, {{1, "a", "x"}, {2, "b", "y"}, {3, "a", "x"}, {4, "A", "x"}, {5, "A", "y"}});
    ETabulonCursorEData cursor;
    cursor.Init(LevelsBy({"A", "B"}), table.get(), /*ownsTable=*/false);
    ETabulonSortDesc sort(cursor.Levels());
    ETabulonCumulFuncOnVarCollection count;
    count.AddCalculation("COUNT", ETabulonVariableID("id"), TYPE_LONG, 0, "");
    const auto score = ETabulonScoreFiller::Make(&cursor, nullptr);
    score->SetParams(&count, &sort, 2);
    const ECursorListening listening(cursor, *score);
    for (const bool byBlocks : {true, false}) {
        const BlocksEnabled enabled(byBlocks);
        EXPECT_EQ(cursor.Browse(ETabulonTag::Null), StatusOk);
        EXPECT_EQ(HeardLines(*score), "[a, x]=3 [b, y]=1 [A, y]=1 total=5");
    }
}

TEST(WalkByBlocks, StandsOnTheLastRecordWhereAListenerEndsIt) {
    const BlocksEnabled enabled(true);
    ManySales data;
    ETabulonCursorEData stored;
    stored.Init(LevelsBy({"id"}), data.table.get(), /*ownsTable=*/false);
    CursorStatus status = StatusOk;
    const auto columns = LoadColumns(stored, ETabulonTag::Null, data.rubric, status);
    ASSERT_NE(columns, nullptr);
    const struct {
        EData* table;
        int last;  // of the first block
    } cases[] = {{data.table.get(), 1024}, {columns.get(), 1023}};
    for (const auto& [table, last] : cases) {
        ETabulonCursorEData cursor;
        cursor.Init(LevelsBy({"id"}), table, /*ownsTable=*/false);
        const auto meddler = MakeRef<Meddler>(StatusEnd);
        const auto trace = MakeRef<RecordTrace>(true, static_cast<std::size_t>(-1));
        const ECursorListening first(cursor, *trace);
        const ECursorListening second(cursor, *meddler);
        EXPECT_EQ(cursor.Browse(ETabulonTag::Null), StatusOk);
        EXPECT_EQ(trace->records, static_cast<std::size_t>(last) + 1);
        EXPECT_EQ(cursor.CurrentTag().Value(0).Data(), EVariant(last));
        EXPECT_EQ(cursor.PrimaryKey().Position(), last);
    }
}

}  // namespace
}  // namespace etabulon::test
