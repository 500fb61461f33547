#pragma once

#include "apps/etabulon/output/CliCell.h"
#include "apps/etabulon/output/CliWriter.h"
#include "apps/etabulon/request/CliLimit.h"
#include "etabulon/values/ETabulonTag.h"
#include "etabulon/values/ETabulonValue.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace etabulon {

class CliInterrupt;
class CliOutput;
class CliTreeRecords;
class EDataTree;
class EDataTreeNode;
class ETabulonSortDesc;
class ETreeTotals;

/// A level that is printed.
struct CliTreeLevel {
    CliColumn column;
    unsigned int id = 0;
    bool hasLabel = false;
    bool isFixed = false;  // all nodes have the place's value at this level
};

/// The printed part of a tree.
struct CliTreeView {
    std::string rootName;
    std::vector<CliTreeLevel> levels;
    ETabulonTag place;                       // a value for each fixed level
    std::size_t depth = 0;                   // levels shown below the root
    std::vector<CliColumn> keyParts;         // of the records; empty if records aren't printed
    std::vector<CliColumn> results;          // of the calculations; empty if nothing is calculated
    std::vector<ETabulonValue> ofNoRecords;  // their results for a root without records
    /// The calculation that siblings are sorted by, in place of their order in the tree.
    struct ByResult {
        unsigned int calculation = 0;
        bool isFalling = true;
    };
    std::optional<ByResult> order;
    enum class Base : std::uint8_t { Parent, Root };
    std::optional<Base> percent;            // of what all results are shares
    std::uint64_t limit = CliLimit::kNone;  // of printed nodes and records
};

/// What is printed of each node.
struct CliTreeContents {
    const CliTreeRecords& records;
    const ETreeTotals* totals = nullptr;  // null if nothing is calculated
};

/// Prints a tree from the root down, children in the tree's order. The derived classes write the
/// formats.
///
/// Ownership  the constructor's arguments aren't owned and must outlive the printer.
/// Failure    SIGINT or a broken output ends the printing after a whole item.
class CliTreePrinter {
public:
    CliTreePrinter(const CliPrinting& printing, const CliTreeView& view,
                   const CliTreeContents& contents, const CliInterrupt& interrupt);
    CliTreePrinter(const CliTreePrinter&) = delete;
    CliTreePrinter& operator=(const CliTreePrinter&) = delete;
    virtual ~CliTreePrinter() = default;

    void Print(const EDataTree& tree);

protected:
    /// Whether nodes above the deepest ones are printed too.
    [[nodiscard]] virtual bool PrintsInnerNodes() const { return true; }
    /// Whether all nodes are to be met twice: first by OnNode alone, with IsMeasuring.
    [[nodiscard]] virtual bool MeasuresFirst() const { return false; }
    [[nodiscard]] bool IsMeasuring() const noexcept { return isMeasuring_; }
    /// All nodes have been measured, if they are; the printing begins.
    virtual void OnBegin() {}
    /// Writes a node, without its children. The root comes first.
    virtual void OnNode(std::uint64_t count) = 0;
    /// Writes a record of the node that was written last.
    virtual void OnRecord(const std::vector<CliCell>& key) = 0;
    /// All children or records of a node have been written.
    virtual void OnNodeEnd() {}
    /// Follows OnBegin, also if nothing came between them.
    virtual void OnEnd(bool /*isWhole*/) {}

    [[nodiscard]] const CliTreeView& View() const noexcept { return view_; }
    [[nodiscard]] CliOutput& Output() const noexcept { return output_; }
    /// The node's depth; the root has 0.
    [[nodiscard]] std::size_t Depth() const noexcept { return depth_; }
    [[nodiscard]] bool IsDeepest() const noexcept { return depth_ == view_.depth; }
    [[nodiscard]] bool ShowsRecords() const noexcept { return !view_.keyParts.empty(); }
    /// The level of the node. Requires that the node isn't the root.
    [[nodiscard]] const CliTreeLevel& Level() const { return *below_[depth_ - 1]; }
    /// The node's own value. Requires that the node isn't the root.
    [[nodiscard]] CliCell Value() { return CellOf(Level(), path_[depth_ - 1]); }
    /// Calls `call(index, cell)` for each level with a value in the node's path, in their order.
    template <class Call>
    void ForPath(Call call);
    /// Calls `call(index, cell)` for each result of the node that was written last.
    template <class Call>
    void ForResults(Call call);
    [[nodiscard]] CliCellMaker& Maker() noexcept { return maker_; }
    /// `level=value` of each fixed level, or `part=value` of each part of a key.
    [[nodiscard]] std::string ShownPlace();
    [[nodiscard]] std::string ShownKey(const std::vector<CliCell>& key) const;

private:
    [[nodiscard]] bool PrintNode(const EDataTreeNode& node);
    [[nodiscard]] bool PrintChildren(const EDataTreeNode& node);
    void ReadResults(const EDataTreeNode& node);
    [[nodiscard]] bool PrintRecords(const EDataTreeNode& node);
    [[nodiscard]] bool GoesOn() const;
    [[nodiscard]] bool IsLeftOut() const noexcept { return met_ > view_.limit; }
    void NoteRest() const;
    [[nodiscard]] CliCell CellOf(const CliTreeLevel& level, const ETabulonValue& value);

    const CliTreeView& view_;
    const CliTreeContents contents_;
    CliOutput& output_;
    const CliInterrupt& interrupt_;
    const ETabulonSortDesc* sort_ = nullptr;  // of the tree that is printed
    std::vector<const CliTreeLevel*> below_;  // by depth: the levels that aren't fixed
    std::vector<ETabulonValue> path_;         // values from below the root down
    std::size_t depth_ = 0;
    bool isMeasuring_ = false;
    std::uint64_t met_ = 0;  // what counts for the limit, up to the node that is printed
    CliCellMaker maker_;
    std::vector<CliCell> key_;
    std::vector<ETabulonValue> results_;  // of the node that is printed
};

[[nodiscard]] std::unique_ptr<CliTreePrinter> MakeTreePrinter(const CliPrinting& printing,
                                                              const CliTreeView& view,
                                                              const CliTreeContents& contents,
                                                              const CliInterrupt& interrupt);

template <class Call>
void CliTreePrinter::ForResults(Call call) {
    for (std::size_t index = 0; index < results_.size(); ++index) {
        call(index, maker_.Of(results_[index]));
    }
}

template <class Call>
void CliTreePrinter::ForPath(Call call) {
    std::size_t depth = 0;
    for (std::size_t place = 0; place < view_.levels.size(); ++place) {
        const CliTreeLevel& level = view_.levels[place];
        if (level.isFixed) {
            call(place, CellOf(level, view_.place.Value(level.id)));
        } else if (depth < depth_) {
            call(place, CellOf(level, path_[depth++]));
        }
    }
}

}  // namespace etabulon
