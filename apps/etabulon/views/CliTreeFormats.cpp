#include "apps/etabulon/output/CliOutput.h"
#include "apps/etabulon/views/CliTreePrinter.h"
#include "etabulon/report/EReportJson.h"

#include <algorithm>

namespace etabulon {
namespace {

constexpr const char* kCount = "count";
constexpr std::uint32_t kIndent = 2;

/// An indented line for each node, with its count.
class TableTreePrinter final : public CliTreePrinter {
public:
    TableTreePrinter(const CliPrinting& printing, const CliTreeView& view,
                     const CliTreeContents& contents, const CliInterrupt& interrupt)
        : CliTreePrinter(printing, view, contents, interrupt), printing_(printing) {}

protected:
    [[nodiscard]] bool MeasuresFirst() const override {
        return printing_.bars != CliBarStyle::None;
    }
    void OnBegin() override {
        writer_ = MakeResultWriter(printing_);
        if (MeasuresFirst()) {
            writer_ = std::make_unique<CliBarsWriter>(std::move(writer_), printing_.bars,
                                                      BarColumn(), scale_);
        }
        const CliTreeView& view = View();
        std::string title;
        std::size_t depth = 0;
        for (const CliTreeLevel& level : view.levels) {
            if (!level.isFixed && depth++ < view.depth) {
                title += title.empty() ? "" : ", ";
                title += level.column.name;
            }
        }
        std::vector<CliColumn> columns = {{title.empty() ? view.rootName : title, false, true},
                                          {kCount, true, false, true}};
        columns.insert(columns.end(), view.results.begin(), view.results.end());
        writer_->SetTitle(view.rootName);
        writer_->Begin(columns);
    }
    void OnNode(std::uint64_t count) override {
        if (IsMeasuring()) {
            return Measure(count);
        }
        writer_->SetDepth(static_cast<std::uint32_t>(Depth()));
        if (Depth() == 0) {
            const std::string place = ShownPlace();
            Put(CliCellMaker::Of(place.empty() ? View().rootName : place), count);
        } else {
            Put(Value(), count);
        }
        ForResults([this](std::size_t /*index*/, const CliCell& cell) { writer_->Cell(cell); });
        writer_->EndRecord();
    }
    void OnRecord(const std::vector<CliCell>& key) override {
        const std::string shown = ShownKey(key);
        CliCell cell = CliCellMaker::Of(std::string_view(shown));
        cell.indent = kIndent;
        writer_->SetDepth(static_cast<std::uint32_t>(Depth() + 1));
        Put(cell, 1);
        for (std::size_t index = 0; index < View().results.size(); ++index) {
            writer_->Cell({CliCellKind::Absent, {}});
        }
        writer_->EndRecord();
    }
    void OnEnd(bool isWhole) override { writer_->Finish(isWhole); }

private:
    /// The column with bars: the first calculation that gives numbers, or else the count.
    [[nodiscard]] std::size_t BarColumn() const {
        const auto& results = View().results;
        const auto first = std::find_if(results.begin(), results.end(),
                                        [](const CliColumn& column) { return column.isNumber; });
        return first == results.end() ? 1 : static_cast<std::size_t>(first - results.begin()) + 2;
    }
    void Measure(std::uint64_t count) {
        if (Depth() == 0) {
            return;
        }
        if (BarColumn() == 1) {
            scale_.Add(static_cast<double>(count));
        }
        ForResults([this](std::size_t index, const CliCell& cell) {
            if (index + 2 == BarColumn()) {
                scale_.Add(cell);
            }
        });
    }
    void Put(CliCell cell, std::uint64_t count) {
        cell.indent += kIndent * static_cast<std::uint32_t>(Depth());
        writer_->Cell(cell);
        writer_->Cell(Maker().Of(static_cast<std::int64_t>(count)));
    }

    const CliPrinting& printing_;
    CliBarScale scale_;
    std::unique_ptr<EReportWriter> writer_;
};

/// A line for each of the deepest nodes, or for each record. A node further up has no line: its
/// cells without a value couldn't be told from NULL.
class RowsTreePrinter final : public CliTreePrinter {
public:
    RowsTreePrinter(const CliPrinting& printing, const CliTreeView& view,
                    const CliTreeContents& contents, const CliInterrupt& interrupt)
        : CliTreePrinter(printing, view, contents, interrupt), writer_(MakeWriter(printing)) {
        std::vector<CliColumn> columns;
        std::size_t depth = 0;
        for (const CliTreeLevel& level : view.levels) {
            if (level.isFixed || depth++ < view.depth) {
                columns.push_back(level.column);
            }
        }
        columns.push_back({kCount, true});
        columns.insert(columns.end(), view.results.begin(), view.results.end());
        columns.insert(columns.end(), view.keyParts.begin(), view.keyParts.end());
        GiveNames(columns);
        writer_->Begin(columns);
    }

protected:
    [[nodiscard]] bool PrintsInnerNodes() const override { return false; }
    void OnNode(std::uint64_t count) override {
        if (IsDeepest() && !ShowsRecords()) {
            PutPath(count);
            ForResults([this](std::size_t /*index*/, const CliCell& cell) { writer_->Cell(cell); });
            writer_->EndRecord();
        }
    }
    void OnRecord(const std::vector<CliCell>& key) override {
        PutPath(1);
        for (const CliCell& cell : key) {
            writer_->Cell(cell);
        }
        writer_->EndRecord();
    }
    void OnEnd(bool isWhole) override { writer_->Finish(isWhole); }

private:
    void PutPath(std::uint64_t count) {
        ForPath([this](std::size_t /*place*/, const CliCell& cell) { writer_->Cell(cell); });
        writer_->Cell(Maker().Of(static_cast<std::int64_t>(count)));
    }

    std::unique_ptr<EReportWriter> writer_;
};

/// The parts that both JSON formats share.
class JsonTreePrinterBase : public CliTreePrinter {
public:
    JsonTreePrinterBase(const CliPrinting& printing, const CliTreeView& view,
                        const CliTreeContents& contents, const CliInterrupt& interrupt)
        : CliTreePrinter(printing, view, contents, interrupt) {
        std::vector<CliColumn> columns;
        for (const CliTreeLevel& level : view.levels) {
            columns.push_back(level.column);
        }
        GiveNames(columns);
        for (const CliColumn& column : columns) {
            levelNames_.push_back(JsonName(column.name) + ":");
        }
        for (const CliColumn& part : view.keyParts) {
            keyNames_.push_back(JsonName(part.name) + ":");
        }
        for (const CliColumn& result : view.results) {
            resultNames_.push_back(JsonName(result.name) + ":");
        }
    }

protected:
    /// Writes the values of the node's path as one object.
    void PutPath() {
        Output().Append('{');
        bool isFirst = true;
        ForPath([this, &isFirst](std::size_t place, const CliCell& cell) {
            Output().Append(isFirst ? "" : ",");
            isFirst = false;
            Output().Append(levelNames_[place]);
            AppendJson(Output(), cell);
        });
        Output().Append('}');
    }
    void PutCount(std::uint64_t count) {
        Output().Append("\"count\":");
        Output().Append(Maker().Of(static_cast<std::int64_t>(count)).text);
    }
    /// Writes the node's results as one object, if there are calculations.
    void PutResults() {
        ForResults([this](std::size_t index, const CliCell& cell) {
            Output().Append(index == 0 ? ",\"values\":{" : ",");
            Output().Append(resultNames_[index]);
            AppendJson(Output(), cell);
        });
        Output().Append(resultNames_.empty() ? "" : "}");
    }
    void PutKey(const std::vector<CliCell>& key) {
        for (std::size_t part = 0; part < key.size(); ++part) {
            Output().Append(part == 0 ? '{' : ',');
            Output().Append(keyNames_[part]);
            AppendJson(Output(), key[part]);
        }
        Output().Append('}');
    }

private:
    std::vector<std::string> levelNames_;
    std::vector<std::string> keyNames_;
    std::vector<std::string> resultNames_;
};

/// An object for each node, with its whole path.
class NdJsonTreePrinter final : public JsonTreePrinterBase {
public:
    using JsonTreePrinterBase::JsonTreePrinterBase;

protected:
    void OnNode(std::uint64_t count) override {
        Begin(count);
        PutResults();
        Output().EndLine("}");
    }
    void OnRecord(const std::vector<CliCell>& key) override {
        Begin(1);
        Output().Append(",\"key\":");
        PutKey(key);
        Output().EndLine("}");
    }

private:
    void Begin(std::uint64_t count) {
        Output().Append("{\"path\":");
        PutPath();
        Output().Append(',');
        PutCount(count);
    }
};

/// Nested objects: a node contains its children.
class JsonTreePrinter final : public JsonTreePrinterBase {
public:
    using JsonTreePrinterBase::JsonTreePrinterBase;

protected:
    void OnNode(std::uint64_t count) override {
        BeginItem(Depth());
        if (Depth() == 0) {
            Output().Append("{\"table\":");
            Output().Append(JsonName(View().rootName));
            if (View().place.KnownLevelsCount() != 0) {
                Output().Append(",\"at\":");
                PutPath();
            }
        } else {
            Output().Append("{\"level\":");
            Output().Append(JsonName(Level().column.name));
            Output().Append(",\"value\":");
            AppendJson(Output(), Value());
        }
        Output().Append(',');
        PutCount(count);
        PutResults();
        if (HasItems()) {
            Output().Append(IsDeepest() ? ",\"leaves\":[" : ",\"children\":[");
            isFirst_ = true;
        }
    }
    void OnRecord(const std::vector<CliCell>& key) override {
        BeginItem(Depth() + 1);
        PutKey(key);
    }
    void OnNodeEnd() override {
        Output().Append(HasItems() ? "]}" : "}");
        isFirst_ = false;
    }
    void OnEnd(bool /*isWhole*/) override { Output().EndLine(); }

private:
    [[nodiscard]] bool HasItems() const noexcept { return !IsDeepest() || ShowsRecords(); }
    void BeginItem(std::size_t depth) {
        if (depth != 0) {
            Output().EndLine(isFirst_ ? "" : ",");
            Output().AppendBlanks(depth * kIndent);
        }
        isFirst_ = false;
    }

    bool isFirst_ = true;  // the next item is the first behind its bracket
};

}  // namespace

std::unique_ptr<CliTreePrinter> MakeTreePrinter(const CliPrinting& printing,
                                                const CliTreeView& view,
                                                const CliTreeContents& contents,
                                                const CliInterrupt& interrupt) {
    switch (printing.format) {
        case CliFormat::Json:
            return std::make_unique<JsonTreePrinter>(printing, view, contents, interrupt);
        case CliFormat::NdJson:
            return std::make_unique<NdJsonTreePrinter>(printing, view, contents, interrupt);
        case CliFormat::Table:
        case CliFormat::Xlsx:
            return std::make_unique<TableTreePrinter>(printing, view, contents, interrupt);
        default:
            return std::make_unique<RowsTreePrinter>(printing, view, contents, interrupt);
    }
}

}  // namespace etabulon
