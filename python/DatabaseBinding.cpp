// palvorin._native.CampaignDB: the campaign database writer (db/CampaignDB.h) for Python, one connection
// per object. Every call releases the interpreter while the writer works; a lock keeps the connection to
// one thread at a time, as the writer asks. palvorin/database.py builds the package's Database on it.

#include <pybind11/pybind11.h>

#include <memory>
#include <mutex>
#include <string>

#include "db/CampaignDB.h"
#include "python/PyError.h"

namespace py = pybind11;

namespace {

const char* ResultName(eDBAddResult result) {
    switch (result) {
        case DB_ADDED:
            return "added";
        case DB_ALREADY_PRESENT:
            return "already_present";
        case DB_FILE_FAILED:
            return "file_failed";
        case DB_DATABASE_FAILED:
            return "database_failed";
    }
    return "database_failed";
}

class cPyCampaignDB {
public:
    cPyCampaignDB(const std::string& target, bool scratch) : mTarget(target) {
        bool opened = false;
        {
            py::gil_scoped_release unlocked;
            opened = scratch ? mDB.OpenScratch(target) : mDB.Open(target);
        }
        if (!opened) {
            RaiseError("database_failed", target, mDB.Error());
        }
    }

    py::dict AddFile(const std::string& path, const std::string& source) {
        sDBAddSummary summary;
        eDBAddResult result;
        std::string error;
        {
            py::gil_scoped_release unlocked;
            std::lock_guard<std::mutex> hold(mLock);
            result = mDB.AddFile(path, summary, source);
            error = mDB.Error();
        }
        py::dict out;
        out["status"] = ResultName(result);
        out["file_id"] = summary.mFileId;
        out["sha256"] = summary.mSHA256;
        py::dict rows;
        for (unsigned int table = 0; table < TABLE_COUNT; ++table) {
            rows[TableDef(static_cast<eTable>(table)).mName] = summary.mRows[table];
        }
        out["rows"] = rows;
        out["error"] = error;
        return out;
    }

    py::tuple AddDatabase(const std::string& sqlitePath) {
        uint64_t added = 0;
        uint64_t present = 0;
        eDBAddResult result;
        std::string error;
        {
            py::gil_scoped_release unlocked;
            std::lock_guard<std::mutex> hold(mLock);
            result = mDB.AddDatabase(sqlitePath, added, present);
            error = mDB.Error();
        }
        return py::make_tuple(ResultName(result), added, present, error);
    }

    void Bulk(bool begin) {
        bool done = false;
        {
            py::gil_scoped_release unlocked;
            std::lock_guard<std::mutex> hold(mLock);
            done = begin ? mDB.BeginBulkLoad() : mDB.EndBulkLoad();
        }
        if (!done) {
            RaiseError("database_failed", mTarget, mDB.Error());
        }
    }

    void Close() {
        py::gil_scoped_release unlocked;
        std::lock_guard<std::mutex> hold(mLock);
        mDB.Close();
    }

private:
    std::string mTarget;
    std::mutex mLock;
    cCampaignDB mDB;
};

}  // namespace

void BindDatabase(py::module_& module) {
    py::class_<cPyCampaignDB>(module, "CampaignDB",
                              "One connection to a campaign database (a SQLite path or a postgresql:// URL); "
                              "raises palvorin.Error (database_failed) when it cannot be opened.")
        .def(py::init<const std::string&, bool>(), py::arg("target"), py::arg("scratch") = false,
             "`scratch`: a new one-file SQLite database of a campaign worker, to be merged by add_database "
             "and removed (no journal file, nothing synced, no indexes, locked for this connection).")
        .def("add_file", &cPyCampaignDB::AddFile, py::arg("path"), py::arg("source") = "",
             "Adds the ISF file at `path` in one transaction: {status, file_id, sha256, rows, error}; status "
             "is added, already_present, file_failed or database_failed (nothing of the file stays). "
             "`source`: the raw stream `path` was recorded from, which then names the file.")
        .def("add_database", &cPyCampaignDB::AddDatabase, py::arg("sqlite_path"),
             "Adds every file of the campaign database at `sqlite_path` that is not here, each in its own "
             "transaction: (status, added, present, error).")
        .def(
            "begin_bulk_load", [](cPyCampaignDB& db) { db.Bulk(true); },
            "SQLite: drops the indexes until end_bulk_load (faster loading of a new database).")
        .def(
            "end_bulk_load", [](cPyCampaignDB& db) { db.Bulk(false); },
            "Builds the indexes dropped by begin_bulk_load.")
        .def("close", &cPyCampaignDB::Close, "Ends a bulk load, then the connection.");
}
