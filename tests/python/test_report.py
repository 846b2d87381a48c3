"""palvorin report end to end, through the tool's hand-over to the package: a page of real captures (the
dual-SIM capture, reduced copies of lte_meas2016.bin and lte_bler.bin; real captures D, tests/data/README.md)
drawn by Debian's headless chromium, referencing nothing outside itself, with the cells and events that
`palvorin cells` and `palvorin events` print; bad files get a section that says why."""

import csv
import html
import io
import json
import os
import re
import shutil
import subprocess
import tempfile
import unittest

import palvorin
import palvorin.overview
from support import DATA, TOOL, TempDir, hex_packets, need_tool, raw_stream, read_file, write_file

DUAL_SIM = os.path.join(DATA, "dualsim_5g_20201116_195935.bin")
CHROMIUM = shutil.which("chromium")


def has_timeline():
    """Whether the built tool prints the cell timeline (palvorin cells and events), which the pages show."""
    if not (TOOL and os.access(TOOL, os.X_OK)):
        return False
    done = subprocess.run([TOOL, "cells", "--help"], capture_output=True, timeout=60)
    return done.returncode == 0 and os.path.exists(DUAL_SIM)


needs_timeline = unittest.skipUnless(has_timeline(), "the tool of this build has no palvorin cells/events")


def read(path):
    with open(path, encoding="utf-8") as text:
        return text.read()


def report(*arguments, timeout=180):
    """Runs `palvorin report` of the built tool; (exit status, standard error)."""
    done = subprocess.run([TOOL, "report", *arguments], capture_output=True, text=True, timeout=timeout)
    return done.returncode, done.stderr


def table(text, section, name):
    """The header and the rows of data table `name` (data-table=...) of section `section`: cell texts."""
    part = text.split(f'id="{section}"', 1)[1].split("</section>", 1)[0]
    body = re.search(rf'<table data-table="{name}">(.*?)</table>', part, flags=re.S).group(1)
    rows = [[html.unescape(re.sub(r"<[^>]*>", "", cell)).strip()
             for cell in re.findall(r"<t[dh]\b[^>]*>(.*?)</t[dh]>", row, flags=re.S)]
            for row in re.findall(r"<tr\b[^>]*>(.*?)</tr>", body, flags=re.S)]
    return rows[0], rows[1:]


def chromium(page, *arguments):
    """Runs the headless browser on `page` in a profile of its own, bounded in time; its standard
    output."""
    profile = tempfile.mkdtemp(prefix="palvorin-chromium-")
    # Under a sanitizer build the tests get its runtime preloaded; the browser is not built with it.
    environment = {k: v for k, v in os.environ.items() if k not in ("LD_PRELOAD", "ASAN_OPTIONS")}
    try:
        done = subprocess.run(
            ["timeout", "-k", "5", "120", CHROMIUM, "--headless", "--no-sandbox", "--disable-gpu",
             "--disable-background-networking", "--disable-component-update", "--disable-sync",
             "--no-first-run", "--hide-scrollbars", "--mute-audio", f"--user-data-dir={profile}",
             *arguments, "file://" + os.path.abspath(page)],
            capture_output=True, text=True, timeout=150, env=environment)
        return done.stdout
    finally:
        shutil.rmtree(profile, ignore_errors=True)


# Measures each picture of a copy of the page (the page itself has no script): the boxes of the <svg>
# elements in page pixels and the page's height, written into the document for --dump-dom.
_MEASURE = """<script>
const boxes = [...document.querySelectorAll("svg.figure")].map(svg => {
  const r = svg.getBoundingClientRect();
  return [r.left + scrollX, r.top + scrollY, r.width, r.height];
});
const out = document.createElement("pre");
out.id = "measured";
out.textContent = JSON.stringify({boxes, height: document.documentElement.scrollHeight});
document.body.appendChild(out);
</script>"""


@need_tool
@needs_timeline
class Reports(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.temp = TempDir()
        cls.files = [DUAL_SIM] + [write_file(cls.temp.file(name + ".bin"),
                                             raw_stream(hex_packets(name + ".txt")))
                                  for name in ("meas_lte_2016", "meas_lte_bler")]
        cls.page_path = cls.temp.file("report.html")
        cls.status, cls.stderr = report(*cls.files, "-o", cls.page_path)
        cls.text = read(cls.page_path)
        cls.svgs = re.findall(r"<svg\b.*?</svg>", cls.text, flags=re.S)

    @classmethod
    def tearDownClass(cls):
        cls.temp.close()

    def test_page_references_nothing_outside_itself(self):
        tags = set(re.findall(r"<([a-zA-Z][\w:-]*)", self.text))
        for tag in ("script", "link", "img", "iframe", "object", "embed", "base", "video", "audio", "source"):
            self.assertNotIn(tag, tags)
        for name, value in re.findall(r"""\s([\w:-]+)\s*=\s*["']([^"']*)""", self.text):
            if name in ("src", "href", "xlink:href", "action", "poster", "data", "srcset", "background"):
                self.assertTrue(value.startswith("#"), f"{name}={value!r}")
        # Nothing anywhere that a browser could fetch or a reader could follow out of the page.
        self.assertNotRegex(self.text, r"(?i)https?:|ftp:|//[a-z0-9.-]+\.[a-z]{2,}|@import")
        for reference in re.findall(r"url\(([^)]*)\)", self.text):
            self.assertTrue(reference.startswith("#"), reference)

    def test_cells_and_events_are_those_the_tool_prints_failures_first(self):
        self.assertEqual(self.status, 0, self.stderr)
        self.assertIn("3 of 3 files read", self.stderr)
        for n, path in enumerate(self.files, 1):
            isf = self.temp.file(f"capture{n}.isf")
            palvorin.record(path, isf)
            for name in ("cells", "events"):
                done = subprocess.run([TOOL, name, "--csv", isf], capture_output=True, text=True,
                                      timeout=120, check=True)
                expected = list(csv.reader(io.StringIO(done.stdout)))
                header, rows = table(self.text, f"file-{n}", name)
                if name == "cells":  # the swatch column aside, in the same order
                    self.assertEqual([header[1:]] + [row[1:] for row in rows], expected, path)
                    continue
                self.assertEqual(header, expected[0])
                self.assertEqual(sorted(map(tuple, rows)), sorted(map(tuple, expected[1:])), path)
                failures = [palvorin.overview.is_failure(row[header.index("event")]) for row in rows]
                self.assertEqual(failures, sorted(failures, reverse=True), "failures and rejects first")
        # lte_bler.bin re-established its connection after a failure: the first row of its events.
        self.assertEqual(table(self.text, "file-3", "events")[1][0][3], "reestablishment_request")

    @unittest.skipUnless(CHROMIUM, "chromium is not installed (scripts/install-deps installs it)")
    def test_the_browser_draws_every_picture(self):
        from PIL import Image

        with TempDir() as temp:
            measured = temp.file("measured.html")
            with open(measured, "w", encoding="utf-8") as out:
                out.write(self.text.replace("</body>", _MEASURE + "</body>"))
            dom = chromium(measured, "--window-size=1280,1000", "--dump-dom")
            layout = json.loads(html.unescape(re.search(r'<pre id="measured">(.*?)</pre>', dom).group(1)))
            boxes = layout["boxes"]
            self.assertEqual(len(boxes), len(self.svgs))
            height = min(int(layout["height"]) + 10, 16000)
            screenshot = temp.file("page.png")
            chromium(self.page_path, f"--window-size=1280,{height}", f"--screenshot={screenshot}")
            image = Image.open(screenshot).convert("RGB")
            self.assertEqual(image.size[0], 1280)
            for n, (left, top, width, height) in enumerate(boxes):
                # A timeline is mostly coloured bands; a signal figure thin lines.
                timeline = re.search(r'id="f\d+-t-', self.svgs[n]) is not None
                self.assertGreater(width, 1000, n)
                box = image.crop((int(left), int(top), int(left + width), int(top + height)))
                pixels = list(box.getdata())
                drawn = sum(1 for r, g, b in pixels if min(r, g, b) < 235) / len(pixels)
                coloured = sum(1 for r, g, b in pixels if max(r, g, b) - min(r, g, b) > 60)
                self.assertGreater(drawn, 0.15 if timeline else 0.01, f"picture {n} looks blank")
                self.assertGreater(coloured, 20000 if timeline else 1000, f"picture {n}: no band or line")


@need_tool
@needs_timeline
class BadInput(unittest.TestCase):
    def test_unreadable_and_cut_files_get_a_section_that_says_why(self):
        with TempDir() as temp:
            not_a_capture = temp.write("notes.txt", b"not a capture\n" * 20)
            isf = temp.file("whole.isf")
            palvorin.record(DUAL_SIM, isf)
            cut = temp.write("cut.isf", read_file(isf)[: os.path.getsize(isf) // 2])
            page = temp.file("page.html")
            status, stderr = report(DUAL_SIM, not_a_capture, temp.file("missing.isf"), cut, "-o", page)
            self.assertEqual(status, 0, stderr)
            self.assertIn("2 of 4 files read", stderr)
            sections = read(page).split('<section class="file"')
            self.assertIn("serving cell", sections[1])
            self.assertIn("could not be read", sections[2])
            self.assertIn("neither an item store file nor a raw diagnostic stream", sections[2])
            self.assertIn("No such file or directory", sections[3])
            # A file cut short is reported as far as it reads.
            self.assertIn("inconsistencies (palvorin verify lists them)", sections[4])
            self.assertIn('id="f4-t-cells-0"', sections[4])

            status, stderr = report(not_a_capture, "-o", page)
            self.assertNotEqual(status, 0)
            self.assertIn("could not be read", read(page))


if __name__ == "__main__":
    unittest.main()
