#include "etabulon/sqlite/ESqliteSource.h"

#include "ESqliteConnection.h"
#include "ESqliteSchema.h"

namespace etabulon {

ESqliteSource::~ESqliteSource() = default;

std::unique_ptr<ESqliteSource> ESqliteSource::Open(const Chaine& path, ESqlOpenMode mode,
                                                   ESqlError& error,
                                                   const ESqliteTypeHints& hints) {
    auto connection = ESqliteConnection::Open(path, mode, error);
    std::vector<ESqlTableInfo> tables;
    if (connection == nullptr || !ReadSqliteSchema(*connection, hints, tables, error)) {
        return nullptr;
    }
    auto source = std::unique_ptr<ESqliteSource>(new ESqliteSource(path, mode));
    source->BuildDictionary(std::move(tables), std::move(connection));
    return source;
}

std::unique_ptr<ISqlConnection> ESqliteSource::Connect(ESqlError& error) {
    return ESqliteConnection::Open(Location(), Mode(), error);
}

}  // namespace etabulon
