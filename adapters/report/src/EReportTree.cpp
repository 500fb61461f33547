#include "etabulon/report/EReportTree.h"

#include "etabulon/foundation/EField.h"
#include "etabulon/tree/EDataTree.h"
#include "etabulon/tree/ETreeTotals.h"
#include "etabulon/values/ETabulonTag.h"

namespace etabulon {
namespace {

constexpr std::uint32_t kIndent = 2;  // blanks for each level

/// Writes the nodes below each other.
class NodeWriter {
public:
    NodeWriter(EReportWriter& writer, const EReportNames& names, const ETreeTotals* totals)
        : writer_(writer), names_(names), totals_(totals) {}

    void Write(const EDataTreeNode& node, std::uint32_t depth) {
        writer_.SetDepth(depth);
        PutLabel(node, depth);
        const std::uint32_t leaves = node.IsRoot() || !node.IsTreeLeaf() ? node.LeafCount() : 1;
        writer_.Cell(maker_.Of(static_cast<std::int64_t>(leaves)));
        for (unsigned int index = 0; totals_ != nullptr && index < names_.calculations.size();
             ++index) {
            totals_->ReadResult(node.Tag(), index, result_);
            writer_.Cell(maker_.Of(result_));
        }
        writer_.EndRecord();
        for (unsigned int index = 0; index < node.Size(); ++index) {
            Write(*node.Get(index), depth + 1);
        }
    }

private:
    void PutLabel(const EDataTreeNode& node, std::uint32_t depth) {
        const ETabulonValue value = node.DisplayValue();
        EReportCell cell;
        if (!value.IsNull()) {
            // A label of its own is a text; a number or a date without one is such a cell.
            const Chaine& shown = value.DisplayValue();
            cell = shown == value.Data().AsChaine() ? maker_.Of(value.Data())
                                                    : EReportCellMaker::Of(shown.View());
        }
        cell.indent = depth * kIndent;
        writer_.Cell(cell);
    }

    EReportWriter& writer_;
    const EReportNames& names_;
    const ETreeTotals* totals_;
    ETabulonValue result_;
    EReportCellMaker maker_;
};

bool IsNumberType(int type) { return TypeInfo(type).valueClass == EValueClass::Number; }

}  // namespace

void WriteTree(EReportWriter& writer, const EDataTree& tree, const EReportNames& names,
               const ETreeTotals* totals) {
    const std::string root(tree.Root()->DisplayValue().DisplayValue().View());
    std::vector<EReportColumn> columns = {{root, false, true}, {"leaves", true, false, true}};
    for (const EReportNames::Calculation& calculation : names.calculations) {
        if (totals != nullptr) {
            columns.push_back({calculation.name, calculation.isNumber, false, true});
        }
    }
    GiveNames(columns);
    writer.SetTitle(root);
    writer.Begin(columns);
    NodeWriter(writer, names, totals).Write(*tree.Root(), /*depth=*/0);
    writer.Finish(/*isWhole=*/true);
}

CursorStatus EReportRecords::OnReset(const ETabulonTag& /*tag*/, const ETabulonCursor& cursor) {
    std::vector<EReportColumn> columns;
    for (const EReportNames::Level& level : names_.levels) {
        columns.push_back({level.name});
    }
    fields_.clear();
    for (const ETabulonVariableID& value : values_) {
        fields_.push_back(&cursor.Field(value));
        columns.push_back({std::string(value.Code().View()), IsNumberType(fields_.back()->Type())});
    }
    GiveNames(columns);
    writer_.Begin(columns);
    return StatusOk;
}

CursorStatus EReportRecords::OnMove(const ETabulonCursor& cursor) {
    const ETabulonTag& tag = cursor.CurrentTag();
    for (unsigned int level = 0; level < names_.levels.size(); ++level) {
        const ETabulonValue* const value = tag.Find(level);
        if (value == nullptr || value->IsNull()) {
            writer_.Cell({});
        } else if (names_.levels[level].hasLabel) {
            writer_.Cell(EReportCellMaker::Of(value->DisplayValue().View()));
        } else {
            writer_.Cell(maker_.Of(value->Data()));
        }
    }
    for (const EField* const field : fields_) {
        writer_.Cell(maker_.Of(*field));
    }
    writer_.EndRecord();
    return StatusOk;
}

}  // namespace etabulon
