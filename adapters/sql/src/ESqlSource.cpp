#include "etabulon/sql/ESqlSource.h"

#include "ESqlLinkSource.h"
#include "ESqlStatements.h"
#include "SqlSourceCore.h"
#include "etabulon/sql/ESqlText.h"

#include <set>
#include <string>

namespace etabulon {

namespace {

std::string Folded(std::string_view name) {
    std::string folded(name);
    for (char& c : folded) {
        c = static_cast<char>(Chaine::Fold(static_cast<unsigned char>(c)));
    }
    return folded;
}

/// `code`, with a suffix if an earlier code differs from it only by case.
Chaine Unused(const Chaine& code, std::set<std::string>& used) {
    Chaine candidate = code;
    for (unsigned int suffix = 2; !used.insert(Folded(candidate.View())).second; ++suffix) {
        candidate = code;
        candidate.Append("_" + std::to_string(suffix));
    }
    return candidate;
}

int FindColumn(const ESqlTableInfo& table, const Chaine& codeOrName) {
    for (std::size_t i = 0; i < table.columns.size(); ++i) {
        if (table.columns[i].code.EqualsFolded(codeOrName)) {
            return static_cast<int>(i);
        }
    }
    for (std::size_t i = 0; i < table.columns.size(); ++i) {
        if (table.columns[i].name.EqualsFolded(codeOrName)) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

int FindColumnByName(const ESqlTableInfo& table, const Chaine& name) {
    for (std::size_t i = 0; i < table.columns.size(); ++i) {
        if (table.columns[i].name.EqualsFolded(name)) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

/// The codes of columns by their names; false if one of them doesn't exist.
bool FindCodes(const ESqlTableInfo& table, const std::vector<Chaine>& names,
               std::vector<Chaine>& codes) {
    for (const Chaine& name : names) {
        const int index = FindColumnByName(table, name);
        if (index < 0) {
            return false;
        }
        codes.push_back(table.columns[static_cast<std::size_t>(index)].code);
    }
    return true;
}

void SetUnknown(ESqlError& error, const Chaine& location, std::string_view what,
                const Chaine& name) {
    error = ESqlError{};
    error.status = DataBadStatement;
    error.text = location;
    error.text.Append(": there is no ");
    error.text.Append(what);
    error.text.Append(" ");
    error.text += name;
}

}  // namespace

ESqlSource::ESqlSource(const Chaine& location, ESqlOpenMode mode)
    : core_(std::make_shared<detail::SqlSourceCore>(location, mode)) {}

ESqlSource::~ESqlSource() { core_->isOpen.store(false); }

DDico* ESqlSource::Dico() noexcept { return &core_->dico; }
const DDico* ESqlSource::Dico() const noexcept { return &core_->dico; }
std::span<const ESqlTableInfo> ESqlSource::Tables() const noexcept { return core_->tables; }
ESqlOpenMode ESqlSource::Mode() const noexcept { return core_->mode; }
const Chaine& ESqlSource::Location() const noexcept { return core_->location; }

const ESqlTableInfo* ESqlSource::FindTable(const Chaine& codeOrName) const {
    for (const ESqlTableInfo& table : core_->tables) {
        if (table.code.EqualsFolded(codeOrName)) {
            return &table;
        }
    }
    for (const ESqlTableInfo& table : core_->tables) {
        if (table.name.EqualsFolded(codeOrName)) {
            return &table;
        }
    }
    return nullptr;
}

DRubric* ESqlSource::Rubric(const ESqlTableInfo& table) { return core_->dico.Find(table.code); }

std::unique_ptr<ESqlTable> ESqlSource::OpenTable(const Chaine& codeOrName,
                                                 const ESqlTableOptions& options,
                                                 ESqlError& error) {
    error = ESqlError{};
    const ESqlTableInfo* const table = FindTable(codeOrName);
    if (table == nullptr) {
        SetUnknown(error, Location(), "table", codeOrName);
        return nullptr;
    }
    std::vector<unsigned int> columns = options.columns;
    std::set<unsigned int> seen;
    for (const unsigned int column : columns) {
        if (column >= table->columns.size() || !seen.insert(column).second) {
            SetUnknown(error, Location(), "column of that number, or it is given twice, in",
                       table->name);
            return nullptr;
        }
    }
    for (unsigned int column = 0; options.columns.empty() && column < table->columns.size();
         ++column) {
        columns.push_back(column);
    }
    auto connection = Connect(error);
    if (connection == nullptr) {
        return nullptr;
    }
    return std::make_unique<ESqlTable>(*this, *table, *Rubric(*table), std::move(columns),
                                       std::move(connection));
}

std::int64_t ESqlSource::CountRows(const Chaine& codeOrName, ESqlError& error) {
    const ESqlTableInfo* const table = FindTable(codeOrName);
    if (table == nullptr) {
        SetUnknown(error, Location(), "table", codeOrName);
        return -1;
    }
    return AskNumber(std::string("SELECT count(*) FROM ") + table->qualifiedName.c_str(), error);
}

std::int64_t ESqlSource::CountDistinct(const Chaine& codeOrName, const Chaine& column,
                                       ESqlError& error) {
    const ESqlTableInfo* const table = FindTable(codeOrName);
    const int index = table != nullptr ? FindColumn(*table, column) : -1;
    if (index < 0) {
        SetUnknown(error, Location(), table == nullptr ? "table" : "column",
                   table == nullptr ? codeOrName : column);
        return -1;
    }
    return AskNumber("SELECT count(DISTINCT " +
                         SqlColumn(*table, static_cast<unsigned int>(index)) + ") FROM " +
                         table->qualifiedName.c_str(),
                     error);
}

Chaine ESqlSource::MisreadLinks() const { return core_->MisreadList(core_->misreads); }

Chaine ESqlSource::CutLinks() const { return core_->MisreadList(core_->cuts); }

void ESqlSource::ForgetMisreadLinks() {
    const std::lock_guard<std::mutex> guard(core_->misreadLock);
    core_->misreads.clear();
    core_->cuts.clear();
}

std::int64_t ESqlSource::AskNumber(const std::string& statement, ESqlError& error) {
    const std::lock_guard guard(lock_);
    error = ESqlError{};
    const auto prepared = connection_->Prepare(statement);
    if (prepared == nullptr || prepared->Step() != ESqlStep::Row) {
        error = connection_->LastError();
        return -1;
    }
    return prepared->Column(0).integer;
}

void ESqlSource::BuildDictionary(std::vector<ESqlTableInfo> tables,
                                 std::unique_ptr<ISqlConnection> connection) {
    core_->tables = std::move(tables);
    connection_ = std::move(connection);
    for (std::size_t i = 0; i < core_->tables.size(); ++i) {
        core_->keys.push_back(std::make_shared<ESqlKeyRegistry>());
    }
    GiveCodes();
    AddRubrics();
    AddLinks();
}

void ESqlSource::GiveCodes() {
    std::set<std::string> usedByTables;
    for (ESqlTableInfo& table : core_->tables) {
        table.code = Unused(SqlCode(table.name.View()), usedByTables);
        std::set<std::string> used;
        for (ESqlColumn& column : table.columns) {
            column.code = Unused(SqlCode(column.name.View()), used);
        }
    }
}

void ESqlSource::AddRubrics() {
    for (const ESqlTableInfo& table : core_->tables) {
        DRubric* const rubric = core_->dico.AddRubric(table.code, table.name);
        for (std::size_t i = 0; i < table.columns.size(); ++i) {
            const ESqlColumn& column = table.columns[i];
            const ETypeInfo& type = TypeInfo(column.type);
            // One byte more marks a missing value, so that every stored value stays usable.
            const unsigned int size = type.naturalSize + (type.IsSlot() ? 0U : 1U);
            rubric->AddVariable(column.code, column.name, column.type, size, 1, i + 1);
        }
        std::vector<Chaine> key;
        for (const unsigned int column : table.key) {
            key.push_back(table.columns[column].code);
        }
        rubric->SetKey(key);
        rubric->SetSource(std::make_shared<ESqlLinkSource>(*this, table));
    }
}

void ESqlSource::AddLinks() {
    for (const ESqlTableInfo& table : core_->tables) {
        DRubric* const rubric = Rubric(table);
        std::set<std::string> used;
        for (const ESqlForeignKey& link : table.foreignKeys) {
            const ESqlTableInfo* target = nullptr;
            for (const ESqlTableInfo& other : core_->tables) {
                target = other.name.EqualsFolded(link.target) ? &other : target;
            }
            std::vector<Chaine> own;
            std::vector<Chaine> there;
            for (const unsigned int column : link.columns) {
                own.push_back(table.columns[column].code);
            }
            // SQLite allows a foreign key to a table or columns that don't exist.
            if (target != nullptr && FindCodes(*target, link.targetColumns, there)) {
                rubric->AddLink(Unused(SqlCode(link.name.View()), used), own, Rubric(*target),
                                there);
            }
        }
    }
}

}  // namespace etabulon
