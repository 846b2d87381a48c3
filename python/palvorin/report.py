"""palvorin report: one self-contained HTML page that shows where captures camped, how the signal went,
where they handed over and where something failed.

    python3 -m palvorin report drive.isf [more.isf raw.bin ...] -o report.html
    palvorin report ...                               (the tool hands over to this)

Each file is read once by the library (palvorin.overview): its items and message counts, its measurements
decimated natively to a fixed number of time buckets, and its cells and events tables. From them: a header,
the serving-cell timeline with the RRC state, the measured signal, the events (failures and rejects first),
the cells and the message counts; with several files, a campaign summary first. Pictures are inline SVG,
the style is in the page: it opens from a USB stick on a machine with no network.
"""

import argparse
import contextlib
import datetime
import os
import sys

import numpy as np

from . import _native, charts, overview, page
from .capture import open as open_capture
from .errors import Error


class FileReport:
    """What the page shows of one file."""

    def __init__(self, number, path):
        self.number = number
        self.path = path
        self.error = None  #: why the file could not be read
        self.kind = None  #: "isf" or "raw"
        self.recording = None  #: palvorin.Recording of a raw stream
        self.seen = None  #: palvorin.overview.Overview
        self.span = None  #: (first ms, last ms) of the time axes
        self.subscriptions = []  #: [None or int]
        self.colours = None
        self.figures = []  #: [(title, svg)]
        self.notes = []  #: what is missing or was left out


def main(argv=None):
    arguments = _arguments(argv)
    reports = [_report_file(n, path, arguments) for n, path in enumerate(arguments.files, 1)]
    generated = datetime.datetime.now(datetime.timezone.utc)
    text = page.render(reports, generated, _native.library_version(), arguments.rows)
    # Written beside the page and renamed over it, so that a page is never left half written.
    partial = f"{arguments.output}.partial"
    try:
        with open(partial, "w", encoding="utf-8") as out:
            out.write(text)
        os.replace(partial, arguments.output)
    except BaseException as error:
        with contextlib.suppress(OSError):
            os.unlink(partial)
        if isinstance(error, OSError):
            print(f"palvorin report: cannot write {arguments.output}: {error.strerror or error}",
                  file=sys.stderr)
            return 1
        raise
    read = sum(1 for report in reports if report.error is None)
    print(f"palvorin report: {arguments.output} ({len(text.encode()):,} bytes): {read} of {len(reports)} "
          f"file{'s' if len(reports) != 1 else ''} read", file=sys.stderr)
    for report in reports:
        if report.error is not None:
            print(f"palvorin report: {report.error}", file=sys.stderr)
    return 0 if read > 0 else 1


def _arguments(argv):
    parser = argparse.ArgumentParser(
        prog="palvorin report",
        description="Write one self-contained HTML page (inline SVG pictures, no network needed) that shows "
                    "each capture's serving cells, signal, RRC state, events and message counts, and a "
                    "campaign summary when there are several.")
    parser.add_argument("files", metavar="FILE", nargs="+", help="ISF files or raw diagnostic streams")
    parser.add_argument("-o", "--output", metavar="OUT.html", required=True, help="the page to write")
    parser.add_argument("--rows", type=int, default=200, metavar="N",
                        help="rows shown per event kind, and cells shown per file (default 200); the page "
                             "says how many more there are")
    parser.add_argument("--buckets", type=int, default=2048, metavar="N",
                        help="time buckets per measured series, kept while the file is read (default 2048)")
    return parser.parse_args(argv)


def _report_file(number, path, arguments):
    report = FileReport(number, path)
    try:
        with open_capture(path, allow_damaged=True) as capture:
            report.kind = capture.kind
            report.recording = capture.recording
            report.seen = overview.read(capture, buckets=arguments.buckets)
    except Error as error:
        report.error = str(error)
        return report
    seen = report.seen
    report.notes = _notes(seen)
    if seen.first_ms is None:
        return report
    # A capture of one instant still gets a time axis a second wide.
    report.span = (seen.first_ms, seen.last_ms) if seen.last_ms > seen.first_ms else \
        (seen.first_ms - 500, seen.first_ms + 500)
    report.subscriptions = _subscriptions(seen)
    report.colours = charts.CellColours(seen.cells)
    prefix = f"f{number}-"

    lanes = [_lane(seen, subscription) for subscription in report.subscriptions]
    if any(lane.periods or lane.states for lane in lanes):
        report.figures.append(("Serving cell and RRC state",
                               charts.timeline(lanes, report.span, report.colours, prefix + "t-")))
    for lane, subscription in zip(lanes, report.subscriptions):
        svg = charts.signal([s for s in seen.series if s.subscription == subscription], report.span,
                            report.colours, lane.handovers, lane.failures, f"{prefix}s{len(report.figures)}-",
                            by_cell=charts.cells_apart(lane, report.span, report.colours))
        if svg is not None:
            report.figures.append((f"Signal{', ' + lane.name if lane.name else ''}", svg))
    return report


def _subscriptions(seen):
    """The subscriptions the file's cells, events and measurements name, in order; None (no subscription
    named) last, and only when something has none."""
    named = {s.subscription for s in seen.series}
    for table in (seen.cells, seen.events):
        named.update(int(value) for value in table["subscription"].dropna().unique())
        if table["subscription"].isna().any():
            named.add(None)
    return sorted(s for s in named if s is not None) + ([None] if None in named else [])


def _lane(seen, subscription):
    cells = overview.rows_of(seen.cells, subscription)
    events = overview.rows_of(seen.events, subscription)
    keys = [charts.cell_key(*row) for row in cells[["technology", "arfcn", "pci"]].itertuples(index=False)]
    periods = list(zip(overview.ms(cells["from_utc"]), overview.ms(cells["to_utc"]), keys))
    states = events[events["event"].isin(["rrc_connected", "rrc_idle"])].sort_values("time_utc", kind="stable")
    starts = overview.ms(states["time_utc"])
    ends = np.append(starts[1:], seen.last_ms)
    moved = cells[cells["entered_by"].isin(["reselection", "redirection"])]
    return charts.Lane(
        name=page.subscription_name(subscription),
        periods=periods,
        states=list(zip(starts, ends, states["event"] == "rrc_connected")),
        handovers=overview.ms(events[events["event"] == "handover"]["time_utc"]),
        reselections=overview.ms(moved["from_utc"]),
        failures=overview.ms(events[events["event"].map(overview.is_failure).astype(bool)]["time_utc"]),
    )


def _notes(seen):
    """What the file does not have, or what was left out, in words."""
    notes = []
    if seen.problems:
        notes.append(f"The file has {seen.problems:,} inconsistencies (palvorin verify lists them): what the "
                     "reader could still make out of it is shown.")
    logs = seen.measurement_logs
    skipped = sum(count for status, count in logs.items() if status not in ("used", "not a measurement log"))
    if seen.rows.get("measurements", 0) == 0:
        notes.append("No radio measurements: no serving-cell or neighbour measurement log was read"
                     + (f" ({skipped:,} measurement logs in layouts not read)" if skipped else "")
                     + ", so RSRP, RSRQ, SINR, RSCP, Ec/Io and RxLev are not drawn.")
    if seen.rows.get("cells", 0) == 0:
        notes.append("No serving-cell information: no cell log, measurement or RRC message told which cell "
                     "served, so there is no serving-cell timeline and no cells table.")
    if seen.rows.get("events", 0) == 0:
        notes.append("No events: no RRC connection, mobility or NAS message was read.")
    if seen.rows.get("messages", 0) == 0:
        notes.append("No signalling messages.")
    for table, count in seen.rows_not_kept.items():
        if count:
            notes.append(f"Only the first {seen.rows[table] - count:,} rows of the {table} table are in the "
                         f"pictures and tables; {count:,} more were not kept.")
    if seen.values_not_kept:
        notes.append(f"{seen.values_not_kept:,} measured values of cells beyond the ones drawn are not in the "
                     "pictures.")
    return notes


if __name__ == "__main__":
    sys.exit(main())
