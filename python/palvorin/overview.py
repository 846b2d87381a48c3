"""What a report pictures of a capture, read in one pass in bounded memory (overview/CaptureOverview.h).

    with palvorin.open("drive.isf") as capture:
        seen = palvorin.overview.read(capture)
        for series in seen.series:                  # decimated: one value range per time bucket
            print(series.quantity, series.cell, series.time[:3], series.minimum[:3])

The measurements are not kept row by row: every quantity of every measured cell comes as a series of time
buckets (at most `buckets` over the capture, a bucket holding the minimum, maximum and mean of its values),
so that a capture of any size gives the same few arrays. The cells and events tables are small and come
whole (up to `table_rows` rows each).
"""

import dataclasses

import numpy as np
import pandas as pd

from . import _native
from .frames import frame

#: Events that mean something failed or was refused (beside every "..._reject" and "..._failure"): a
#: re-establishment request follows a radio-link, handover or reconfiguration failure.
FAILURE_EVENTS = {"reestablishment_request"}


@dataclasses.dataclass
class Series:
    """One measured quantity of one cell over time, a value range per non-empty time bucket."""

    subscription: object  #: int, or None when the logs name none
    technology: str  #: "lte", "nr", "wcdma", "gsm"
    serving: bool  #: the serving cell (else a neighbour)
    all_serving: bool  #: every serving cell of the subscription and technology together (channel, cell None)
    channel: object  #: EARFCN, NR-ARFCN, UARFCN or ARFCN; None when not given
    cell: object  #: PCI, PSC or BSIC; None when not given
    quantity: str  #: the measurements column: "rsrp_dbm", "rsrq_db", "sinr_db", "rscp_dbm", ...
    time_ms: np.ndarray  #: int64 milliseconds since 1970 UTC: the middle of each non-empty bucket
    minimum: np.ndarray  #: float64, per bucket
    maximum: np.ndarray
    mean: np.ndarray
    count: np.ndarray  #: values per bucket
    bucket_ms: int  #: the width of a bucket


@dataclasses.dataclass
class Overview:
    """What one reading of a capture gave for its report."""

    path: str
    items: int
    items_by_subscription: dict  #: {subscription or None: items}
    first_ms: object  #: int milliseconds since 1970 UTC of the first item (not the tool-version record)
    last_ms: object  #: ... of the last; both None when no item has a time
    messages: pd.DataFrame  #: subscription, technology, kind, count
    series: list  #: [Series]
    cells: pd.DataFrame  #: the cells table (as `palvorin cells`)
    events: pd.DataFrame  #: the events table (as `palvorin events`)
    rows: dict  #: rows each table has in the whole file: {"measurements": ..., ...}
    measurement_logs: dict  #: measurement, cell and state logs by outcome
    rows_not_kept: dict  #: {"cells": n, "events": n} beyond `table_rows`
    values_not_kept: int  #: measured values of series beyond the limits
    messages_not_counted: int
    problems: int  #: the reader's inconsistencies (a damaged or unclosed file)


def _subscription(value):
    return None if value == 0 else int(value)


def _none_if(value, missing):
    return None if value == missing else int(value)


def _series(raw, origin_ms, width_ms):
    count = raw["count"]
    used = np.flatnonzero(count)
    return Series(
        subscription=_subscription(raw["subscription"]),
        technology=raw["technology"],
        serving=bool(raw["serving"]),
        all_serving=bool(raw["all_serving"]),
        channel=_none_if(raw["channel"], -1),
        cell=_none_if(raw["cell"], -1),
        quantity=raw["quantity"],
        time_ms=origin_ms + used.astype(np.int64) * width_ms + width_ms // 2,
        minimum=raw["minimum"][used],
        maximum=raw["maximum"][used],
        mean=raw["sum"][used] / count[used],
        count=count[used],
        bucket_ms=width_ms,
    )


def read(capture, buckets=2048, serving_series=128, neighbour_series=384, all_serving_series=64,
         table_rows=250_000):
    """Reads the open palvorin.File `capture` once for its report; raises palvorin.Error."""
    raw = _native.overview(capture._isf(), buckets, serving_series, neighbour_series, all_serving_series,
                           table_rows)
    origin_ms, width_ms, _ = raw["grid"]
    span = raw["span_ms"] or (None, None)
    messages = pd.DataFrame(raw["messages"], columns=["subscription", "technology", "kind", "count"])
    messages["subscription"] = messages["subscription"].map(_subscription).astype(object)
    return Overview(
        path=capture.path,
        items=raw["items"],
        items_by_subscription={_subscription(k): v for k, v in raw["items_by_subscription"].items()},
        first_ms=span[0],
        last_ms=span[1],
        messages=messages,
        series=[_series(s, origin_ms, width_ms) for s in raw["series"]],
        cells=frame(raw["cells"]),
        events=frame(raw["events"]),
        rows=raw["rows"],
        measurement_logs=raw["measurement"],
        rows_not_kept=raw["rows_not_kept"],
        values_not_kept=raw["values_not_kept"],
        messages_not_counted=raw["messages_not_counted"],
        problems=raw["problems"],
    )


def is_failure(event):
    """Whether an event of the events table tells of a failure or a reject."""
    return event in FAILURE_EVENTS or str(event).endswith(("_reject", "_failure"))


def rows_of(table, subscription):
    """The rows of a cells or events table of one subscription (None: the rows that name none)."""
    if subscription is None:
        return table[table["subscription"].isna()]
    return table[(table["subscription"] == subscription).fillna(False).astype(bool)]


def ms(times):
    """A time column of a table as int64 milliseconds since 1970 UTC."""
    return np.asarray(times.values.view("int64") // 1_000_000, dtype=np.int64)
