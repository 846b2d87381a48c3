#!/usr/bin/python3
"""A PostgreSQL server of its own for a test or a benchmark: a cluster made by initdb in a temporary
directory, listening only on a Unix socket there (no TCP), run as a child process that gets SIGQUIT
(immediate shutdown) when its parent ends however it ends, stopped and removed at the end. As root (initdb
refuses root) the cluster belongs to the unprivileged ``postgres`` account Debian's package creates. The
same server as the C++ tests' tests/db/PostgresServer.h.

From Python::

    with PostgresServer() as server:
        url = server.url("postgres")        # postgresql:///postgres?host=/tmp/...&user=palvorin
        server.create_database("campaign")

From anything else (a shell test, a benchmark), it runs a command with PALVORIN_PG_URL set to a fresh
database's URL and stops the server when the command ends::

    tests/python/pgserver.py -- palvorin db add "$PALVORIN_PG_URL" a.isf
"""

import glob
import os
import pwd
import shutil
import signal
import subprocess
import sys
import tempfile
import time


def find_binaries():
    """The bin directory of the newest server under /usr/lib/postgresql/<version>/bin, or None."""
    found = []
    for bin_dir in glob.glob("/usr/lib/postgresql/*/bin"):
        version = os.path.basename(os.path.dirname(bin_dir))
        if version.isdigit() and all(os.access(os.path.join(bin_dir, tool), os.X_OK)
                                     for tool in ("initdb", "postgres", "pg_isready", "psql")):
            found.append((int(version), bin_dir))
    return max(found)[1] if found else None


def _reap(process, timeout):
    """The exit status of `process` once it ends within `timeout` seconds; else it is killed (None)."""
    try:
        return process.wait(timeout=timeout)
    except subprocess.TimeoutExpired:
        process.kill()
        process.wait()
        return None


class PostgresServer:
    """Start() makes the cluster and starts the server (raises RuntimeError when it cannot); stop()
    ends it (fast shutdown, bounded in time) and removes the directory. A context manager."""

    def __init__(self, settings=()):
        self.settings = list(settings)
        self.directory = None
        self.process = None
        self.bin = None
        self._user = None

    def __enter__(self):
        self.start()
        return self

    def __exit__(self, *exc):
        self.stop()

    @staticmethod
    def _env():
        # A sanitizer's runtime preloaded into the tests' interpreter is not the server's business.
        return {key: value for key, value in os.environ.items() if key != "LD_PRELOAD"}

    def _spawn(self, command, log):
        # setpriv (util-linux): the server's account, and SIGQUIT when this process ends, set after the
        # change of account (which would clear it).
        account = []
        if self._user is not None:
            account = [f"--reuid={self._user.pw_uid}", f"--regid={self._user.pw_gid}", "--clear-groups"]
        return subprocess.Popen(["setpriv", *account, "--pdeathsig=QUIT", "--", *command], env=self._env(),
                                stdin=subprocess.DEVNULL, stdout=log, stderr=log, close_fds=True)

    def _log(self):
        try:
            with open(os.path.join(self.directory, "log"), errors="replace") as log:
                return log.read()[-2000:]
        except OSError:
            return ""

    def start(self, timeout=30):
        self.bin = find_binaries()
        if self.bin is None:
            raise RuntimeError("no PostgreSQL server under /usr/lib/postgresql/*/bin (scripts/install-deps)")
        self.directory = tempfile.mkdtemp(prefix="palvorin-pg-", dir="/tmp")
        if os.getuid() == 0:
            self._user = pwd.getpwnam("postgres")
            os.chown(self.directory, self._user.pw_uid, self._user.pw_gid)
        log_path = os.path.join(self.directory, "log")
        with open(log_path, "ab") as log:
            if self._user is not None:
                os.chown(log_path, self._user.pw_uid, self._user.pw_gid)
            data = os.path.join(self.directory, "data")
            options = ["-U", "palvorin", "-A", "trust", "-E", "UTF8", "--locale=C", "--no-sync",
                       "--no-instructions"]
            if _reap(self._spawn([os.path.join(self.bin, "initdb"), "-D", data, *options], log), 60) != 0:
                raise RuntimeError("initdb failed: " + self._log())
            command = [os.path.join(self.bin, "postgres"), "-D", os.path.join(self.directory, "data"),
                       "-k", self.directory, "-c", "listen_addresses=", "-c", "max_connections=40",
                       "-c", "fsync=off"]
            for setting in self.settings:
                command += ["-c", setting]
            self.process = self._spawn(command, log)
        deadline = time.monotonic() + timeout
        while not self.ready():
            if self.process.poll() is not None:
                raise RuntimeError("postgres ended at once: " + self._log())
            if time.monotonic() > deadline:
                raise RuntimeError(f"postgres does not answer after {timeout} s: " + self._log())
            time.sleep(0.05)

    def ready(self):
        """True when the server accepts connections."""
        done = subprocess.run([os.path.join(self.bin, "pg_isready"), "-q", "-h", self.directory,
                               "-U", "palvorin", "-d", "postgres"], timeout=10, env=self._env())
        return done.returncode == 0

    def url(self, database="postgres"):
        """A URL of `database` on this server."""
        return f"postgresql:///{database}?host={self.directory}&user=palvorin"

    def psql(self, database, sql):
        """The rows of `sql` on `database`, as lists of texts."""
        done = subprocess.run([os.path.join(self.bin, "psql"), "-X", "-q", "-A", "-t", "-F", "\t",
                               "-v", "ON_ERROR_STOP=1", "-h", self.directory, "-U", "palvorin",
                               "-d", database, "-c", sql],
                              capture_output=True, text=True, timeout=60, check=True, env=self._env())
        return [line.split("\t") for line in done.stdout.splitlines() if line]

    def create_database(self, name):
        """Makes a new, empty database; returns its URL."""
        self.psql("postgres", f"CREATE DATABASE {name}")
        return self.url(name)

    def stop(self):
        """Fast shutdown (clients are disconnected) within 20 s, else killed; the directory goes."""
        if self.process is not None:
            if self.process.poll() is None:
                self.process.send_signal(signal.SIGINT)
                _reap(self.process, 20)
            self.process = None
        if self.directory is not None:
            shutil.rmtree(self.directory, ignore_errors=True)
            self.directory = None


def main(argv):
    if len(argv) < 2 or argv[0] != "--":
        print(__doc__, file=sys.stderr)
        return 2
    with PostgresServer() as server:
        env = dict(os.environ, PALVORIN_PG_URL=server.create_database("palvorin"))
        return subprocess.call(argv[1:], env=env)


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
