#include "tables/TableColumns.h"

#include <cstring>

namespace {

// As `palvorin dump --json` names an item's fields.
const sColumn kItems[] = {
    {"index", COLUMN_INT},        {"time_utc", COLUMN_TIME}, {"type", COLUMN_INT},
    {"type_name", COLUMN_TEXT},   {"length", COLUMN_INT},    {"aux", COLUMN_INT},
    {"subscription", COLUMN_INT}, {"log_code", COLUMN_CODE}, {"message_kind", COLUMN_TEXT},
};

const sColumn kMessages[] = {
    {"time_utc", COLUMN_TIME}, {"subscription", COLUMN_INT}, {"technology", COLUMN_TEXT},
    {"channel", COLUMN_TEXT},  {"direction", COLUMN_TEXT},   {"arfcn", COLUMN_INT},
    {"pci", COLUMN_INT},       {"log_code", COLUMN_CODE},    {"message", COLUMN_BYTES},
};

const sColumn kMeasurements[] = {
    {"time_utc", COLUMN_TIME}, {"subscription", COLUMN_INT}, {"technology", COLUMN_TEXT},
    {"log_code", COLUMN_CODE}, {"serving", COLUMN_INT},      {"arfcn", COLUMN_INT},
    {"pci", COLUMN_INT},       {"rsrp_dbm", COLUMN_REAL},    {"rsrq_db", COLUMN_REAL},
    {"rssi_dbm", COLUMN_REAL}, {"sinr_db", COLUMN_REAL},     {"rscp_dbm", COLUMN_REAL},
    {"ecio_db", COLUMN_REAL},  {"rxlev_dbm", COLUMN_REAL},
};

const sColumn kCells[] = {
    {"from_utc", COLUMN_TIME},
    {"to_utc", COLUMN_TIME},
    {"subscription", COLUMN_INT},
    {"technology", COLUMN_TEXT},
    {"arfcn", COLUMN_INT},
    {"pci", COLUMN_INT},
    {"cell_id", COLUMN_INT},
    {"tac", COLUMN_INT},
    {"mcc", COLUMN_INT},
    {"mnc", COLUMN_TEXT},
    {"band", COLUMN_INT},
    {"bandwidth_mhz", COLUMN_REAL},
    {"entered_by", COLUMN_TEXT},
    {"rsrp_median_dbm", COLUMN_REAL},
    {"rsrq_median_db", COLUMN_REAL},
    {"measurements", COLUMN_INT},
};

const sColumn kEvents[] = {
    {"time_utc", COLUMN_TIME}, {"subscription", COLUMN_INT}, {"technology", COLUMN_TEXT},
    {"event", COLUMN_TEXT},    {"detail", COLUMN_TEXT},
};

template <size_t N>
constexpr sTableDef Def(const char* name, const sColumn (&columns)[N]) {
    return {name, columns, N};
}

const sTableDef kTables[TABLE_COUNT] = {
    Def("items", kItems), Def("messages", kMessages), Def("measurements", kMeasurements),
    Def("cells", kCells), Def("events", kEvents),
};

}  // namespace

const sTableDef& TableDef(eTable table) {
    return kTables[table < TABLE_COUNT ? table : TABLE_ITEMS];
}

bool TableByName(const char* name, eTable& table) {
    for (unsigned int i = 0; i < TABLE_COUNT; ++i) {
        if (name != nullptr && std::strcmp(kTables[i].mName, name) == 0) {
            table = static_cast<eTable>(i);
            return true;
        }
    }
    return false;
}
