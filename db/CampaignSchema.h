// The schema of the campaign database, generated from the capture tables' columns (tables/TableColumns.h)
// for each engine: a `files` table, and every capture table but items with a `file_id` column in front.
#pragma once

#include <string>
#include <vector>

#include "db/DBBackend.h"
#include "tables/TableSink.h"

// Stored in schema_info; a database of another version is refused, not changed.
const int kCampaignSchemaVersion = 1;

// The columns of the files table, in order; after them one row count per stored table (FilesRowsColumn).
enum eFileColumn {
    FILE_ID = 0,
    FILE_PATH,    // absolute, as the writer saw it
    FILE_SIZE,    // bytes
    FILE_SHA256,  // 64 lowercase hex digits; unique
    FILE_ITEMS,   // items in the file
    FILE_FIRST,   // time of the first and last item
    FILE_LAST,
    FILE_TOOL_VERSION,  // the library version that added the file
    FILE_ADDED,         // when it was added
    FILE_ROW_COUNTS,    // first of the row counts: "messages_rows", ...
};

const sTableDef& FilesTable();
// The column of the files table that counts the rows of `table`; 0 for a table that is not stored.
size_t FilesRowsColumn(eTable table);
// `table` as the database holds it: file_id, then the capture table's columns. Null for items, which are
// counted in the files table and not stored.
const sTableDef* StoredTable(eTable table);

// The SQL type of a column.
const char* ColumnType(eColumnType type, eDBEngine engine);
// Statements that create what is missing, tables and (unless `indexes` is false) indexes, in order; they
// leave existing ones alone.
std::vector<std::string> SchemaStatements(eDBEngine engine, bool indexes = true);

// An index of a stored table.
struct sIndex {
    std::string mName;     // "messages_by_time"
    std::string mTable;    // "messages"
    std::string mColumns;  // "time_utc"
};
// The indexes of the stored tables: by file, by time, and by cell where a table has arfcn and pci.
std::vector<sIndex> Indexes();
// A query counting the tables of the database (of the current schema for PostgreSQL).
std::string CountTablesSQL(eDBEngine engine);
// A query counting the tables named `name`.
std::string TableExistsSQL(eDBEngine engine, const std::string& name);

// `value` of a column of `type` as an SQL literal of `engine` (NULL for a null value).
std::string Literal(const sValue& value, eColumnType type, eDBEngine engine);
// The names of `table`'s columns from `from` on, separated by commas.
std::string ColumnList(const sTableDef& table, size_t from = 0);
