"""The package as a user gets it: installed by `cmake --install` into the interpreter's site-packages
(here under a DESTDIR) it imports and reads a capture with nothing from the build tree."""

import os
import subprocess
import unittest

from support import PYTHON, STREAM_B, TempDir

BUILD = os.environ.get("PALVORIN_BUILD_DIR", "")
CMAKE = os.environ.get("PALVORIN_CMAKE", "cmake")


class Installed(unittest.TestCase):
    @unittest.skipUnless(BUILD, "no build directory given")
    def test_installed_package_reads_a_capture(self):
        with TempDir() as root:
            subprocess.run([CMAKE, "--install", BUILD, "--component", "python"], check=True, timeout=120,
                           capture_output=True, env={**os.environ, "DESTDIR": root.path})
            site = subprocess.run([PYTHON, "-c", "import sysconfig; print(sysconfig.get_path('platlib'))"],
                                  check=True, timeout=60, capture_output=True, text=True).stdout.strip()
            installed = root.path + site
            self.assertTrue(os.path.exists(os.path.join(installed, "palvorin", "__init__.py")))
            script = ("import palvorin, sys\n"
                      "with palvorin.open(sys.argv[1]) as capture:\n"
                      "    print(palvorin.__file__, len(capture.messages()))\n")
            # Run from the root directory with only the installed package on the path.
            env = {key: value for key, value in os.environ.items()
                   if key not in ("PYTHONPATH", "LD_LIBRARY_PATH")}
            env["PYTHONPATH"] = installed
            out = subprocess.run([PYTHON, "-B", "-c", script, STREAM_B], check=True, timeout=120, cwd="/",
                                 capture_output=True, text=True, env=env).stdout.split()
            self.assertEqual(out, [os.path.join(installed, "palvorin", "__init__.py"), "18"])


if __name__ == "__main__":
    unittest.main()
