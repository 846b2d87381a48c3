"""palvorin report end to end, through the tool's hand-over to the package: pages of real captures (the
dual-SIM capture, reduced copies of lte_meas2016.bin and lte_bler.bin; real captures D, Apache-2.0, see
tests/data/README.md) rendered in Debian's headless chromium, which must draw every picture; the page must
reference nothing outside itself; its cells and events must be those `palvorin cells` and `palvorin events`
print; bad files get a section that says why; a long capture gives a page of the same size."""

import csv
import html
import html.parser
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


def write_stream(hex_file, path, copies=1):
    """The log packets of a hex-lines file of tests/data written as a raw diagnostic stream."""
    return write_file(path, raw_stream(hex_packets(hex_file)) * copies)


def read(path):
    with open(path, encoding="utf-8") as text:
        return text.read()


def report(*arguments, timeout=180):
    """Runs `palvorin report` of the built tool; (exit status, standard error)."""
    done = subprocess.run([TOOL, "report", *arguments], capture_output=True, text=True, timeout=timeout)
    return done.returncode, done.stderr


class Page(html.parser.HTMLParser):
    """What a test needs of a report page: its tags and attributes, the texts of its style elements, the
    data tables (data-table=...) by section, and the <svg> elements as text."""

    def __init__(self, text):
        super().__init__(convert_charrefs=True)
        self.tags = []  # (tag, attributes)
        self.styles = []
        self.tables = []  # (section id, table name, header, rows)
        self._section = None
        self._table = None
        self._row = None
        self._cell = None
        self._style = False
        self.feed(text)
        self.svgs = re.findall(r"<svg\b.*?</svg>", text, flags=re.S)

    def handle_starttag(self, tag, attrs):
        self.tags.append((tag, attrs))
        attributes = dict(attrs)
        if tag == "section":
            self._section = attributes.get("id")
        elif tag == "table" and "data-table" in attributes:
            self._table = (self._section, attributes["data-table"], [], [])
        elif tag == "tr" and self._table is not None:
            self._row = []
        elif tag in ("td", "th") and self._row is not None:
            self._cell = ""
        elif tag == "style":
            self._style = True
            self.styles.append("")

    def handle_endtag(self, tag):
        if tag in ("td", "th") and self._cell is not None:
            self._row.append(self._cell.strip())
            self._cell = None
        elif tag == "tr" and self._row is not None:
            header, rows = self._table[2], self._table[3]
            (rows if header else header).append(self._row)
            self._row = None
        elif tag == "table" and self._table is not None:
            section, name, header, rows = self._table
            self.tables.append((section, name, header[0] if header else [], rows))
            self._table = None
        elif tag == "style":
            self._style = False

    def handle_data(self, data):
        if self._cell is not None:
            self._cell += data
        if self._style:
            self.styles[-1] += data

    def table(self, section, name):
        found = [(header, rows) for s, n, header, rows in self.tables if s == section and n == name]
        return found[0] if found else (None, [])


def tool_table(command, isf):
    """The rows of `palvorin cells|events --csv` as lists of texts, with the header first."""
    done = subprocess.run([TOOL, command, "--csv", isf], capture_output=True, text=True, timeout=120,
                          check=True)
    return list(csv.reader(io.StringIO(done.stdout)))


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
        cls.dual_sim = DUAL_SIM
        cls.meas = write_stream("meas_lte_2016.txt", cls.temp.file("meas_lte_2016.bin"))
        cls.bler = write_stream("meas_lte_bler.txt", cls.temp.file("meas_lte_bler.bin"))
        cls.files = [cls.dual_sim, cls.meas, cls.bler]
        cls.page_path = cls.temp.file("report.html")
        cls.status, cls.stderr = report(*cls.files, "-o", cls.page_path)
        cls.text = read(cls.page_path)
        cls.page = Page(cls.text)
        # Each capture recorded once into an item store file, for the tables `palvorin` prints of it.
        cls.isfs = {}
        for n, path in enumerate(cls.files):
            cls.isfs[path] = cls.temp.file(f"capture{n}.isf")
            palvorin.record(path, cls.isfs[path])

    @classmethod
    def tearDownClass(cls):
        cls.temp.close()

    def test_every_file_is_read(self):
        self.assertEqual(self.status, 0, self.stderr)
        self.assertIn("3 of 3 files read", self.stderr)
        for n, path in enumerate(self.files, 1):
            self.assertIn(f'id="file-{n}"', self.text)
            self.assertIn(os.path.basename(path), self.text)
        self.assertIn('id="campaign"', self.text)

    def test_page_references_nothing_outside_itself(self):
        tags = {tag for tag, _ in self.page.tags}
        for tag in ("script", "link", "img", "iframe", "object", "embed", "base", "video", "audio", "source"):
            self.assertNotIn(tag, tags)
        for tag, attributes in self.page.tags:
            for name, value in attributes:
                if name in ("src", "href", "xlink:href", "action", "poster", "data", "srcset", "background"):
                    self.assertTrue(value.startswith("#"), f"<{tag} {name}={value!r}>")
                if name == "style":
                    self.assertNotIn("url(", value)
        for style in self.page.styles:
            self.assertNotRegex(style, r"url\(|@import")
        # Nothing anywhere that a browser could fetch or a reader could follow out of the page.
        self.assertNotRegex(self.text, r"(?i)https?:|ftp:|//[a-z0-9.-]+\.[a-z]{2,}")
        for reference in re.findall(r"url\(([^)]*)\)", self.text):
            self.assertTrue(reference.startswith("#"), reference)

    def test_pictures_have_plotted_paths(self):
        svg = {n: "".join(s for s in self.page.svgs if f'id="f{n}-' in s) for n in (1, 2, 3)}

        def vertices(text, gid):
            groups = re.findall(rf'<g id="f\d+-[ts]\d*-?{gid}[^"]*">(.*?)</g>', text, flags=re.S)
            return [len(re.findall(r"[ML] ", group)) for group in groups]

        # The dual-SIM capture: two lanes of serving-cell bands and RRC states, no measurement.
        self.assertEqual(len(vertices(svg[1], "cells-")), 2)
        self.assertTrue(all(count >= 4 * 5 for count in vertices(svg[1], "cells-")))  # 5 bands or more
        self.assertEqual(len(vertices(svg[1], "rrc-")), 2)
        self.assertEqual(vertices(svg[1], "serving-"), [])
        # The measured captures: serving cells' lines with points for a good part of the RSRP values that
        # `palvorin measurements` prints (values close in time share a point, and points in a straight line
        # are left out of the path), and neighbours in lte_meas2016.bin.
        for n, path in ((2, self.meas), (3, self.bler)):
            rows = tool_table("measurements", self.isfs[path])
            serving, rsrp = rows[0].index("serving"), rows[0].index("rsrp_dbm")
            values = sum(1 for row in rows[1:] if row[serving] == "1" and row[rsrp])
            points = sum(vertices(svg[n], "serving-rsrp_dbm"))
            self.assertGreater(values, 80, path)
            self.assertTrue(0.25 * values <= points <= values, (path, points, values))
            self.assertTrue(vertices(svg[n], "serving-rsrq_db"), n)
            self.assertTrue(vertices(svg[n], "cells-"), n)
        self.assertTrue(vertices(svg[2], "neighbour-rsrp_dbm"))

    def test_serving_lines_take_their_cells_colours(self):
        # A short capture: each serving cell's line in the colour of its band in the timeline.
        svg = "".join(s for s in self.page.svgs if 'id="f3-' in s)
        bands = re.search(r'<g id="f3-t-cells-0">(.*?)</g>', svg, flags=re.S).group(1)
        band_colours = set(re.findall(r"fill: (#[0-9a-f]{6})", bands))
        lines = re.findall(r'<g id="f3-s\d+-serving-rsrp_dbm-\d+">(.*?)</g>', svg, flags=re.S)
        line_colours = {re.search(r"stroke: (#[0-9a-f]{6})", line).group(1) for line in lines}
        self.assertGreater(len(line_colours), 3)
        self.assertLessEqual(line_colours, band_colours)

    def section_of(self, path):
        return f"file-{self.files.index(path) + 1}"

    def test_cells_are_those_the_tool_prints(self):
        for path in self.files:
            expected = tool_table("cells", self.isfs[path])
            header, rows = self.page.table(self.section_of(path), "cells")
            self.assertIsNotNone(header, path)
            self.assertEqual(header[1:], expected[0])
            self.assertEqual([row[1:] for row in rows], expected[1:], path)  # the swatch column aside

    def test_events_are_those_the_tool_prints_failures_first(self):
        for path in self.files:
            expected = tool_table("events", self.isfs[path])
            header, rows = self.page.table(self.section_of(path), "events")
            self.assertEqual(header, expected[0])
            event = header.index("event")
            self.assertEqual(sorted(map(tuple, rows)), sorted(map(tuple, expected[1:])), path)
            # Which events are failures is pinned by Failures below.
            failures = [palvorin.overview.is_failure(row[event]) for row in rows]
            self.assertEqual(failures, sorted(failures, reverse=True), "failures and rejects first")
            for part in (True, False):
                times = [row[0] for row in rows if palvorin.overview.is_failure(row[event]) == part]
                self.assertEqual(times, sorted(times))
        # lte_bler.bin re-established its connection after a failure: the first row of its events.
        _, rows = self.page.table(self.section_of(self.bler), "events")
        self.assertEqual(rows[0][3], "reestablishment_request")

    def test_the_header_says_what_each_file_holds(self):
        section = self.text.split('id="file-1"')[1].split("</section>")[0]
        self.assertIn("2020-11-16 11:56:20.445 to 2020-11-16 11:59:34.060 UTC", section)
        self.assertIn("<dd>1, 2</dd>", section)
        self.assertIn("LTE, NR", section)
        self.assertIn("No radio measurements", section)
        header, rows = self.page.table("file-1", "subscriptions")
        self.assertEqual([row[0] for row in rows], ["SIM 1", "SIM 2"])
        header, rows = self.page.table("file-1", "messages")
        self.assertTrue(any(row[1] == "NR" for row in rows))
        self.assertIn("libPalvorin " + palvorin._native.library_version(), section)

    def test_campaign_summary_counts_every_file(self):
        header, rows = self.page.table("campaign", "files")
        self.assertEqual(len(rows), 3)
        header, rows = self.page.table("campaign", "campaign-events")
        total = header.index("total")
        events = {row[0]: int(row[total].replace(",", "")) for row in rows}
        expected = {}
        for path in self.files:
            for row in tool_table("events", self.isfs[path])[1:]:
                expected[row[3]] = expected.get(row[3], 0) + 1
        self.assertEqual(events, expected)

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
            self.assertEqual(len(boxes), len(self.page.svgs))
            height = min(int(layout["height"]) + 10, 16000)
            screenshot = temp.file("page.png")
            chromium(self.page_path, f"--window-size=1280,{height}", f"--screenshot={screenshot}")
            image = Image.open(screenshot).convert("RGB")
            self.assertEqual(image.size[0], 1280)
            for n, (left, top, width, height) in enumerate(boxes):
                # A timeline is mostly coloured bands; a signal figure thin lines.
                timeline = re.search(r'id="f\d+-t-', self.page.svgs[n]) is not None
                self.assertGreater(width, 1000, n)
                box = image.crop((int(left), int(top), int(left + width), int(top + height)))
                pixels = list(box.getdata())
                drawn = sum(1 for r, g, b in pixels if min(r, g, b) < 235) / len(pixels)
                coloured = sum(1 for r, g, b in pixels if max(r, g, b) - min(r, g, b) > 60)
                self.assertGreater(drawn, 0.15 if timeline else 0.01, f"picture {n} looks blank")
                self.assertGreater(coloured, 20000 if timeline else 1000, f"picture {n}: no band or line")

class Failures(unittest.TestCase):
    def test_failures_and_rejects_are_told_from_other_events(self):
        # The event names of the cell timeline (timeline/TimelineEvents.h).
        failures = ["handover_failure", "reestablishment_request", "reestablishment_reject", "scg_failure",
                    "rrc_connection_reject", "attach_reject", "tau_reject", "service_reject"]
        others = ["handover", "reestablishment", "rrc_connection_request", "rrc_connection_setup",
                  "rrc_connection_release", "rrc_connected", "rrc_idle", "attach_request", "attach_accept",
                  "detach_request", "detach_accept", "tau_request", "tau_accept", "service_request",
                  "emm_unknown"]
        for event in failures + others:
            self.assertEqual(palvorin.overview.is_failure(event), event in failures, event)


@need_tool
@needs_timeline
class BadInput(unittest.TestCase):
    def test_an_unreadable_file_gets_a_section_that_says_why(self):
        with TempDir() as temp:
            not_a_capture = temp.write("notes.txt", b"not a capture\n" * 20)
            page = temp.file("page.html")
            status, stderr = report(DUAL_SIM, not_a_capture, temp.file("missing.isf"), "-o", page)
            self.assertEqual(status, 0, stderr)
            self.assertIn("1 of 3 files read", stderr)
            content = read(page)
            sections = content.split('<section class="file"')
            self.assertIn("could not be read", sections[2])
            self.assertIn("neither an item store file nor a raw diagnostic stream", sections[2])
            self.assertIn("No such file or directory", sections[3])
            self.assertIn("serving cell", sections[1])

            status, stderr = report(not_a_capture, "-o", page)
            self.assertNotEqual(status, 0)
            self.assertIn("could not be read", read(page))

    def test_a_page_that_cannot_be_written_is_said_in_one_line_and_an_old_page_is_kept(self):
        with TempDir() as temp:
            status, stderr = report(DUAL_SIM, "-o", temp.file("no-such-directory/page.html"))
            self.assertEqual(status, 1)
            self.assertIn("cannot write", stderr)
            self.assertIn("No such file or directory", stderr)
            self.assertNotIn("Traceback", stderr)
            # The page goes in whole or not at all: a directory in its way leaves nothing half written.
            page = temp.file("page.html")
            os.mkdir(page)
            status, stderr = report(DUAL_SIM, "-o", page)
            self.assertEqual(status, 1, stderr)
            self.assertIn("cannot write", stderr)
            self.assertEqual(sorted(os.listdir(temp.path)), ["page.html"])

    def test_a_file_cut_short_is_reported_as_far_as_it_reads(self):
        with TempDir() as temp:
            isf = temp.file("whole.isf")
            palvorin.record(DUAL_SIM, isf)
            cut = temp.write("cut.isf", read_file(isf)[: os.path.getsize(isf) // 2])
            page = temp.file("page.html")
            status, stderr = report(cut, "-o", page)
            self.assertEqual(status, 0, stderr)
            content = read(page)
            self.assertIn("inconsistencies (palvorin verify lists them)", content)
            self.assertIn('id="f1-t-cells-0"', content)

    def test_what_is_missing_is_said(self):
        with TempDir() as temp:
            # Capture B: 18 logs, none of them a measurement, cell or RRC log.
            page = temp.file("page.html")
            status, stderr = report(os.path.join(DATA, "raw_diag_stream_b.bin"), "-o", page)
            self.assertEqual(status, 0, stderr)
            content = read(page)
            self.assertIn("No radio measurements", content)
            self.assertIn("No serving-cell information", content)
            self.assertNotIn("<svg", content)

    def test_a_long_capture_gives_a_page_of_the_same_size(self):
        # 40 copies one after the other (the times go back at each seam): the pictures are drawn from the
        # same number of buckets and columns, the tables show the same rows.
        with TempDir() as temp:
            sizes = []
            for copies in (1, 40):
                stream = write_stream("meas_lte_2016.txt", temp.file(f"copies{copies}.bin"), copies)
                page = temp.file(f"page{copies}.html")
                status, stderr = report(stream, "-o", page, "--rows", "20")
                self.assertEqual(status, 0, stderr)
                sizes.append(os.path.getsize(page))
            self.assertLess(sizes[1], sizes[0] * 1.3, sizes)

    def test_the_tool_hands_every_argument_over(self):
        done = subprocess.run([TOOL, "report", "--help"], capture_output=True, text=True, timeout=60)
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertIn("usage: palvorin report", done.stdout)
        status, stderr = report("--rows", "x", "-o", "page.html", DUAL_SIM)
        self.assertEqual(status, 2)
        self.assertIn("--rows: invalid int value", stderr)

if __name__ == "__main__":
    unittest.main()
