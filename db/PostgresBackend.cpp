#include "db/PostgresBackend.h"

#include <libpq-fe.h>

#include <cmath>
#include <cstring>

#include "db/CampaignSchema.h"

namespace {

// Binary COPY: the signature, the flags and the length of the header extension, and the end marker.
const char kCopyHeader[] = "PGCOPY\n\377\r\n\0\0\0\0\0\0\0\0\0";
const size_t kCopyHeaderSize = 19;
const char kCopyTrailer[] = "\377\377";
// timestamptz counts microseconds from 2000-01-01T00:00:00Z; that instant in milliseconds since 1970.
const int64_t kMs1970To2000 = 946684800000;

void PutBE(std::string& out, uint64_t value, unsigned int bytes) {
    char text[8];
    for (unsigned int i = 0; i < bytes; ++i) {
        text[i] = static_cast<char>(value >> (8 * (bytes - 1 - i)));
    }
    out.append(text, bytes);
}

// The URL without a password, for messages.
std::string WithoutPassword(const std::string& url) {
    const size_t scheme = url.find("://");
    const size_t at = url.find('@');
    if (scheme == std::string::npos || at == std::string::npos) {
        return url;
    }
    const size_t colon = url.find(':', scheme + 3);
    if (colon == std::string::npos || colon > at) {
        return url;
    }
    return url.substr(0, colon) + url.substr(at);
}

std::string Trimmed(const char* text) {
    std::string out = text != nullptr ? text : "";
    while (!out.empty() && (out.back() == '\n' || out.back() == ' ')) {
        out.pop_back();
    }
    return out;
}

void IgnoreNotice(void*, const char*) {}

}  // namespace

cPostgresBackend::~cPostgresBackend() {
    PQfinish(mConnection);
}

bool cPostgresBackend::Fail(const std::string& what) {
    mError = mName + ": " + what;
    const std::string reason = Trimmed(PQerrorMessage(mConnection));
    if (!reason.empty()) {
        mError += ": " + reason;
    }
    if (mConnection != nullptr && PQstatus(mConnection) == CONNECTION_BAD) {
        mError += " (connection lost)";
    }
    return false;
}

bool cPostgresBackend::Open(const std::string& url) {
    mName = WithoutPassword(url);
    mConnection = PQconnectdb(url.c_str());
    if (mConnection == nullptr || PQstatus(mConnection) != CONNECTION_OK) {
        mError = "cannot connect to " + mName + ": " +
                 (mConnection != nullptr ? Trimmed(PQerrorMessage(mConnection)) : "out of memory");
        return false;
    }
    // "relation already exists, skipping" and the like would reach standard error.
    PQsetNoticeProcessor(mConnection, IgnoreNotice, nullptr);
    return Execute(
        "SET standard_conforming_strings = on; SET client_min_messages = warning; SET TIME ZONE 'UTC'");
}

bool cPostgresBackend::Execute(const std::string& sql) {
    PGresult* result = PQexec(mConnection, sql.c_str());
    const ExecStatusType status = PQresultStatus(result);
    PQclear(result);
    if (status != PGRES_COMMAND_OK && status != PGRES_TUPLES_OK) {
        return Fail("statement failed");
    }
    return true;
}

bool cPostgresBackend::Query(const std::string& sql, std::vector<std::vector<std::string>>& rows) {
    rows.clear();
    PGresult* result = PQexec(mConnection, sql.c_str());
    if (PQresultStatus(result) != PGRES_TUPLES_OK) {
        PQclear(result);
        return Fail("query failed");
    }
    const int count = PQntuples(result);
    const int fields = PQnfields(result);
    for (int row = 0; row < count; ++row) {
        rows.emplace_back();
        for (int field = 0; field < fields; ++field) {
            rows.back().emplace_back(PQgetvalue(result, row, field));
        }
    }
    PQclear(result);
    return true;
}

bool cPostgresBackend::Begin() {
    for (sCopy& copy : mCopies) {
        copy.mData.clear();
    }
    return Execute("BEGIN");
}

bool cPostgresBackend::Commit() {
    if (!SendAll()) {
        return false;
    }
    PGresult* result = PQexec(mConnection, "COMMIT");
    const bool committed =
        PQresultStatus(result) == PGRES_COMMAND_OK && std::strcmp(PQcmdStatus(result), "COMMIT") == 0;
    PQclear(result);
    // A transaction that failed earlier ends with ROLLBACK here.
    return committed || Fail("commit failed");
}

bool cPostgresBackend::Rollback() {
    for (sCopy& copy : mCopies) {
        copy.mData.clear();
    }
    return Execute("ROLLBACK");
}

bool cPostgresBackend::Insert(const sTableDef& table, const sValue* values) {
    sCopy* copy = nullptr;
    for (sCopy& c : mCopies) {
        if (c.mTable == &table) {
            copy = &c;
        }
    }
    if (copy == nullptr) {
        mCopies.push_back(
            {&table,
             std::string("COPY ") + table.mName + " (" + ColumnList(table) + ") FROM STDIN (FORMAT binary)",
             std::string()});
        copy = &mCopies.back();
        copy->mData.reserve(kCopyBytes + (64 << 10));
    }
    std::string& out = copy->mData;
    PutBE(out, table.mCount, 2);
    for (size_t i = 0; i < table.mCount; ++i) {
        const sValue& value = values[i];
        const eColumnType type = table.mColumns[i].mType;
        if (value.mNull || (type == COLUMN_REAL && !std::isfinite(value.mReal))) {
            PutBE(out, 0xFFFFFFFF, 4);
            continue;
        }
        switch (type) {
            case COLUMN_TIME:
                PutBE(out, 8, 4);
                PutBE(out, static_cast<uint64_t>((value.mInt - kMs1970To2000) * 1000), 8);
                break;
            case COLUMN_INT:
                PutBE(out, 8, 4);
                PutBE(out, static_cast<uint64_t>(value.mInt), 8);
                break;
            case COLUMN_CODE:
                PutBE(out, 4, 4);
                PutBE(out, static_cast<uint32_t>(value.mInt), 4);
                break;
            case COLUMN_REAL: {
                uint64_t bits;
                std::memcpy(&bits, &value.mReal, sizeof bits);
                PutBE(out, 8, 4);
                PutBE(out, bits, 8);
                break;
            }
            case COLUMN_TEXT:
            case COLUMN_BYTES:
                PutBE(out, value.mSize, 4);
                out.append(value.mText != nullptr ? value.mText : "", value.mSize);
                break;
        }
    }
    return out.size() < kCopyBytes || Send(*copy);
}

bool cPostgresBackend::Send(sCopy& copy) {
    if (copy.mData.empty()) {
        return true;
    }
    PGresult* result = PQexec(mConnection, copy.mSQL.c_str());
    const bool started = PQresultStatus(result) == PGRES_COPY_IN;
    PQclear(result);
    if (!started) {
        copy.mData.clear();
        return Fail(std::string("cannot copy into ") + copy.mTable->mName);
    }
    const bool sent =
        PQputCopyData(mConnection, kCopyHeader, kCopyHeaderSize) == 1 &&
        PQputCopyData(mConnection, copy.mData.data(), static_cast<int>(copy.mData.size())) == 1 &&
        PQputCopyData(mConnection, kCopyTrailer, 2) == 1;
    copy.mData.clear();
    PQputCopyEnd(mConnection, sent ? nullptr : "the rows could not be sent");
    bool ok = sent;
    while ((result = PQgetResult(mConnection)) != nullptr) {
        ok = ok && PQresultStatus(result) == PGRES_COMMAND_OK;
        PQclear(result);
    }
    return ok || Fail(std::string("cannot copy into ") + copy.mTable->mName);
}

bool cPostgresBackend::SendAll() {
    for (sCopy& copy : mCopies) {
        if (!Send(copy)) {
            return false;
        }
    }
    return true;
}
