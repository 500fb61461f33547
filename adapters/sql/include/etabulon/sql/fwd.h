#pragma once

namespace etabulon {

class ESqlKeyRegistry;
class ESqlRow;
class ESqlRowBlock;
class ESqlSource;
class ESqlTable;
class ETabulonCursorSql;
class ISqlConnection;
class ISqlStatement;
struct EDataError;
using ESqlError = EDataError;
struct ESqlTableInfo;
struct ESqlTableOptions;

}  // namespace etabulon
