// A PostgreSQL server of its own for a test or a benchmark: a cluster made by initdb in a temporary
// directory, listening only on a Unix socket there (no TCP), run as a child process that ends with its
// parent (also when the parent crashes), stopped and removed at the end of the scope. When run as root
// (initdb refuses root), the cluster belongs to the unprivileged `postgres` account the Debian package
// creates.
#pragma once

#include <fcntl.h>
#include <grp.h>
#include <libpq-fe.h>
#include <pwd.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

class cPostgresServer {
public:
    // The bin directory of the newest server under /usr/lib/postgresql/<version>/bin; empty when none.
    static std::string FindBinaries() {
        std::string best;
        int bestVersion = -1;
        std::error_code ignored;
        for (const auto& entry : std::filesystem::directory_iterator("/usr/lib/postgresql", ignored)) {
            const int version = atoi(entry.path().filename().c_str());
            const std::string bin = entry.path().string() + "/bin";
            if (version > bestVersion && access((bin + "/initdb").c_str(), X_OK) == 0 &&
                access((bin + "/postgres").c_str(), X_OK) == 0) {
                best = bin;
                bestVersion = version;
            }
        }
        return best;
    }

    ~cPostgresServer() { Stop(); }

    // Makes the cluster and starts the server; false with Error() when it cannot. `settings` are extra
    // `-c name=value` settings of the server.
    bool Start(const std::vector<std::string>& settings = {}) {
        mBin = FindBinaries();
        if (mBin.empty()) {
            return Fail("no PostgreSQL server binaries under /usr/lib/postgresql/*/bin");
        }
        char name[] = "/tmp/palvorin-pg-XXXXXX";
        if (mkdtemp(name) == nullptr) {
            return Fail("cannot make a temporary directory");
        }
        mDir = name;
        if (getuid() == 0) {
            const passwd* user = getpwnam("postgres");
            if (user == nullptr) {
                return Fail("running as root and there is no postgres account to run the server as");
            }
            mUid = user->pw_uid;
            mGid = user->pw_gid;
            if (chown(mDir.c_str(), mUid, mGid) != 0) {
                return Fail("cannot give " + mDir + " to the postgres account");
            }
        }
        const pid_t initdb = Spawn({mBin + "/initdb", "-D", mDir + "/data", "-U", "palvorin", "-A", "trust",
                                    "-E", "UTF8", "--locale=C", "--no-sync", "--no-instructions"});
        if (initdb < 0 || Reap(initdb, 60) != 0) {
            return Fail("initdb failed: " + Log());
        }
        std::vector<std::string> command = {mBin + "/postgres",  "-D", mDir + "/data",      "-k", mDir, "-c",
                                            "listen_addresses=", "-c", "max_connections=20"};
        for (const std::string& setting : settings) {
            command.push_back("-c");
            command.push_back(setting);
        }
        mServer = Spawn(command);
        if (mServer < 0) {
            return Fail("cannot start postgres");
        }
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (PQping(URL("postgres").c_str()) != PQPING_OK) {
            int status = 0;
            if (waitpid(mServer, &status, WNOHANG) == mServer) {
                mServer = -1;
                return Fail("postgres ended at once: " + Log());
            }
            if (std::chrono::steady_clock::now() > deadline) {
                return Fail("postgres does not answer after 30 s: " + Log());
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        return true;
    }

    // Fast shutdown (clients are disconnected), bounded in time, then the directory goes.
    void Stop() {
        if (mServer > 0) {
            kill(mServer, SIGINT);
            Reap(mServer, 20);
            mServer = -1;
        }
        if (!mDir.empty()) {
            std::error_code ignored;
            std::filesystem::remove_all(mDir, ignored);
            mDir.clear();
        }
    }

    // A URL of database `database` on this server.
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
    bool Fail(const std::string& error) {
        mError = error;
        return false;
    }

    std::string Log() const {
        std::ifstream in(mDir + "/log");
        return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }

    // Starts `command` as the server's account, its output appended to the log; it gets SIGQUIT (postgres:
    // immediate shutdown) when this process ends, however it ends.
    pid_t Spawn(const std::vector<std::string>& command) {
        const std::string log = mDir + "/log";
        const pid_t parent = getpid();
        const pid_t child = fork();
        if (child != 0) {
            return child;
        }
        if (mUid != 0 && (setgroups(0, nullptr) != 0 || setgid(mGid) != 0 || setuid(mUid) != 0)) {
            _exit(126);
        }
        // After the change of user: a change of credentials clears the parent-death signal.
        prctl(PR_SET_PDEATHSIG, SIGQUIT);
        if (getppid() != parent) {
            _exit(126);
        }
        const int out = open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
        if (out >= 0) {
            dup2(out, 1);
            dup2(out, 2);
            close(out);
        }
        std::vector<char*> argv;
        for (const std::string& argument : command) {
            argv.push_back(const_cast<char*>(argument.c_str()));
        }
        argv.push_back(nullptr);
        execv(argv[0], argv.data());
        _exit(127);
    }

    // Waits up to `seconds` for `child` to end, else kills it; its exit status, or -1.
    static int Reap(pid_t child, int seconds) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
        int status = 0;
        while (waitpid(child, &status, WNOHANG) != child) {
            if (std::chrono::steady_clock::now() > deadline) {
                kill(child, SIGKILL);
                waitpid(child, nullptr, 0);
                return -1;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    std::string mBin;
    std::string mDir;
    std::string mError;
    uid_t mUid = 0;
    gid_t mGid = 0;
    pid_t mServer = -1;
};
