"""The pictures of a report: matplotlib figures written as inline SVG (nothing a browser would fetch).

Every figure has the same width and the same left and right margins, so that the time axes of one file's
pictures line up on the page. Bands (serving cells, RRC states) and marks are drawn at a fixed number of
columns across the time axis whatever the capture's length: a band narrower than a column does not show
(its cell is in the table), and a capture of any size gives pictures of the same few hundred KB.
"""

import io
import math
import re

import matplotlib
import numpy as np
import pandas as pd
from matplotlib import dates as mdates
from matplotlib.backends.backend_svg import FigureCanvasSVG
from matplotlib.figure import Figure
from matplotlib.lines import Line2D
from matplotlib.patches import Patch

_UTC = mdates.UTC
_MS_PER_DAY = 86_400_000.0

WIDTH_IN = 12.0
_LEFT_IN = 1.15  # room for the lane names and the value axis label
_RIGHT_IN = 0.2
_TOP_IN = 0.34  # the legend above the axes
_BOTTOM_IN = 0.5  # time ticks, their date, the axis label
_AXES_WIDTH_PT = (WIDTH_IN - _LEFT_IN - _RIGHT_IN) * 72
COLUMNS = 1600  # columns across the time axis at which bands and marks are drawn
_SERVING_POINTS = 1000  # most points of a serving cell's line, about one a pixel of the axis
_NEIGHBOUR_POINTS = 400
_NEIGHBOURS_DRAWN = 24  # the neighbours with most values in a panel; the rest are not drawn
# A line breaks where a cell has no value for three of its usual intervals (the median), three points and
# at least a second: a cell measured every 40 ms in connected mode and every 2.56 s in idle mode keeps one
# line, and a cell that is measured again minutes later does not get a straight line across the gap.
_GAP_MIN_MS = 1000
# Past this many serving-cell bands in a lane the cells change too fast to tell their colours apart: the
# signal is drawn as one serving line, whichever cell served, and the marks of events as ticks.
_DISTINCT_BANDS = 150
_MARK_LINES = 60
SERVING = "#1f4e8c"

_STYLE = {
    "svg.fonttype": "path",  # text as shapes: no font to fetch or to lack
    "svg.hashsalt": "palvorin",  # the same ids on every run
    "font.size": 8,
    "axes.titlesize": 8,
    "axes.labelsize": 8,
    "xtick.labelsize": 7.5,
    "ytick.labelsize": 7.5,
    "legend.fontsize": 7.5,
    "axes.spines.top": False,
    "axes.spines.right": False,
    "axes.grid": True,
    "grid.color": "#e4e4e4",
    "grid.linewidth": 0.6,
    "path.simplify": True,
}

# A cell's colour: the cells that served longest get the distinct ones, the others share grey.
_PALETTE = [
    "#1f77b4", "#ff7f0e", "#2ca02c", "#d62728", "#9467bd", "#8c564b", "#e377c2", "#17becf", "#bcbd22",
    "#7f7f7f", "#aec7e8", "#ffbb78", "#98df8a", "#ff9896", "#c5b0d5", "#c49c94", "#f7b6d2", "#9edae5",
    "#dbdb8d", "#393b79",
]
OTHER_CELL = "#c8c8c8"
CONNECTED = "#3b6fb6"
IDLE = "#d6dde6"
FAILURE = "#d62728"
HANDOVER = "#333333"
RESELECTION = "#6a3d9a"

# The quantities drawn, in this order: (measurements column, axis label).
QUANTITIES = [
    ("rsrp_dbm", "RSRP (dBm)"),
    ("rsrq_db", "RSRQ (dB)"),
    ("sinr_db", "SINR (dB)"),
    ("rscp_dbm", "RSCP (dBm)"),
    ("ecio_db", "Ec/Io (dB)"),
    ("rxlev_dbm", "RxLev (dBm)"),
]


def _days(ms):
    """Milliseconds since 1970 as matplotlib's dates (days since 1970)."""
    return np.asarray(ms, dtype=np.float64) / _MS_PER_DAY


class CellColours:
    """The colour and name of each cell (technology, channel, cell) of a file, the longest served first."""

    def __init__(self, cells):
        seconds = (cells["to_utc"] - cells["from_utc"]).dt.total_seconds()
        by_cell = seconds.groupby([cells["technology"].astype(object), cells["arfcn"], cells["pci"]],
                                  dropna=False).sum()
        served = {cell_key(*cell): total for cell, total in by_cell.items()}
        self.keys = sorted(served, key=lambda key: (-served[key], str(key)))
        self._index = {key: i for i, key in enumerate(self.keys)}

    def index(self, key):
        """A number for the cell, -1 for one the file's cells do not have."""
        return self._index.get(key, -1)

    def colour(self, key):
        i = self.index(key)
        return _PALETTE[i] if 0 <= i < len(_PALETTE) else OTHER_CELL

    def legend(self):
        """[(colour, name)] of the cells with a colour of their own, and how many share the grey."""
        named = [(self.colour(key), cell_name(key)) for key in self.keys[: len(_PALETTE)]]
        return named, max(0, len(self.keys) - len(_PALETTE))


def cell_key(technology, channel, cell):
    """A cell as the pictures tell cells apart: technology, channel number and physical cell."""

    def number(value):
        return None if pd.isna(value) else int(value)

    return ("" if pd.isna(technology) else str(technology), number(channel), number(cell))


def cell_name(key):
    """'LTE 1825/273': technology, channel, cell."""
    technology, channel, cell = key
    return "{} {}/{}".format(technology.upper() or "?", "?" if channel is None else channel,
                             "?" if cell is None else cell)


def _figure(height_in, panels=1, hspace=0.14):
    figure = Figure(figsize=(WIDTH_IN, height_in))
    FigureCanvasSVG(figure)
    axes = figure.subplots(
        panels, 1, sharex=True, squeeze=False,
        gridspec_kw=dict(left=_LEFT_IN / WIDTH_IN, right=1 - _RIGHT_IN / WIDTH_IN,
                         top=1 - _TOP_IN / height_in, bottom=_BOTTOM_IN / height_in, hspace=hspace))
    return figure, [row[0] for row in axes]


def _time_axis(axes, span):
    axes.set_xlim(_days(span[0]), _days(span[1]))
    locator = mdates.AutoDateLocator(tz=_UTC, minticks=4, maxticks=10)
    axes.xaxis.set_major_locator(locator)
    # Ticks as times of day in full (10:19:30), the date beside the last one.
    formats = ["%Y", "%b", "%d", "%H:%M", "%H:%M", "%H:%M:%S.%f"]
    formatter = mdates.ConciseDateFormatter(locator, tz=_UTC, formats=formats, show_offset=True,
                                            zero_formats=["", "%Y", "%b", "%b-%d", "%H:%M", "%H:%M"],
                                            offset_formats=["", "%Y", "%Y-%m", "%Y-%m-%d", "%Y-%m-%d",
                                                            "%Y-%m-%d %H:%M"])
    axes.xaxis.set_major_formatter(formatter)
    axes.set_xlabel("time (UTC)")


_ID = re.compile(r'\bid="([^"]+)"')
_REFERENCE = re.compile(r'(href="#|url\(#)([^")]+)')


def _svg(figure, prefix):
    """The figure as an <svg> element to put inside a page: no XML prologue, no metadata, no namespace
    URLs, ids made unique on the page with `prefix`, as wide as its container."""
    out = io.StringIO()
    figure.savefig(out, format="svg", metadata={"Date": None, "Creator": None, "Format": None, "Type": None})
    text = out.getvalue()
    text = text[text.index("<svg"):]
    text = re.sub(r"<metadata>.*?</metadata>\s*", "", text, flags=re.S)
    text = re.sub(r'<style type="text/css">.*?</style>\s*', "", text, flags=re.S)  # in the page's style
    text = re.sub(r'\s+xmlns(:xlink)?="[^"]*"', "", text)
    text = re.sub(r'<svg width="[^"]*" height="[^"]*"', '<svg class="figure"', text, count=1)
    text = _ID.sub(lambda m: f'id="{prefix}{m.group(1)}"', text)
    text = _REFERENCE.sub(lambda m: f"{m.group(1)}{prefix}{m.group(2)}", text)
    return text


def _columns(span):
    """The middles of the columns across the time axis and their width, in ms."""
    width = (span[1] - span[0]) / COLUMNS
    return span[0] + (np.arange(COLUMNS) + 0.5) * width, width


def runs(starts, ends, values, span, tolerance=1.5):
    """Intervals [start, end] (ms) with an integer value each, seen at the columns of the time axis: the
    value of the interval that began last before a column's middle (and had not ended more than
    `tolerance` columns before it), -1 where none. Returns [(from_ms, to_ms, value)] of the runs of
    consecutive columns with the same value, -1 left out."""
    if len(starts) == 0 or span[1] <= span[0]:
        return []
    order = np.argsort(starts, kind="stable")
    starts = np.asarray(starts, dtype=np.float64)[order]
    ends = np.asarray(ends, dtype=np.float64)[order]
    values = np.asarray(values)[order]
    middles, width = _columns(span)
    at = np.searchsorted(starts, middles, side="right") - 1
    seen = np.full(COLUMNS, -1, dtype=np.int64)
    inside = (at >= 0) & (ends[np.clip(at, 0, None)] + tolerance * width >= middles)
    seen[inside] = values[at[inside]]
    bounds = np.concatenate(([0], np.flatnonzero(np.diff(seen)) + 1, [COLUMNS]))
    return [(span[0] + a * width, span[0] + b * width, int(seen[a]))
            for a, b in zip(bounds[:-1], bounds[1:]) if seen[a] >= 0]


def marks(times_ms, span):
    """Times thinned to one a column (the first in each), so that a mark per event stays bounded."""
    times = np.asarray(times_ms, dtype=np.float64)
    times = times[(times >= span[0]) & (times <= span[1])]
    if len(times) == 0 or span[1] <= span[0]:
        return times
    column = np.floor((times - span[0]) / ((span[1] - span[0]) / COLUMNS))
    _, first = np.unique(column, return_index=True)
    return times[first]


def _label_fits(text, from_ms, to_ms, span, size):
    width_pt = (to_ms - from_ms) / (span[1] - span[0]) * _AXES_WIDTH_PT
    return len(text) * 0.6 * size + 6 <= width_pt


def _text_colour(colour):
    red, green, blue = (int(colour[i:i + 2], 16) for i in (1, 3, 5))
    return "#000000" if 0.299 * red + 0.587 * green + 0.114 * blue > 140 else "#ffffff"


class Lane:
    """What one subscription's lane of the timeline shows, times in ms since 1970 UTC."""

    def __init__(self, name, periods, states, handovers, reselections, failures):
        self.name = name  #: "SIM 1", or "" for a capture whose logs name no subscription
        self.periods = periods  #: [(from, to, cell key)]
        self.states = states  #: [(from, to, connected: bool)]
        self.handovers = handovers  #: [time]
        self.reselections = reselections  #: [time]
        self.failures = failures  #: [time]


def timeline(lanes, span, colours, prefix):
    """The serving-cell timeline: per subscription a lane of serving-cell bands (coloured by cell, named
    where wide enough) with marks for handovers, reselections and failures, and a band of the RRC state."""
    block = 2.3
    height = _TOP_IN + _BOTTOM_IN + 0.62 * len(lanes) + 0.1
    with matplotlib.rc_context(_STYLE):
        figure, (axes,) = _figure(height)
        axes.grid(False, axis="y")
        ticks, names = [], []
        for i, lane in enumerate(lanes):
            base = block * (len(lanes) - 1 - i)
            cell_y, cell_h = base + 0.75, 1.0
            state_y, state_h = base + 0.2, 0.42
            name = f"{lane.name} " if lane.name else ""
            ticks += [cell_y + cell_h / 2, state_y + state_h / 2]
            names += [f"{name}serving cell", f"{name}RRC state"]

            keys = [key for _, _, key in lane.periods]
            bands = runs([p[0] for p in lane.periods], [p[1] for p in lane.periods],
                         [colours.index(key) for key in keys], span)
            if bands:
                collection = axes.broken_barh(
                    [(_days(a), _days(b) - _days(a)) for a, b, _ in bands], (cell_y, cell_h),
                    facecolors=[colours.colour(colours.keys[v]) for _, _, v in bands], linewidth=0)
                collection.set_gid(f"cells-{i}")
            for a, b, v in bands:
                label = cell_name(colours.keys[v])
                if _label_fits(label, a, b, span, 7):
                    axes.text(_days((a + b) / 2), cell_y + cell_h / 2, label, ha="center", va="center",
                              fontsize=7, color=_text_colour(colours.colour(colours.keys[v])), clip_on=True)

            states = runs([s[0] for s in lane.states], [s[1] for s in lane.states],
                          [int(s[2]) for s in lane.states], span)
            if states:
                collection = axes.broken_barh(
                    [(_days(a), _days(b) - _days(a)) for a, b, _ in states], (state_y, state_h),
                    facecolors=[CONNECTED if v else IDLE for _, _, v in states], linewidth=0)
                collection.set_gid(f"rrc-{i}")

            top = cell_y + cell_h + 0.2
            for times, marker, colour, size in ((lane.reselections, "D", RESELECTION, 3.2),
                                                (lane.handovers, "v", HANDOVER, 4.5),
                                                (lane.failures, "X", FAILURE, 6)):
                shown = marks(times, span)
                if len(shown):
                    axes.plot(_days(shown), np.full(len(shown), top), linestyle="none", marker=marker,
                              markersize=size, color=colour, markeredgewidth=0, clip_on=False)
        axes.set_ylim(0, block * len(lanes) - 0.05)
        axes.set_yticks(ticks, names)
        axes.tick_params(axis="y", length=0)
        axes.spines["left"].set_visible(False)
        _time_axis(axes, span)
        axes.legend(
            handles=[Patch(color=CONNECTED, label="RRC connected"), Patch(color=IDLE, label="RRC idle"),
                     Line2D([], [], ls="none", marker="v", color=HANDOVER, label="handover"),
                     Line2D([], [], ls="none", marker="D", ms=4, color=RESELECTION,
                            label="reselection / redirection"),
                     Line2D([], [], ls="none", marker="X", ms=6, color=FAILURE, label="failure or reject")],
            loc="lower left", bbox_to_anchor=(0, 1.0), ncol=5, frameon=False, borderaxespad=0.2)
        return _svg(figure, prefix)


def _merged(series, span, points):
    """The buckets of a series merged in groups so that about `points` cover the span: (time, minimum,
    maximum, mean) with NaN rows where the line breaks (no value for a while)."""
    group = max(series.bucket_ms, math.ceil((span[1] - span[0]) / points))
    group = series.bucket_ms * max(1, math.ceil(group / series.bucket_ms))
    index = (series.time_ms - span[0]) // group
    starts = np.flatnonzero(np.diff(index, prepend=index[0] - 1)) if len(index) else index
    if len(starts) == 0:
        return (np.array([]),) * 4
    minimum = np.minimum.reduceat(series.minimum, starts)
    maximum = np.maximum.reduceat(series.maximum, starts)
    count = np.add.reduceat(series.count, starts)
    mean = np.add.reduceat(series.mean * series.count, starts) / count
    time = np.add.reduceat(series.time_ms * series.count, starts) / count
    steps = np.diff(series.time_ms)
    usual = float(np.median(steps)) if len(steps) else 0.0
    gap = np.flatnonzero(np.diff(time) > max(_GAP_MIN_MS, 3 * group, 3 * usual)) + 1
    return tuple(np.insert(column.astype(np.float64), gap, np.nan) for column in (time, minimum, maximum, mean))


def _alone(values):
    """Indices of the values with no neighbour on either side (NaN or the end): a line does not show them,
    so they get a dot."""
    present = ~np.isnan(values)
    before = np.concatenate(([False], present[:-1]))
    after = np.concatenate((present[1:], [False]))
    return list(np.flatnonzero(present & ~before & ~after))


def cells_apart(lane, span, colours):
    """Whether the serving cells of a lane change slowly enough at the picture's resolution that a line per
    cell in the cell's colour can be told apart."""
    bands = runs([p[0] for p in lane.periods], [p[1] for p in lane.periods],
                 [colours.index(key) for _, _, key in lane.periods], span)
    return 0 < len(bands) <= _DISTINCT_BANDS


def signal(series, span, colours, handovers, failures, prefix, by_cell=True):
    """The measured quantities of one subscription over time, a panel each: the serving cells (a line
    through the mean of each point's values and a band from their minimum to their maximum), in the colour
    of each cell when `by_cell`, else as one line whichever cell served; neighbour cells fainter; handovers
    and failures as vertical lines (as ticks along the top when there are many). None when nothing was
    measured."""
    panels = [(column, label) for column, label in QUANTITIES if any(s.quantity == column for s in series)]
    if not panels:
        return None
    panel_in = 1.55
    height = _TOP_IN + _BOTTOM_IN + panel_in * len(panels)
    with matplotlib.rc_context(_STYLE):
        figure, axes_list = _figure(height, len(panels))
        handover_days = _days(marks(handovers, span))
        failure_days = _days(marks(failures, span))
        bottom = 0 if len(handover_days) + len(failure_days) <= _MARK_LINES else 0.93
        for axes, (column, label) in zip(axes_list, panels):
            drawn = [s for s in series if s.quantity == column]
            neighbours = sorted((s for s in drawn if not s.serving), key=lambda s: -int(s.count.sum()))
            for n, s in enumerate(neighbours[:_NEIGHBOURS_DRAWN]):
                time, _, _, mean = _merged(s, span, _NEIGHBOUR_POINTS)
                (line,) = axes.plot(_days(time), mean, color="#9a9a9a", linewidth=0.6, alpha=0.55, marker=".",
                                    markersize=2, markevery=_alone(mean))
                line.set_gid(f"neighbour-{column}-{n}")
            serving = [s for s in drawn if s.serving and s.all_serving != by_cell]
            for n, s in enumerate(serving):
                colour = colours.colour(cell_key(s.technology, s.channel, s.cell)) if by_cell else SERVING
                time, minimum, maximum, mean = _merged(s, span, _SERVING_POINTS)
                spread = ~np.isnan(minimum) & (maximum > minimum)
                if spread.any():
                    band = axes.fill_between(_days(time), minimum, maximum, where=spread, color=colour,
                                             alpha=0.25, linewidth=0)
                    band.set_gid(f"range-{column}-{n}")
                (line,) = axes.plot(_days(time), mean, color=colour, linewidth=1.0, marker=".", markersize=3,
                                    markevery=_alone(mean))
                line.set_gid(f"serving-{column}-{n}")
            axes.margins(y=0.08)
            limits = axes.get_ylim()  # the marks span the panel; they must not widen its values' range
            if len(handover_days):
                axes.vlines(handover_days, bottom, 1, transform=axes.get_xaxis_transform(), colors=HANDOVER,
                            linewidth=0.6, linestyles="dashed" if bottom == 0 else "solid", alpha=0.6)
            if len(failure_days):
                axes.vlines(failure_days, bottom, 1, transform=axes.get_xaxis_transform(), colors=FAILURE,
                            linewidth=0.9, alpha=0.8)
            axes.set_ylim(limits)
            axes.set_ylabel(label)
        _time_axis(axes_list[-1], span)
        colour = "#1f77b4" if by_cell else SERVING
        axes_list[0].legend(
            handles=[Line2D([], [], color=colour, lw=1.0,
                            label="serving cell (its colour in the timeline)" if by_cell else
                            "serving cell (whichever served)"),
                     Patch(color=colour, alpha=0.25, label="its minimum to maximum"),
                     Line2D([], [], color="#9a9a9a", lw=0.6, label="neighbour cells"),
                     Line2D([], [], color=HANDOVER, lw=0.6, ls="dashed" if bottom == 0 else "solid",
                            label="handover"),
                     Line2D([], [], color=FAILURE, lw=0.9, label="failure or reject")],
            loc="lower left", bbox_to_anchor=(0, 1.0), ncol=5, frameon=False, borderaxespad=0.2)
        return _svg(figure, prefix)
