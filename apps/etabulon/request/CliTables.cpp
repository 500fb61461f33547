#include "apps/etabulon/request/CliTables.h"

#include "apps/etabulon/request/CliCsvOptions.h"
#include "etabulon/csv/ECsvTable.h"
#include "etabulon/jsonl/EJsonTable.h"
#include "etabulon/sql/ESqlSource.h"

#include <algorithm>
#include <mutex>

namespace etabulon {
namespace {

class DatabaseTables final : public CliTables {
public:
    explicit DatabaseTables(std::unique_ptr<ESqlSource> source) : source_(std::move(source)) {}

    std::span<const ESqlTableInfo> Tables() const noexcept override { return source_->Tables(); }
    DDico& Dico() noexcept override { return *source_->Dico(); }
    ESqlSource* Database() noexcept override { return source_.get(); }
    const Chaine& Location() const noexcept override { return source_->Location(); }
    std::unique_ptr<EDataTable> OpenTable(const ESqlTableInfo& table,
                                          const std::vector<unsigned int>& variables,
                                          ESqlError& error) override {
        ESqlTableOptions options;
        options.columns = variables;
        return source_->OpenTable(table.code, options, error);
    }
    std::int64_t CountRows(const ESqlTableInfo& table, ESqlError& error) override {
        return source_->CountRows(table.code, error);
    }
    std::int64_t CountDistinct(const ESqlTableInfo& table, unsigned int variable,
                               ESqlError& error) override {
        return source_->CountDistinct(table.code, table.columns[variable].code, error);
    }

private:
    std::unique_ptr<ESqlSource> source_;
};

/// The table of a file that is held in memory.
template <class File>
class FileTables : public CliTables {
public:
    explicit FileTables(std::unique_ptr<File> file) : file_(std::move(file)) {}

    std::span<const ESqlTableInfo> Tables() const noexcept override { return {&file_->Info(), 1}; }
    DDico& Dico() noexcept override { return *file_->Dico(); }
    ESqlSource* Database() noexcept override { return nullptr; }
    const Chaine& Location() const noexcept override { return file_->Location(); }
    std::unique_ptr<EDataTable> OpenTable(const ESqlTableInfo& /*table*/,
                                          const std::vector<unsigned int>& variables,
                                          ESqlError& /*error*/) override {
        return file_->Open(variables);
    }
    std::uint64_t CutCount(unsigned int variable) const override {
        return file_->CutCount(variable);
    }
    std::int64_t CountRows(const ESqlTableInfo& /*table*/, ESqlError& /*error*/) override {
        return static_cast<std::int64_t>(file_->Open()->Count());
    }
    std::int64_t CountDistinct(const ESqlTableInfo& /*table*/, unsigned int variable,
                               ESqlError& /*error*/) override {
        const unsigned int fields[] = {variable};
        return static_cast<std::int64_t>(file_->Open(fields)->CountDistinct(0));
    }

protected:
    [[nodiscard]] const File& Opened() const noexcept { return *file_; }

private:
    std::unique_ptr<File> file_;
};

/// Tells of the columns that another notation would read, once each: of those that a table is
/// opened with, and of all where none is opened, since the command lists the columns or has failed
/// over them.
class CsvTables final : public FileTables<ECsvTable> {
public:
    explicit CsvTables(std::unique_ptr<ECsvTable> file)
        : FileTables(std::move(file)), untold_(Opened().Hints().begin(), Opened().Hints().end()) {}
    CsvTables(const CsvTables&) = delete;
    CsvTables& operator=(const CsvTables&) = delete;
    ~CsvTables() override {
        if (!isOpened_) {
            TellHints(Opened(), untold_);
        }
    }
    std::unique_ptr<EDataTable> OpenTable(const ESqlTableInfo& table,
                                          const std::vector<unsigned int>& variables,
                                          ESqlError& error) override {
        {
            const std::lock_guard lock(lock_);
            isOpened_ = true;
            const auto read =
                std::stable_partition(untold_.begin(), untold_.end(), [&](const ECsvHint& hint) {
                    return std::ranges::count(variables, hint.column) == 0;
                });
            TellHints(Opened(), {read, untold_.end()});
            untold_.erase(read, untold_.end());
        }
        return FileTables::OpenTable(table, variables, error);
    }

private:
    std::mutex lock_;
    std::vector<ECsvHint> untold_;  // guarded by lock_
    bool isOpened_ = false;         // guarded by lock_
};

}  // namespace

std::unique_ptr<CliTables> TablesOf(std::unique_ptr<ESqlSource> source) {
    return std::make_unique<DatabaseTables>(std::move(source));
}

std::unique_ptr<CliTables> TablesOf(std::unique_ptr<ECsvTable> file) {
    return std::make_unique<CsvTables>(std::move(file));
}

std::unique_ptr<CliTables> TablesOf(std::unique_ptr<EJsonTable> file) {
    return std::make_unique<FileTables<EJsonTable>>(std::move(file));
}

}  // namespace etabulon
