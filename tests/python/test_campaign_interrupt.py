"""Ctrl-C in the middle of a campaign on a local cluster of 2 workers, sent as a terminal sends it (to every
process of the group): one line and exit status 130, no worker's traceback, no process left, and every file
in the database whole."""

import os
import signal
import sqlite3
import subprocess
import time
import unittest

import palvorin
from support import PYTHON, STREAM_A, TempDir


@unittest.skipUnless(hasattr(palvorin, "Database"), "the package is built without the campaign database")
class CampaignInterrupt(unittest.TestCase):
    def test_ctrl_c_ends_the_campaign_cleanly(self):
        with TempDir() as temp, open(STREAM_A, "rb") as stream:
            data = stream.read()
            files = temp.file("files")
            os.mkdir(files)
            for number in range(200):  # distinct copies: trailing flags delimit empty frames
                with open(os.path.join(files, f"{number:03d}.log"), "wb") as out:
                    out.write(data + b"\x7e" * (number + 1))
            db = temp.file("campaign.db")
            process = subprocess.Popen(
                [PYTHON, "-m", "palvorin.campaign", files, "--db", db, "--workers", "2"],
                stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, start_new_session=True,
                # As from a terminal: a background job of a shell may have been started ignoring it.
                preexec_fn=lambda: signal.signal(signal.SIGINT, signal.SIG_DFL))
            try:
                # The first progress line: the cluster is up and files are going in (Dask may warn
                # before it, of a port another cluster on the machine holds, say).
                before = ""
                for line in process.stderr:
                    before += line
                    if "/200" in line:
                        break
                self.assertIn("/200", before)
                os.killpg(process.pid, signal.SIGINT)
                _, err = process.communicate(timeout=60)
                err = before + err
                self.assertEqual(process.returncode, 130, err)
                self.assertIn("interrupted; the files added so far are in the database whole", err)
                self.assertNotIn("Traceback", err)
                deadline = time.monotonic() + 20
                while time.monotonic() < deadline:
                    try:
                        os.killpg(process.pid, 0)
                    except ProcessLookupError:
                        break
                    time.sleep(0.1)
                else:
                    self.fail("processes of the campaign are still running")
            finally:
                try:
                    os.killpg(process.pid, signal.SIGKILL)
                except ProcessLookupError:
                    pass
                process.wait(timeout=10)
                process.stdout.close()
                process.stderr.close()
            with sqlite3.connect(db) as connection:
                files_in, = connection.execute("SELECT count(*) FROM files").fetchone()
                partial = connection.execute(
                    "SELECT count(*) FROM files WHERE messages_rows != "
                    "(SELECT count(*) FROM messages WHERE file_id = files.id)").fetchone()[0]
            self.assertLess(files_in, 200)
            self.assertEqual(partial, 0)
            connection.close()


if __name__ == "__main__":
    unittest.main()
