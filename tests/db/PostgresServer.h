// A PostgreSQL server of a test's (or a benchmark's) own in a temporary directory, started and stopped by
// tests/db/pgserver.sh (shared with tests/python/pgserver.py); it also stops when this process ends.
#pragma once

#include <libpq-fe.h>
#include <stdlib.h>
#include <unistd.h>

#include <string>
#include <vector>

class cPostgresServer {
public:
    static bool Installed() { return system("ls /usr/lib/postgresql/*/bin/pg_ctl >/dev/null 2>&1") == 0; }

    ~cPostgresServer() { Stop(); }

    // Makes the cluster and starts the server with extra `-c name=value` settings; false with Error() when
    // it cannot (the server's log then goes to standard error).
    bool Start(const std::vector<std::string>& settings = {}) {
        char name[] = "/tmp/palvorin-pg-XXXXXX";
        if (mkdtemp(name) == nullptr) {
            mError = "cannot make a temporary directory";
            return false;
        }
        mDir = name;
        std::string command = Script() + " start " + mDir + " " + std::to_string(getpid());
        for (const std::string& setting : settings) {
            command += " " + setting;
        }
        if (system(command.c_str()) != 0) {
            mError = "the server in " + mDir + " did not start (its log is on standard error)";
            return false;
        }
        return true;
    }

    void Stop() {
        if (!mDir.empty() && system((Script() + " stop " + mDir).c_str()) >= 0) {
            mDir.clear();
        }
    }

    std::string URL(const std::string& database) const {
        return "postgresql:///" + database + "?host=" + mDir + "&user=palvorin";
    }

    // Makes a new database; false when it cannot.
    bool CreateDatabase(const std::string& database) {
        PGconn* connection = PQconnectdb(URL("postgres").c_str());
        PGresult* result = PQexec(connection, ("CREATE DATABASE " + database).c_str());
        const bool made = PQresultStatus(result) == PGRES_COMMAND_OK;
        if (!made) {
            mError = PQerrorMessage(connection);
        }
        PQclear(result);
        PQfinish(connection);
        return made;
    }

    const std::string& Error() const { return mError; }

private:
    static std::string Script() { return "sh '" PALVORIN_TEST_DATA "/../db/pgserver.sh'"; }

    std::string mDir;
    std::string mError;
};
