#include "apps/etabulon/views/CliTreePrinter.h"

#include "apps/etabulon/output/CliOutput.h"
#include "apps/etabulon/views/CliTreeRecords.h"
#include "apps/etabulon/walk/CliInterrupt.h"
#include "etabulon/tree/EDataTree.h"
#include "etabulon/tree/ETreeTotals.h"

namespace etabulon {
namespace {

void AppendPair(std::string& text, const std::string& name, const CliCell& cell) {
    text += text.empty() ? "" : ", ";
    text += name;
    text += '=';
    if (cell.kind == CliCellKind::Null) {
        text += "NULL";
    } else if (cell.kind == CliCellKind::Bytes) {
        AppendHex(text, cell.text);
    } else if (cell.kind == CliCellKind::Text && cell.text == "NULL") {
        text += "\"NULL\"";
    } else {
        text += cell.text;
    }
}

}  // namespace

CliTreePrinter::CliTreePrinter(const CliPrinting& printing, const CliTreeView& view,
                               const CliTreeContents& contents, const CliInterrupt& interrupt)
    : view_(view), contents_(contents), output_(printing.output), interrupt_(interrupt) {
    for (const CliTreeLevel& level : view_.levels) {
        if (!level.isFixed) {
            below_.push_back(&level);
        }
    }
    path_.resize(below_.size());
    results_.resize(view_.results.size());
}

void CliTreePrinter::Print(const EDataTree& tree) {
    sort_ = tree.SortDesc();
    if (MeasuresFirst()) {
        isMeasuring_ = true;
        const bool isWhole = PrintNode(*tree.Root());
        isMeasuring_ = false;
        if (!isWhole) {
            return;
        }
    }
    OnBegin();
    met_ = 0;
    const bool isWhole = PrintNode(*tree.Root());
    OnEnd(isWhole);
    if (isWhole) {
        NoteRest();
    }
}

void CliTreePrinter::NoteRest() const {
    if (IsLeftOut()) {
        const bool hasNodes = PrintsInnerNodes() || !ShowsRecords();
        NoteLimit(output_, view_.limit, met_,
                  !hasNodes        ? "records"
                  : ShowsRecords() ? "nodes and records"
                                   : "nodes");
    }
}

bool CliTreePrinter::PrintNode(const EDataTreeNode& node) {
    if (!GoesOn()) {
        return false;
    }
    const bool isPrinted = PrintsInnerNodes() || (IsDeepest() && !ShowsRecords());
    met_ += depth_ != 0 && isPrinted ? 1U : 0U;
    // What comes after a node that is left out is left out too, and only counted.
    const bool isLeftOut = IsLeftOut();
    if (!isLeftOut) {
        if (depth_ != 0) {
            const ETabulonValue* const own = node.OwnValue(*sort_);
            path_[depth_ - 1] = own != nullptr ? *own : ETabulonValue::Null;
        }
        ReadResults(node);
        OnNode(contents_.records.Count(node));
    }
    if (IsDeepest()) {
        if (ShowsRecords() && !isMeasuring_ && !PrintRecords(node)) {
            return false;
        }
    } else {
        ++depth_;
        if (!PrintChildren(node)) {
            return false;
        }
        --depth_;
    }
    if (!isMeasuring_ && !isLeftOut) {
        OnNodeEnd();
    }
    return true;
}

bool CliTreePrinter::PrintChildren(const EDataTreeNode& node) {
    std::vector<unsigned int> order;
    if (view_.order) {
        order = contents_.totals->OrderOf(node, view_.order->calculation, view_.order->isFalling);
    }
    for (unsigned int index = 0; index < node.Size(); ++index) {
        if (!PrintNode(*node.Get(order.empty() ? index : order[index]))) {
            return false;
        }
    }
    return true;
}

void CliTreePrinter::ReadResults(const EDataTreeNode& node) {
    if (depth_ == 0 && !view_.percent && contents_.records.Count(node) == 0) {
        results_ = view_.ofNoRecords;
        return;
    }
    const bool isOfParent = view_.percent == CliTreeView::Base::Parent && node.Parent() != nullptr;
    const ETabulonTag& whole = isOfParent ? node.Parent()->Tag() : ETabulonTag::Null;
    for (unsigned int index = 0; index < results_.size(); ++index) {
        if (view_.percent) {
            results_[index] = ReportPercent(contents_.totals->Share(node.Tag(), whole, index));
        } else {
            contents_.totals->ReadResult(node.Tag(), index, results_[index]);
        }
    }
}

bool CliTreePrinter::PrintRecords(const EDataTreeNode& node) {
    const CliTreeRecords& records = contents_.records;
    for (std::size_t record = records.FirstRecord(node); record != CliTreeRecords::kNoRecord;
         record = records.NextRecord(record)) {
        if (!GoesOn()) {
            return false;
        }
        ++met_;
        if (!IsLeftOut()) {
            records.ReadKey(record, key_);
            OnRecord(key_);
        }
    }
    return true;
}

bool CliTreePrinter::GoesOn() const { return !interrupt_.IsRaised() && !output_.IsBroken(); }

CliCell CliTreePrinter::CellOf(const CliTreeLevel& level, const ETabulonValue& value) {
    if (value.IsNull()) {
        return {};
    }
    return level.hasLabel ? CliCellMaker::Of(value.DisplayValue().View()) : maker_.Of(value.Data());
}

std::string CliTreePrinter::ShownPlace() {
    std::string text;
    for (const CliTreeLevel& level : view_.levels) {
        if (level.isFixed) {
            AppendPair(text, level.column.name, CellOf(level, view_.place.Value(level.id)));
        }
    }
    return text;
}

std::string CliTreePrinter::ShownKey(const std::vector<CliCell>& key) const {
    std::string text;
    for (std::size_t part = 0; part < key.size(); ++part) {
        AppendPair(text, view_.keyParts[part].name, key[part]);
    }
    return text;
}

}  // namespace etabulon
