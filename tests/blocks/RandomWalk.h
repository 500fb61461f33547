#pragma once

#include "etabulon/cursors/ECursorListener.h"
#include "etabulon/cursors/ECursorScopes.h"
#include "etabulon/cursors/ETabulonCursorEData.h"
#include "etabulon/cursors/IBlockNotifier.h"
#include "etabulon/grid/ETabulonGridFiller.h"
#include "etabulon/pending/ETabulonPendingChanges.h"
#include "etabulon/score/ETabulonScoreFiller.h"
#include "etabulon/tree/EDataTree.h"
#include "score/ScoreFixture.h"
#include "support/CompareSources.h"
#include "support/MemoryTable.h"
#include "tree/LiteralTree.h"
#include "tree/NodeAccess.h"

#include <cmath>
#include <functional>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace etabulon::test {

/// Switches walks by blocks on or off for a scope.
class BlocksEnabled {
public:
    explicit BlocksEnabled(bool enabled) { EBlockSource::SetEnabled(enabled); }
    ~BlocksEnabled() { EBlockSource::SetEnabled(before_); }
    BlocksEnabled(const BlocksEnabled&) = delete;
    BlocksEnabled& operator=(const BlocksEnabled&) = delete;

private:
    bool before_ = EBlockSource::AreEnabled();
};

/// How a walk's records come into a tree.
enum class FilledBy : std::uint8_t { Refresh = 0, Filler = 1, CountingFiller = 2 };

/// Counts the records of each node in the node's Param.
class CountingFiller final : public EDataTreeFiller {
public:
    explicit CountingFiller(EDataTreeNode& root)
        : EDataTreeFiller(&root, Files::KeysAndNodes), root_(root) {}
    bool WantBlocks(const ETabulonCursor& cursor, EBlockRequest& request) override {
        return WantFiledBlocks(cursor, request);
    }

protected:
    void OnFiled(const ETabulonCursor& /*cursor*/, EDataTreeNode* node) override {
        EDataTreeNode& counted = node != nullptr ? *node : root_;
        counted.SetParam(counted.Param() + 1);
    }
    void OnFiled(const ERecordBlock& /*block*/, std::span<const EBlockIndex> records,
                 std::span<EDataTreeNode* const> nodes) override {
        EXPECT_EQ(nodes.size(), records.size());
        for (EDataTreeNode* const node : nodes) {
            node->SetParam(node->Param() + 1);
        }
    }

private:
    EDataTreeNode& root_;
};

/// Writes down all fields, or every second, third..., the tag and the key of each record, whether
/// it comes alone or in a block.
class RecordTrace : public EBlockListener {
public:
    RecordTrace(bool wantsBlocks, std::size_t cancelAt, unsigned int every = 1)
        : wantsBlocks_(wantsBlocks),
          cancelAt_(cancelAt),
          every_(static_cast<std::uint16_t>(every)) {}

    std::string trace;
    std::size_t records = 0;
    std::size_t blocks = 0;
    std::function<void()> atBlock = [] {};

    CursorStatus OnReset(const ETabulonTag& tag, const ETabulonCursor& /*cursor*/) override {
        trace += std::string("reset ") + tag.DisplayID().c_str() + '\n';
        return StatusOk;
    }
    CursorStatus OnMove(const ETabulonCursor& cursor) override {
        const EFieldSet& fields = cursor.Fields();
        for (std::uint16_t index = 0; index < fields.Size(); index += every_) {
            trace += ExactText(fields.At(index)) + ' ';
        }
        AddKey(cursor.PrimaryKey());
        Count(cursor, 1);
        return StatusOk;
    }
    bool WantBlocks(const ETabulonCursor& cursor, EBlockRequest& request) override {
        columns_.clear();
        const EFieldSet& fields = cursor.Fields();
        for (std::uint16_t index = 0; wantsBlocks_ && index < fields.Size(); index += every_) {
            // As numbers, values or texts in turns; other listeners may want them as well.
            const EField& field = fields.At(index);
            columns_.push_back(index % 2 == 0   ? request.AddNumbers(field)
                               : index % 4 == 1 ? request.AddValues(field)
                                                : request.AddTexts(field));
        }
        request.keys = true;
        return wantsBlocks_;
    }
    CursorStatus OnBlock(const ETabulonCursor& cursor, const ERecordBlock& block,
                         std::span<const EBlockIndex> selected) override {
        EXPECT_FALSE(selected.empty());
        atBlock();
        EFieldKey key;
        for (const EBlockIndex record : selected) {
            for (const unsigned int column : columns_) {
                const ERecordBlock::Column& shown = block.At(column);
                const EVariant& value = block.Value(column, record);
                trace += ExactText(value) + ' ';
                if (shown.numbers != nullptr) {
                    EXPECT_TRUE(
                        shown.dictionary->Value(shown.numbers[record]).IsIdenticalTo(value));
                    EXPECT_EQ(shown.numbers[record] == EBlockDictionary::kMissing,
                              value.IsMissing());
                }
            }
            block.ReadKey(record, key);
            AddKey(ETabulonPrimaryKey(key, block.Position(record)));
        }
        ++blocks;
        Count(cursor, selected.size());
        return StatusOk;
    }
    void OnDone(const ETabulonCursor& /*cursor*/) override { trace += "done\n"; }
    void OnCancel(const ETabulonCursor& /*cursor*/) override { trace += "cancel\n"; }
    void OnError(const ETabulonCursor& /*cursor*/, CursorStatus status) override {
        trace += "error " + std::to_string(status) + '\n';
    }

private:
    void AddKey(const ETabulonPrimaryKey& key) {
        if (key.Fields().Size() == 0) {
            trace += '\n';  // a view: each walk gives its records new positions
            return;
        }
        trace += '@' + std::to_string(key.Position());
        for (std::uint16_t index = 0; index < key.Fields().Size(); ++index) {
            trace += ' ' + ExactText(key.Fields().At(index));
        }
        trace += '\n';
    }
    void Count(const ETabulonCursor& cursor, std::size_t count) {
        const bool isBelow = records < cancelAt_;
        records += count;
        if (isBelow && records >= cancelAt_) {
            const_cast<ETabulonCursor&>(cursor).Cancel();
        }
    }

    bool wantsBlocks_;
    std::size_t cancelAt_;
    std::uint16_t every_;
    std::vector<unsigned int> columns_;
};

/// A walk with random levels, calculations and listeners over a table, in both ways.
class RandomWalk {
public:
    explicit RandomWalk(unsigned int seed) : random_(seed) {}

    [[nodiscard]] unsigned int Below(unsigned int bound) {
        return static_cast<unsigned int>(random_() % bound);
    }
    [[nodiscard]] bool OneIn(unsigned int many) { return Below(many) == 0; }

    /// A value that a column of this type may get; what doesn't convert is stored as missing.
    [[nodiscard]] EVariant Value(int type) {
        static const char* const kTexts[] = {
            "a",  "A",   "Ab",   "aB", "",  "\xC3\xA9", "long text of more than twenty-four bytes",
            "12", "1e3", "a\tb", " a", "a "};
        static const double kOdd[] = {0.0,
                                      -0.0,
                                      0.1,
                                      0.2,
                                      0.3,
                                      1e16,
                                      -1e16,
                                      1e300,
                                      -1e300,
                                      5e-324,
                                      std::numeric_limits<double>::infinity(),
                                      std::numeric_limits<double>::quiet_NaN()};
        static const char* const kDates[] = {
            "2021-03-04", "2021-03-05", "0001-01-01", "2021-03-04 05:06:07.008", "05:06:07", "bad"};
        if (OneIn(6)) {
            return Missing();
        }
        switch (FamilyOf(type)) {
            case GenericNumeric:
                if (OneIn(2)) {
                    return EVariant(static_cast<int>(Below(5)) - 2);
                }
                return OneIn(2)
                           ? EVariant::FromDouble(kOdd[Below(std::size(kOdd))])
                           : EVariant::FromInt64(static_cast<std::int64_t>(random_()) << Below(34));
            case GenericDateTime:
                return EVariant::FromText(static_cast<std::uint16_t>(type), 0,
                                          kDates[Below(std::size(kDates))]);
            default:
                if (type == TYPE_GUID) {
                    return EVariant::FromText(
                        TYPE_GUID, 16,
                        Chaine::Format("00000000-0000-0000-0000-00000000000%u", Below(4)));
                }
                return OneIn(3) ? EVariant(Chaine::Format("text %u", Below(300)))
                                : EVariant(kTexts[Below(std::size(kTexts))]);
        }
    }

    /// The levels by columns of the table and by these links, with labels at random. Call it before
    /// Compare.
    [[nodiscard]] ETabulonLevels Levels(const EFieldSet& fields,
                                        std::span<const char* const> links = {}) {
        ETabulonLevels levels;
        for (unsigned int level = 0; level < kLevels; ++level) {
            std::uint16_t index = Any(fields);
            // Equal values that differ in their bytes are the hardest: folded texts, two zeros.
            for (int tries = 0; tries < 4 && !MayDifferWhenEqual(fields.At(index)); ++tries) {
                index = Any(fields);
            }
            const auto name = [&](std::uint16_t own) {
                return !links.empty() && OneIn(2)
                           ? Chaine(links[Below(static_cast<unsigned int>(links.size()))])
                           : fields.At(own).Name();
            };
            const Chaine data = name(index);
            OneIn(3) ? levels.AddLevel(data, data, name(Any(fields)), nullptr, false)
                     : levels.AddLevel(data, data, nullptr, false);
        }
        return levels;
    }

    /// Walks in both ways and compares all that can be seen. Returns the number of blocks.
    std::size_t Compare(ETabulonCursor& cursor) {
        DrawQuestion(cursor);
        const std::size_t cancelAt = OneIn(4) ? 1 + Below(2500) : static_cast<std::size_t>(-1);
        const Heard blocks = Walk(cursor, true, cancelAt);
        // A cancel ends the walk by blocks with a block; single steps reach it at the same record.
        const bool isCancelled = blocks.status == StatusCancelled;
        const Heard steps = Walk(cursor, false, isCancelled ? blocks.records : cancelAt);
        EXPECT_EQ(steps.blocks, 0U);
        EXPECT_EQ(steps.status, blocks.status);
        EXPECT_EQ(steps.records, blocks.records);
        EXPECT_EQ(steps.trace, blocks.trace);
        EXPECT_EQ(steps.results, blocks.results);
        return blocks.blocks;
    }

    /// Fills and refreshes a tree in both ways, with edits of the table in between, and compares
    /// all that can be seen of both. Returns the number of blocks.
    std::size_t CompareTrees(ETabulonCursor& cursor, const std::function<void()>& edit) {
        EDataTree byBlocks(&cursor, "root", nullptr);
        EDataTree bySteps(&cursor, "root", nullptr);
        DrawKeys(ETabulonSortDesc::HideInTree);
        const auto source = kSources[Below(std::size(kSources))];
        for (EDataTree* const tree : {&byBlocks, &bySteps}) {
            tree->SetSortLevels(keys_);
            tree->SetCompareSource(source);
        }
        std::size_t blocks = 0;
        for (int round = 0; round < 4; ++round) {
            const unsigned int steps = round == 0 ? 0 : Below(4);
            place_ = AnyNode(byBlocks, steps, /*keepsKey=*/OneIn(20), bySteps);
            const std::size_t cancelAt = OneIn(4) ? 1 + Below(2500) : static_cast<std::size_t>(-1);
            const bool isAlone = OneIn(3);
            readsTree_ = OneIn(3);
            const FilledBy filledBy = !OneIn(3)  ? FilledBy::Refresh
                                      : OneIn(2) ? FilledBy::Filler
                                                 : FilledBy::CountingFiller;
            const Heard heard = WalkTree(byBlocks, true, cancelAt, isAlone, filledBy);
            const bool isCancelled = heard.status == StatusCancelled;
            const Heard literal =
                WalkTree(bySteps, false, isCancelled ? heard.records : cancelAt, isAlone, filledBy);
            EXPECT_EQ(literal.status, heard.status);
            EXPECT_EQ(literal.records, heard.records);
            EXPECT_EQ(literal.results, heard.results);
            blocks += heard.blocks;
            edit();
        }
        return blocks;
    }

    /// Appends some updates, deletes and inserts at the values of records.
    void Change(ETabulonCursor& cursor, ETabulonPendingChanges& changes) {
        for (unsigned int count = Below(12); count != 0; --count) {
            const ETabulonTag tag = PlaceOf(cursor);
            if (tag.IsRoot() && !OneIn(10)) {
                continue;
            }
            const EField& field = cursor.Fields().At(Any(cursor.Fields()));
            switch (Below(4)) {
                case 0:
                    changes.AppendDelete(tag);
                    break;
                case 1:
                    changes.AppendInsert(tag);
                    break;
                default:
                    changes.AppendUpdate(tag, ETabulonVariableID(field.Name()),
                                         Value(field.Type()));
                    break;
            }
        }
    }

private:
    struct Heard {
        CursorStatus status;
        std::size_t records;
        std::size_t blocks;
        std::string trace;
        std::string results;
    };

    [[nodiscard]] std::uint16_t Any(const EFieldSet& fields) {
        return static_cast<std::uint16_t>(Below(static_cast<unsigned int>(fields.Size())));
    }
    [[nodiscard]] static bool MayDifferWhenEqual(const EField& field) {
        const ETypeInfo& info = TypeInfo(field.Type());
        return info.folds || info.storage == EStorage::Double;
    }
    void DrawKeys(ETabulonSortDesc::HideFlag hidden, unsigned int levels = kLevels) {
        keys_ = {};
        const unsigned int first = Below(levels);
        for (unsigned int index = 0; index < levels; ++index) {
            if (!OneIn(4)) {
                keys_.Add({(first + index) % levels, OneIn(3), OneIn(6) ? hidden : 0U});
            }
        }
    }
    /// The tag of a node some steps down. Its key is kept whole in both trees, on request.
    [[nodiscard]] ETabulonTag AnyNode(EDataTree& tree, unsigned int steps, bool keepsKey,
                                      EDataTree& other) {
        const EDataTreeNode* node = tree.Root();
        const EDataTreeNode* same = other.Root();
        for (; steps != 0 && node->Size() != 0 && same->Size() == node->Size(); --steps) {
            const unsigned int index = Below(node->Size());
            node = node->Get(index);
            same = same->Get(index);
        }
        if (keepsKey) {
            static_cast<void>(node->PrimaryKey());
            static_cast<void>(same->PrimaryKey());
        }
        ETabulonTag tag;
        node->ExtractTag(tag);
        return tag;
    }
    /// What a node keeps beside what it shows.
    [[nodiscard]] static std::string Flags(const EDataTreeNode& node) {
        std::string text = detail::NodeAccess::IsDirty(node) ? "d" : "-";
        text += detail::NodeAccess::OwnsTag(node) ? 't' : '-';
        text += detail::NodeAccess::IsByValue(node) ? 'v' : '-';
        text += std::to_string(node.Param());
        for (unsigned int index = 0; index < node.Size(); ++index) {
            text += Flags(*node.Get(index));
        }
        return text;
    }
    [[nodiscard]] CursorStatus WalkBy(FilledBy filledBy, EDataTree& tree) {
        if (filledBy == FilledBy::Refresh) {
            return tree.Refresh(place_);
        }
        EDataTreeFiller filler(tree.Root());
        CountingFiller counting(*tree.Root());
        EDataTreeFiller& used = filledBy == FilledBy::Filler ? filler : counting;
        const ECursorListening listening(*tree.Cursor(), used);
        return tree.Cursor()->Browse(place_);
    }
    [[nodiscard]] Heard WalkTree(EDataTree& tree, bool byBlocks, std::size_t cancelAt, bool isAlone,
                                 FilledBy filledBy) {
        const BlocksEnabled enabled(byBlocks);
        const auto trace = MakeRef<RecordTrace>(/*wantsBlocks=*/true, cancelAt);
        if (readsTree_) {  // which changes nothing
            trace->atBlock = [&tree] { static_cast<void>(Dump(*tree.Root())); };
        }
        Heard heard{};
        if (isAlone) {
            heard.status = WalkBy(filledBy, tree);
        } else {
            const ECursorListening listening(*tree.Cursor(), *trace);
            heard.status = WalkBy(filledBy, tree);
        }
        heard.records = trace->records;
        heard.blocks = trace->blocks;
        heard.results = Dump(*tree.Root()) + Flags(*tree.Root());
        return heard;
    }
    void DrawQuestion(ETabulonCursor& cursor) {
        static const char* const kFunctions[] = {"SUM",  "AVG",       "MIN",     "MAX",    "COUNT",
                                                 "LAST", "COMMONVAL", "CODEMIN", "CODEMAX"};
        DrawKeys(ETabulonSortDesc::HideInCalc, OneIn(6) ? kLevels + 1 : kLevels);
        calculations_ = ETabulonCumulFuncOnVarCollection();
        const unsigned int wanted = 1 + Below(5);
        for (unsigned int tries = 0; calculations_.Size() < wanted && tries < 30; ++tries) {
            const EField& field = cursor.Fields().At(Any(cursor.Fields()));
            // The result's type is usually the field's, and sometimes another.
            const int type = OneIn(5) ? int{TYPE_DOUBLE} : field.Type();
            calculations_.AddCalculation(kFunctions[Below(std::size(kFunctions))],
                                         ETabulonVariableID(field.Name()), type,
                                         type == field.Type() ? field.Size() : 0, "");
        }
        calculations_.SetPriorityCalculationPos(OneIn(2) ? 0 : -1);
        axes_ = Below(4);
        every_ = 1 + Below(3);
        place_ = OneIn(2) ? ETabulonTag() : PlaceOf(cursor);
    }
    /// The values of some record at some levels.
    [[nodiscard]] ETabulonTag PlaceOf(ETabulonCursor& cursor) {
        ETabulonTag place;
        const auto trace = MakeRef<PlaceFinder>(Below(1500), place);
        const BlocksEnabled off(false);
        const ECursorListening listening(cursor, *trace);
        static_cast<void>(cursor.Browse(ETabulonTag::Null));
        ETabulonTag some;
        for (unsigned int index = 0; index < place.KnownLevelsCount(); ++index) {
            if (OneIn(2)) {
                some.SetValue(place.LevelAt(index), place.ValueAt(index));
            }
        }
        if (OneIn(8)) {
            some.SetValue(kLevels + 3, ETabulonValue(EVariant("elsewhere"), Chaine(), false));
        }
        return some;
    }
    class PlaceFinder : public ECursorListener {
    public:
        PlaceFinder(unsigned int count, ETabulonTag& place) : left_(count), place_(place) {}
        CursorStatus OnMove(const ETabulonCursor& cursor) override {
            place_ = cursor.CurrentTag();
            return left_-- == 0 ? StatusEnd : StatusOk;
        }

    private:
        unsigned int left_;
        ETabulonTag& place_;
    };

    [[nodiscard]] Heard Walk(ETabulonCursor& cursor, bool byBlocks, std::size_t cancelAt) {
        const BlocksEnabled enabled(byBlocks);
        ETabulonLevels levels(cursor.Levels());
        levels.AddLevel("absent", "absent", nullptr, false);  // which the cursor lacks
        ETabulonSortDesc sort(levels);
        sort.SetSortLevels(keys_);
        const auto grid = ETabulonGridFiller::Make(&cursor, nullptr);
        grid->SetParams(&calculations_, axes_, &sort);
        const auto score = ETabulonScoreFiller::Make(&cursor, nullptr);
        score->SetParams(&calculations_, &sort, 1 + axes_ % 2);
        const auto trace = MakeRef<RecordTrace>(/*wantsBlocks=*/true, cancelAt, every_);
        Heard heard;
        {
            const ECursorListening first(cursor, *grid);
            const ECursorListening second(cursor, *trace);
            const ECursorListening third(cursor, *score);
            heard.status = cursor.Browse(place_);
        }
        heard.records = trace->records;
        heard.blocks = trace->blocks;
        heard.trace = trace->trace;
        GridTrace gridView;
        gridView.ShowAll();
        grid->SendTo(&gridView);
        ScoreTrace scoreView;
        scoreView.ShowAll();
        score->SendTo(&scoreView);
        heard.results = gridView.Take() + '\n' + scoreView.Take();
        return heard;
    }

    static constexpr unsigned int kLevels = 4;
    std::mt19937 random_;
    ETabulonSortDesc::SortKeyArray keys_;
    ETabulonCumulFuncOnVarCollection calculations_;
    unsigned int axes_ = 0;
    unsigned int every_ = 1;
    bool readsTree_ = false;
    ETabulonTag place_;
};

}  // namespace etabulon::test
