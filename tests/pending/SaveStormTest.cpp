#include "cursors/CacheFixture.h"
#include "etabulon/cursors/ECursorScopes.h"
#include "etabulon/cursors/ETabulonCursorPending.h"
#include "etabulon/pending/ETabulonSavePending.h"
#include "support/Storm.h"

// Saves through random chains of cursors, against the rules alone: a save writes what it should, or
// fails where the rules tell, and takes no record for another.

namespace etabulon::test {
namespace {

using Change = ETabulonPendingChanges::Change;
using Cache = ETabulonCursorCache;
using Row = std::vector<EVariant>;

constexpr const char* kColumns[] = {"p", "q", "id", "value"};
constexpr std::uint16_t kId = 2;
constexpr std::uint16_t kValue = 3;
constexpr std::uint16_t kWidth = 4;
constexpr int kAll = 1000;

/// A record of a walk, of a table, or a line of a cache.
struct Record {
    EPosition key = kNoPosition;
    ETabulonTag tag;
    Row row;
    int state = Cache::LineClean;

    [[nodiscard]] bool IsDead() const { return state == Cache::LineDeleted; }
    void Store(const Row& stored) {
        row = stored;
        state = state == Cache::LineAdded ? Cache::LineAdded : Cache::LineModified;
    }
};
using Records = std::map<EPosition, Record>;

Row RowOf(const EFieldSet& fields) {
    Row row;
    for (std::uint16_t column = 0; column < kWidth; ++column) {
        row.push_back(fields.At(column));
    }
    return row;
}

std::string Text(const Row& row) {
    std::string text;
    for (const EVariant& cell : row) {
        text += cell.IsMissing() ? " missing" : " ";
        text.append(static_cast<const char*>(cell.GetBuffer()), cell.ByteCount());
    }
    return text + "\n";
}

/// Writes down the records of a walk, and ends it at the `limit`-th.
class Reader : public WalkTrace {
public:
    explicit Reader(int limit) { AnswerAt("move", limit, StatusEnd); }
    CursorStatus OnMove(const ETabulonCursor& cursor) override {
        records.push_back(
            {cursor.PrimaryKey().Position(), cursor.CurrentTag(), RowOf(cursor.Fields())});
        return WalkTrace::OnMove(cursor);
    }
    std::vector<Record> records;
};

std::vector<Record> Read(ETabulonCursor& cursor, const ETabulonTag& tag = ETabulonTag::Null,
                         int limit = kAll) {
    const auto reader = MakeRef<Reader>(limit);
    const ECursorListening listening(cursor, *reader);
    EXPECT_EQ(cursor.Browse(tag), StatusOk);
    return reader->records;
}

/// Where writes arrive: the records of a memory table, or the lines of a cache.
struct Target {
    Target(bool ofCache, EPosition first, const std::vector<Record>& read)
        : isCache(ofCache), next(first) {
        for (const Record& record : read) {
            records[next++] = record;
        }
    }
    [[nodiscard]] ETabulonTag TagOf(const Row& row) const {
        ETabulonTag tag;
        for (unsigned int level = 0; level < levels; ++level) {
            tag.SetValue(level, ETabulonValue(row[level], "", false));
        }
        return tag;
    }
    [[nodiscard]] Record* Find(const ETabulonTag& tag) {
        const auto last = std::find_if(records.rbegin(), records.rend(),
                                       [&](const auto& entry) { return entry.second.tag == tag; });
        return last == records.rend() ? nullptr : &last->second;
    }
    bool Update(EPosition at, const Row& row) {
        const auto found = records.find(at);
        if (found == records.end() ||
            (isCache && (found->second.IsDead() || !(TagOf(row) == found->second.tag)))) {
            return false;
        }
        found->second.Store(row);
        return true;
    }
    bool Delete(EPosition at) {
        const auto found = records.find(at);
        if (found == records.end()) {
            return false;
        }
        if (!isCache || found->second.state == Cache::LineAdded) {
            records.erase(found);
        } else {
            found->second.state = Cache::LineDeleted;
        }
        return true;
    }
    bool Insert(const Row& row) {
        const ETabulonTag tag = TagOf(row);
        if (Record* const known = isCache ? Find(tag) : nullptr; known != nullptr) {
            const bool comesBack = known->IsDead();
            if (comesBack) {
                known->Store(row);
            }
            return comesBack;
        }
        if (isKeyed && std::any_of(records.begin(), records.end(), [&](const auto& entry) {
                return entry.second.row[kId] == row[kId];
            })) {
            return false;
        }
        records[next++] = {kNoPosition, tag, row, Cache::LineAdded};
        return true;
    }
    /// The save of these lines.
    [[nodiscard]] bool Save(Target& to) const {
        return std::all_of(records.begin(), records.end(), [&to](const auto& entry) {
            const Record& line = entry.second;
            return line.state == Cache::LineModified  ? to.Update(line.key, line.row)
                   : line.state == Cache::LineAdded   ? to.Insert(line.row)
                   : line.state == Cache::LineDeleted ? to.Delete(line.key)
                                                      : true;
        });
    }

    bool isCache;
    bool isKeyed = false;
    unsigned int levels = 0;
    EPosition next;
    Records records;
};

std::string Text(const Records& records) {
    std::string text;
    for (const auto& [at, record] : records) {
        text += record.IsDead() ? "" : Text(record.row);
    }
    return text;
}

struct CellType {
    std::uint16_t type;
    std::uint16_t size;
};
constexpr CellType kTypes[] = {{TYPE_LONG, 0},         {TYPE_LONG, kNullableLong},
                               {TYPE_INT8, 0},         {TYPE_UINT8, 0},
                               {TYPE_INT16, 0},        {TYPE_UINT16, 3},
                               {TYPE_UINT32, 0},       {TYPE_INT64, 0},
                               {TYPE_UINT64, 9},       {TYPE_INT, 0},
                               {TYPE_BOOL, 0},         {TYPE_OLDBOOL, 2},
                               {TYPE_DOUBLE, 0},       {TYPE_FLOAT, 0},
                               {TYPE_DECIMAL32, 0},    {TYPE_DECIMAL64, 0},
                               {TYPE_CURRENCY, 0},     {TYPE_DATE, 0},
                               {TYPE_DATE, 5},         {TYPE_TIME, 0},
                               {TYPE_TIMESTAMP, 0},    {TYPE_GUID, 0},
                               {TYPE_ZSTRING, 3},      {TYPE_STR, 2},
                               {TYPE_CHARACTER, 1},    {TYPE_NC_ZSTRING, 3},
                               {TYPE_UP_STR, 2},       {TYPE_CSTRING, 0},
                               {TYPE_CHAINE, 0},       {TYPE_NC_CHAINE, 0},
                               {TYPE_UP_CHAINE, 0},    {TYPE_BLOB, 0},
                               {TYPE_BLOBTEXT, 0},     {TYPE_BLOBIMAGE, 0},
                               {/*of no class*/ 99, 4}};

/// A table, a chain of cursors on it, and what the rules tell of both.
class Chain : Storm {
public:
    explicit Chain(unsigned int seed);
    ~Chain() {
        while (!cursors_.empty()) {
            cursors_.pop_back();  // a cache's table before the cache
        }
    }
    /// What happens between the fill and the save: edits of lines and table, walks that stop.
    void Meddle();
    void SaveAndCheck();

private:
    std::uint16_t DrawColumn() { return static_cast<std::uint16_t>(Any(3) == 0 ? Any(2) : 3); }
    EVariant DrawValue(std::uint16_t column);
    ETabulonTag DrawTag();
    void DrawScript(ETabulonPendingChanges& script);
    void AddCursor();
    /// The value as the column holds it.
    EVariant Cell(std::uint16_t column, const EVariant& value) {
        scratch_->Fields().SetNull();
        scratch_->Fields().At(column) <<= value;
        const EVariant& cell = scratch_->Fields().At(column);
        return cell;
    }
    bool Apply(const ETabulonPendingChanges& script, const ETabulonTag& tag, Row& row);
    bool SaveScript(const std::vector<Record>& shown, const ETabulonPendingChanges& script,
                    bool isReloaded);
    CursorStatus RunScript(std::size_t front, bool& isSaved);
    void EditBranch(OpenCache& cache, Target& lines);
    void EditLine(OpenCache& cache, Target& lines);
    Target LinesOf(OpenCache& cache) {
        Target lines(true, 1, Read(cache));
        lines.levels = table_.levels;
        return lines;
    }
    [[nodiscard]] Target& Arrival() { return lower_ != nullptr ? lines_ : table_; }

    DDico dico_;
    DRubric* rubric_ = dico_.AddRubric("Storm", "Storm");
    std::unique_ptr<EDataMemory> stored_;
    std::unique_ptr<EDataMemory> scratch_;
    ETabulonLevels levels_;
    ERef<ETabulonSortDesc> sort_;
    std::vector<std::unique_ptr<ETabulonPendingChanges>> scripts_;
    std::vector<std::unique_ptr<ETabulonCursor>> cursors_;
    OpenCache* lower_ = nullptr;  // whose table the cursors from upper_ on are on
    unsigned int upper_ = 0;
    Target table_{false, 0, {}};
    Target lines_{true, 1, {}};  // of lower_
};

EVariant Chain::DrawValue(std::uint16_t column) {
    const unsigned int which = Any(4);
    const auto type = static_cast<std::uint16_t>(int{rubric_->At(column)->TypeCode()});
    if (which == 0) {
        return {};
    }
    if (TypeInfo(type).valueClass == EValueClass::Text) {
        constexpr const char* kTexts[] = {"a", "A", "b"};
        return EVariant::FromText(Any(4) == 0 ? TYPE_NC_CHAINE : TYPE_CHAINE, 0, kTexts[which - 1]);
    }
    const std::string bytes(16, static_cast<char>(which));
    const EVariant& cell = stored_->Fields().At(column);
    EVariant value;
    EXPECT_TRUE(value.Init(type, EVariant(cell).Size(), bytes.c_str()));
    return value;
}

ETabulonTag Chain::DrawTag() {
    ETabulonTag tag;
    for (std::uint16_t level = 0; level < table_.levels; ++level) {
        if (Any(3) != 0) {
            tag.SetValue(level, ETabulonValue(DrawValue(level), "", false));
        }
    }
    if (Any(12) == 0) {  // a level that there isn't
        tag.SetValue(Any(2) == 0 ? 7 : ~0U, ETabulonValue(1, "", false));
    }
    return tag;
}

void Chain::DrawScript(ETabulonPendingChanges& script) {
    for (unsigned int changes = Any(5); changes != 0; --changes) {
        ETabulonTag tag = DrawTag();
        const std::uint16_t column = DrawColumn();
        const unsigned int kind = Any(4);
        if (kind == 0) {
            if (tag.IsRoot()) {  // a cache keeps such a record, and doesn't show it
                tag.SetValue(0, ETabulonValue(DrawValue(0), "", false));
            }
            script.AppendInsert(tag);
        } else if (kind == 1) {
            script.AppendDelete(tag);
        } else {
            script.AppendUpdate(tag, kColumns[column], DrawValue(column));
        }
    }
}

Chain::Chain(unsigned int seed) : Storm(seed) {
    const bool isKeyed = Any(2) == 0;
    const CellType& first = kTypes[Any(std::size(kTypes))];
    const CellType& second = Any(3) == 0 ? first : kTypes[Any(std::size(kTypes))];
    AddVariables(*rubric_, {{"p", first.type, first.size},
                            {"q", second.type, second.size},
                            {"id", TYPE_LONG},
                            {"value", TYPE_LONG, kNullableLong}});
    if (isKeyed) {
        rubric_->SetKey({"id"});
    }
    stored_ = std::make_unique<EDataMemory>(rubric_);
    scratch_ = std::make_unique<EDataMemory>(*stored_);
    for (unsigned int row = Any(9); row != 0; --row) {
        const int id = static_cast<int>(isKeyed ? row : Any(2));
        stored_->Append({DrawValue(0), DrawValue(1), id, DrawValue(kValue)});
    }
    for (unsigned int level = 0; level < (isKeyed ? 3U : 2U); ++level) {
        levels_.AddLevel("", kColumns[level], nullptr, /*addRef=*/false);
    }
    sort_ = MakeRef<ETabulonSortDesc>(levels_);
    auto source = std::make_unique<ETabulonCursorEData>();
    source->Init(levels_, stored_.get(), /*ownsTable=*/false);
    table_ = Target(false, 0, Read(*source));
    table_.isKeyed = isKeyed;
    table_.levels = levels_.Size();
    cursors_.push_back(std::move(source));
    for (unsigned int more = Any(4); more != 0; --more) {
        AddCursor();
    }
}

void Chain::AddCursor() {
    ETabulonCursor* const top = cursors_.back().get();
    auto* const cache = dynamic_cast<OpenCache*>(top);
    if (cache != nullptr && lower_ == nullptr && Any(2) == 0) {
        lines_ = LinesOf(*cache);
        lower_ = cache;
        upper_ = static_cast<unsigned int>(cursors_.size());
        auto upper = std::make_unique<ETabulonCursorEData>();
        upper->Init(levels_, cache->AllocEData(ETabulonTag::Null, sort_.Get()), true);
        cursors_.push_back(std::move(upper));
    } else if (const unsigned int kind = Any(7); kind < 2) {
        scripts_.push_back(std::make_unique<ETabulonPendingChanges>());
        DrawScript(*scripts_.back());
        cursors_.push_back(std::make_unique<ETabulonCursorPending>(top, scripts_.back().get()));
        cursors_.back()->Init(levels_);
    } else if (kind == 2) {
        cursors_.push_back(std::make_unique<ETabulonCursorRelay>(top));
        cursors_.back()->Init(levels_);
    } else {
        cursors_.push_back(std::make_unique<OpenCache>(top));
        static_cast<void>(Read(*cursors_.back()));
    }
}

void Chain::Meddle() {
    for (unsigned int edits = Any(3); edits != 0 && lower_ != nullptr; --edits) {
        EditBranch(*lower_, lines_);
    }
    if (!table_.records.empty() && Any(4) == 0) {
        EDataMemory other(*stored_);
        const EPosition last = table_.records.rbegin()->first;
        ASSERT_NE(other.RePos(last, false), kNoPosition);
        if (Any(2) == 0) {
            EXPECT_TRUE(other.DeleteOne(last));
            EXPECT_TRUE(table_.Delete(last));
        } else {
            other.Fields().At(kValue) <<= EVariant(77);
            EXPECT_NE(other.Update(last), kNoPosition);
            EXPECT_TRUE(table_.Update(last, RowOf(other.Fields())));
        }
    }
    for (unsigned int walks = Any(3); walks != 0; --walks) {
        static_cast<void>(Read(*cursors_[Any(static_cast<unsigned int>(cursors_.size()))],
                               Any(2) == 0 ? ETabulonTag() : DrawTag(),
                               static_cast<int>(Any(6)) + 1));
    }
}

void Chain::EditBranch(OpenCache& cache, Target& lines) {
    const ETabulonTag tag = DrawTag();
    const bool isDelete = Any(3) == 0;
    const std::uint16_t column = DrawColumn();
    const EVariant value = DrawValue(column);
    bool hasMatched = false;
    bool isAlive = false;
    for (auto at = lines.records.begin(); at != lines.records.end();) {
        auto& [number, line] = *at++;
        if (!(line.tag == tag) && !line.tag.IsChildOf(tag)) {
            continue;
        }
        hasMatched = true;
        isAlive = isAlive || !line.IsDead();
        if (isDelete) {
            EXPECT_TRUE(lines.Delete(number));
        } else {
            Row row = line.row;
            row[column] = Cell(column, value);
            line.Store(row);
        }
    }
    EXPECT_EQ(cache.IsEmpty(tag), !isAlive);
    if (isDelete) {
        EXPECT_EQ(cache.Delete(tag) == StatusOk, hasMatched);
    } else {
        EXPECT_EQ(cache.Update(tag, kColumns[column], value), StatusOk);
    }
}

void Chain::EditLine(OpenCache& cache, Target& lines) {
    EFieldSet& fields = cache.iFields();
    fields.SetNull();
    fields.At(0) <<= DrawValue(0);
    fields.At(1) <<= DrawValue(1);
    fields.At(kId) <<= EVariant(static_cast<int>(Any(12)));
    fields.At(kValue) <<= DrawValue(kValue);
    const Row row = RowOf(fields);
    if (Any(2) == 0) {
        EXPECT_EQ(cache.Append(cache.Fields()) == StatusOk, lines.Insert(row));
        return;
    }
    Record* const known = lines.Find(lines.TagOf(row));
    const bool isFound = known != nullptr && !known->IsDead();
    if (isFound) {
        known->Store(row);
    }
    EXPECT_EQ(cache.Update(cache.Fields()) == StatusOk, isFound);
}

bool Chain::Apply(const ETabulonPendingChanges& script, const ETabulonTag& tag, Row& row) {
    bool isAny = false;
    for (const Change& change : script.Script(ETabulonPendingChanges::Update)) {
        if (change.Matches(tag)) {
            const auto* const name = std::find(std::begin(kColumns), std::end(kColumns),
                                               std::string(change.VarDataID().Code().c_str()));
            const auto column = static_cast<std::uint16_t>(name - std::begin(kColumns));
            row[column] = Cell(column, change.Value());
            isAny = true;
        }
    }
    return isAny;
}

bool Chain::SaveScript(const std::vector<Record>& shown, const ETabulonPendingChanges& script,
                       bool isReloaded) {
    Target& to = Arrival();
    const PTableau<Change> deletes = script.Script(ETabulonPendingChanges::Delete);
    bool isSaved = true;  // the last record that was to be written: what was before it is lost
    for (const Record& record : shown) {
        const auto at = to.records.find(record.key);
        Row row = isReloaded && at != to.records.end() ? at->second.row : record.row;
        if (std::any_of(deletes.begin(), deletes.end(),
                        [&](const Change& change) { return change.Matches(record.tag); })) {
            isSaved = to.Delete(record.key);
        } else if (Apply(script, record.tag, row)) {
            isSaved = to.Update(record.key, row);
        }
    }
    for (const Change& insert : script.Script(ETabulonPendingChanges::Insert)) {
        Row row;
        for (std::uint16_t column = 0; column < kWidth; ++column) {
            const bool isKnown = column < to.levels && insert.Selection().HasValue(column);
            row.push_back(
                Cell(column, isKnown ? insert.Selection().Value(column).Data() : EVariant()));
        }
        Apply(script, insert.Selection(), row);
        isSaved = isSaved && to.Insert(row);
    }
    return isSaved;
}

CursorStatus Chain::RunScript(std::size_t front, bool& isSaved) {
    ETabulonPendingChanges script;
    DrawScript(script);
    const ETabulonTag under = Any(2) == 0 ? ETabulonTag() : DrawTag();
    auto* const overlay = dynamic_cast<ETabulonCursorPending*>(cursors_[front].get());
    const bool isOfOverlay = overlay != nullptr && Any(2) == 0;
    ETabulonCursor* const walked = isOfOverlay ? overlay->Source() : cursors_[front].get();
    // What a cache shows is read again from the table; what other cursors show is written as shown.
    const bool isReloaded = std::any_of(
        cursors_.begin() + upper_, cursors_.begin() + static_cast<std::ptrdiff_t>(front) + 1,
        [](const auto& cursor) { return dynamic_cast<OpenCache*>(cursor.get()) != nullptr; });
    const bool isWalked =
        script.Script(ETabulonPendingChanges::Insert).Size() != script.Script().Size();
    isSaved =
        SaveScript(isWalked ? Read(*walked, under) : std::vector<Record>(), script, isReloaded);
    return (isOfOverlay ? ETabulonSavePending(overlay, levels_)
                        : ETabulonSavePending(walked, levels_))
        .Run(&script, under);
}

void Chain::SaveAndCheck() {
    const std::size_t front = upper_ + Any(static_cast<unsigned int>(cursors_.size()) - upper_);
    auto* const cache = dynamic_cast<OpenCache*>(cursors_[front].get());
    bool isSaved = false;
    CursorStatus status = StatusOk;
    if (cache != nullptr && Any(2) == 0) {
        Target lines = LinesOf(*cache);
        for (unsigned int edits = Any(6); edits != 0; --edits) {
            Any(2) == 0 ? EditBranch(*cache, lines) : EditLine(*cache, lines);
        }
        isSaved = lines.Save(Arrival());
        status = cache->Save();
    } else {
        status = RunScript(front, isSaved);
    }
    EXPECT_EQ(status == StatusOk, isSaved) << status;
    if (lower_ != nullptr) {
        EXPECT_EQ(Text(LinesOf(*lower_).records), Text(lines_.records));
        isSaved = lines_.Save(table_);
        EXPECT_EQ(lower_->Save() == StatusOk, isSaved);
    }
    EXPECT_EQ(Text(Target(false, 0, Read(*cursors_[0])).records), Text(table_.records));
}

class SaveStorm : public ::testing::TestWithParam<unsigned int> {};

TEST_P(SaveStorm, WritesWhatTheRulesTellOrFails) {
    for (int round = 0; round < 2500 && !HasFailure(); ++round) {
        SCOPED_TRACE(round);
        Chain chain(GetParam() * 100000 + static_cast<unsigned int>(round));
        chain.Meddle();
        chain.SaveAndCheck();
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, SaveStorm, ::testing::Range(1U, 9U));

}  // namespace
}  // namespace etabulon::test
