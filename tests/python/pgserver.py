#!/usr/bin/python3
"""A PostgreSQL server of a test's own in a temporary directory, started and stopped by tests/db/pgserver.sh
(shared with the C++ tests): ``with PostgresServer() as server: url = server.create_database("campaign")``.
Around any command: ``tests/python/pgserver.py -- palvorin db add "$PALVORIN_PG_URL" a.isf``."""

import glob
import os
import subprocess
import sys
import tempfile

SCRIPT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "db", "pgserver.sh")
# A sanitizer's runtime preloaded into the tests' interpreter is not psql's business.
ENV = {key: value for key, value in os.environ.items() if key != "LD_PRELOAD"}


def find_binaries():
    """The bin directory of the newest server under /usr/lib/postgresql/<version>/bin, or None."""
    found = glob.glob("/usr/lib/postgresql/*/bin")
    return max(found, key=lambda path: int(path.split("/")[4])) if found else None


class PostgresServer:
    """start() raises RuntimeError with the server's log when the server does not start; stop() ends it and
    removes its directory. A context manager."""

    def __init__(self, settings=()):
        self.settings = ["fsync=off", *settings]
        self.directory = None

    def __enter__(self):
        self.start()
        return self

    def __exit__(self, *exc):
        self.stop()

    def start(self):
        self.directory = tempfile.mkdtemp(prefix="palvorin-pg-", dir="/tmp")
        done = subprocess.run(["sh", SCRIPT, "start", self.directory, str(os.getpid()), *self.settings],
                              capture_output=True, text=True, timeout=120)
        if done.returncode != 0:
            self.stop()
            raise RuntimeError("postgres did not start: " + done.stderr[-2000:])

    def url(self, database="postgres"):
        return f"postgresql:///{database}?host={self.directory}&user=palvorin"

    def psql(self, database, sql):
        """The rows of `sql` on `database`, as lists of texts."""
        done = subprocess.run([os.path.join(find_binaries(), "psql"), "-X", "-q", "-A", "-t", "-F", "\t",
                               "-v", "ON_ERROR_STOP=1", "-h", self.directory, "-U", "palvorin",
                               "-d", database, "-c", sql],
                              capture_output=True, text=True, timeout=60, check=True, env=ENV)
        return [line.split("\t") for line in done.stdout.splitlines() if line]

    def create_database(self, name):
        """Makes a new, empty database; returns its URL."""
        self.psql("postgres", f"CREATE DATABASE {name}")
        return self.url(name)

    def stop(self):
        if self.directory is not None:
            subprocess.run(["sh", SCRIPT, "stop", self.directory], timeout=60)
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
