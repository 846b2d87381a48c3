"""The HTML of a report: one page with its style inside, the pictures inline, and no reference to anything
outside it (no script, no link, no URL), so that it opens anywhere without a network."""

import html
import os
import platform

import matplotlib
import pandas as pd

from . import charts, overview
from .capture import TABLES

_STYLE = """
body { font-family: "DejaVu Sans", "Segoe UI", "Helvetica Neue", Arial, sans-serif; font-size: 14px;
       color: #1d1d1d; margin: 0; background: #ffffff; }
main { max-width: 1180px; margin: 0 auto; padding: 18px 24px 48px; }
h1 { font-size: 24px; margin: 4px 0 2px; }
h2 { font-size: 19px; margin: 34px 0 8px; padding-top: 10px; border-top: 2px solid #2f4f6f; }
h3 { font-size: 15px; margin: 22px 0 6px; color: #2f4f6f; }
p.generated { color: #555; margin: 0 0 10px; }
nav ul { margin: 4px 0; padding-left: 0; list-style: none; columns: 2; }
dl.facts { display: grid; grid-template-columns: max-content 1fr; gap: 3px 16px; margin: 8px 0; }
dl.facts dt { color: #555; }
dl.facts dd { margin: 0; }
ul.notes { background: #fff6e0; border-left: 4px solid #e0a100; padding: 8px 12px 8px 28px; margin: 10px 0; }
p.error { background: #fde8e8; border-left: 4px solid #d62728; padding: 8px 12px; }
figure { margin: 12px 0 4px; }
figcaption { font-weight: bold; color: #2f4f6f; margin-bottom: 2px; }
svg.figure { width: 100%; height: auto; display: block; }
svg.figure * { stroke-linejoin: round; stroke-linecap: butt; }
ul.legend { list-style: none; padding: 0; margin: 4px 0 0 97px; font-size: 12.5px; }
ul.legend li { display: inline-block; margin: 0 14px 3px 0; white-space: nowrap; }
span.swatch { display: inline-block; width: 11px; height: 11px; margin-right: 5px; vertical-align: -1px;
              border-radius: 2px; }
table { border-collapse: collapse; font-size: 12px; margin: 4px 0; font-variant-numeric: tabular-nums; }
th, td { padding: 2px 6px; text-align: left; border-bottom: 1px solid #e6e6e6; white-space: nowrap; }
th { background: #eef2f6; position: sticky; top: 0; }
td.number, th.number { text-align: right; }
tr.failure td { background: #fdecec; }
tr.failure td.event { color: #b01e1e; font-weight: bold; }
div.scroll { max-height: 520px; overflow: auto; border: 1px solid #e6e6e6; display: inline-block;
             max-width: 100%; }
p.more { color: #555; margin: 2px 0; font-style: italic; }
span.bar { display: inline-block; height: 9px; background: #7a9cc6; vertical-align: 0; }
"""


def render(reports, generated, version, rows):
    """The whole page for the FileReports `reports`; `rows`: rows shown per event kind and cells shown per
    file."""
    title = "Capture report: " + (os.path.basename(reports[0].path) if len(reports) == 1
                                  else f"{len(reports)} files")
    parts = [
        "<!DOCTYPE html>",
        '<html lang="en"><head><meta charset="utf-8">',
        f"<title>{_e(title)}</title>",
        f"<style>{_STYLE}</style></head><body><main>",
        f"<h1>{_e(title)}</h1>",
        f'<p class="generated">Written {generated:%Y-%m-%d %H:%M:%S} UTC by palvorin report, libPalvorin '
        f"{_e(version)} (Python {_e(platform.python_version())}, matplotlib {_e(matplotlib.__version__)}). "
        "Times are UTC.</p>",
    ]
    if len(reports) > 1:
        parts.append(_contents(reports))
        parts.append(campaign(reports, rows))
    for file_report in reports:
        parts.append(file_section(file_report, version, rows))
    parts.append("</main></body></html>\n")
    return "\n".join(parts)


def _e(text):
    return html.escape(str(text), quote=True)


def _contents(reports):
    items = "".join(f'<li><a href="#file-{r.number}">{r.number}. {_e(os.path.basename(r.path))}</a>'
                    f'{" (not read)" if r.error else ""}</li>' for r in reports)
    return f'<nav><ul><li><a href="#campaign">Campaign summary</a></li>{items}</ul></nav>'


def subscription_name(subscription):
    """'SIM 2'; '' for logs that name no subscription."""
    return "" if subscription is None else f"SIM {subscription}"


def table_text(value, kind):
    """A value of a capture table as the tool's CSV writes it: times as 2019-07-30T10:19:06.750Z, log
    codes as 0xB193, reals in their shortest form, nothing where the value does not apply."""
    if pd.isna(value):
        return ""
    if kind == "time":
        return value.strftime("%Y-%m-%dT%H:%M:%S.") + f"{value.microsecond // 1000:03d}Z"
    if kind == "code":
        return f"0x{int(value):04X}"
    if kind == "int":
        return str(int(value))
    if kind == "real":
        text = repr(float(value))
        return text[:-2] if text.endswith(".0") else text
    return str(value)


def column_kinds(table):
    """{column: type} of a capture table."""
    return dict(TABLES[table])


def utc(ms):
    return pd.Timestamp(int(ms), unit="ms", tz="UTC").strftime("%Y-%m-%d %H:%M:%S.%f")[:-3]


def duration(ms):
    """'36.1 s', '4 min 56 s', '2 h 03 min'."""
    seconds = ms / 1000
    if seconds < 60:
        return f"{seconds:.1f} s"
    if seconds < 3600:
        return f"{int(seconds // 60)} min {int(seconds % 60):02d} s"
    return f"{int(seconds // 3600)} h {int(seconds % 3600 // 60):02d} min"


def _facts(pairs):
    return '<dl class="facts">' + "".join(f"<dt>{_e(k)}</dt><dd>{v}</dd>" for k, v in pairs) + "</dl>"


def _table(columns, rows, numeric=(), row_classes=None, cell_classes=None, name=None):
    """A table: `columns` names, `rows` lists of HTML cell contents (already escaped)."""
    head = "".join(f'<th class="number">{_e(c)}</th>' if c in numeric else f"<th>{_e(c)}</th>"
                   for c in columns)
    body = []
    for i, row in enumerate(rows):
        css = f' class="{row_classes[i]}"' if row_classes and row_classes[i] else ""
        cells = []
        for column, value in zip(columns, row):
            classes = [c for c in (("number" if column in numeric else ""),
                                   (cell_classes or {}).get(column, "")) if c]
            cells.append(f'<td class="{" ".join(classes)}">{value}</td>' if classes else f"<td>{value}</td>")
        body.append(f"<tr{css}>{''.join(cells)}</tr>")
    data = f' data-table="{name}"' if name else ""
    return (f'<div class="scroll"><table{data}><thead><tr>{head}</tr></thead><tbody>{"".join(body)}'
            "</tbody></table></div>")


def _technologies(seen):
    names = set(seen.messages["technology"]) | {s.technology for s in seen.series} | \
        set(seen.cells["technology"].dropna())
    return ", ".join(sorted(n.upper() for n in names if n)) or "none told"


def _subscriptions(subscriptions):
    named = [str(s) for s in subscriptions if s is not None]
    if not named:
        return "none named (one SIM)"
    return ", ".join(named) + (" (and logs that name none)" if None in subscriptions else "")


def file_section(r, version, rows):
    parts = [f'<section class="file" id="file-{r.number}">',
             f"<h2>{r.number}. {_e(os.path.basename(r.path))}</h2>"]
    if r.error is not None:
        parts.append(f'<p class="error">This file could not be read: {_e(r.error)}</p></section>')
        return "\n".join(parts)
    seen = r.seen
    size = os.path.getsize(r.path) if os.path.exists(r.path) else 0
    kind = "item store file (ISF)" if r.kind == "isf" else \
        f"raw diagnostic stream ({r.recording.frames:,} frames, {r.recording.bad_frames:,} bad), recorded " \
        "into an ISF file for reading"
    span = "no item has a time" if seen.first_ms is None else \
        f"{utc(seen.first_ms)} to {utc(seen.last_ms)} UTC ({duration(seen.last_ms - seen.first_ms)})"
    failures = int(seen.events["event"].map(overview.is_failure).sum()) if len(seen.events) else 0
    parts.append(_facts([
        ("File", f"{_e(r.path)} ({size:,} bytes, {_e(kind)})"),
        ("Capture time", _e(span)),
        ("Subscriptions", _e(_subscriptions(r.subscriptions))),
        ("Technologies", _e(_technologies(seen))),
        ("Items", f"{seen.items:,}"),
        ("Signalling messages", f"{seen.rows['messages']:,}"),
        ("Measured cells", f"{seen.rows['measurements']:,} (one per cell per measurement log)"),
        ("Serving-cell periods", f"{seen.rows['cells']:,}"),
        ("Events", f"{seen.rows['events']:,}, of which {failures:,} "
                   f"{'failure or reject' if failures == 1 else 'failures or rejects'}"),
        ("Report", f"palvorin report, libPalvorin {_e(version)}"),
    ]))
    if len([s for s in r.subscriptions if s is not None]) > 0:
        parts.append(_per_subscription(r))
    if r.notes:
        parts.append('<ul class="notes">' + "".join(f"<li>{_e(n)}</li>" for n in r.notes) + "</ul>")
    for n, (title, svg) in enumerate(r.figures):
        parts.append(f"<figure><figcaption>{_e(title)}</figcaption>{svg}")
        if n == 0 and r.colours is not None and r.colours.keys:
            parts.append(_cell_legend(r.colours))
        parts.append("</figure>")
    if len(seen.events):
        parts.append("<h3>Events</h3>")
        parts.append(events_table(seen.events, rows))
    if len(seen.cells):
        parts.append("<h3>Serving cells</h3>")
        parts.append(cells_table(seen.cells, r.colours, rows))
    if len(seen.messages):
        parts.append("<h3>Signalling messages</h3>")
        parts.append(_messages_table(seen.messages))
    parts.append("</section>")
    return "\n".join(parts)


def _per_subscription(r):
    seen = r.seen
    rows = []
    for subscription in r.subscriptions:
        messages = seen.messages[seen.messages["subscription"].map(lambda s: s == subscription)]
        cells = overview.rows_of(seen.cells, subscription)
        events = overview.rows_of(seen.events, subscription)
        technologies = set(messages["technology"]) | set(cells["technology"].dropna()) | \
            {s.technology for s in seen.series if s.subscription == subscription}
        rows.append([
            _e(subscription_name(subscription) or "none named"),
            _e(", ".join(sorted(t.upper() for t in technologies if t)) or "-"),
            f"{seen.items_by_subscription.get(subscription, 0):,}",
            f"{int(messages['count'].sum()):,}",
            f"{len(cells):,}",
            f"{len(set(zip(cells['technology'], cells['arfcn'], cells['pci']))):,}",
            f"{len(events):,}",
            f"{int(events['event'].map(overview.is_failure).sum()) if len(events) else 0:,}",
        ])
    columns = ["subscription", "technologies", "items", "messages", "serving-cell periods", "cells", "events",
               "failures"]
    return _table(columns, rows, numeric=set(columns[2:]), name="subscriptions")


def _cell_legend(colours):
    named, others = colours.legend()
    items = "".join(f'<li><span class="swatch" style="background:{c}"></span>{_e(n)}</li>' for c, n in named)
    if others:
        items += (f'<li><span class="swatch" style="background:{charts.OTHER_CELL}"></span>{others} more cells '
                  "(in the table)</li>")
    return f'<ul class="legend">{items}</ul>'


def _row_texts(table, name):
    kinds = column_kinds(name)
    columns = list(table.columns)
    return columns, [[_e(table_text(value, kinds[c])) for c, value in zip(columns, row)]
                     for row in table.itertuples(index=False)]


def events_table(events, rows):
    """The events, failures and rejects first, each part in time order; at most `rows` of each kind."""
    ordered = events.assign(_later=~events["event"].map(overview.is_failure).astype(bool))
    ordered = ordered.sort_values(["_later", "time_utc"], kind="stable")  # failures (not later) first
    shown = ordered.groupby("event", observed=True, sort=False).head(rows)
    failures = list(~shown["_later"])
    columns, texts = _row_texts(shown.drop(columns="_later"), "events")
    html_table = _table(columns, texts, numeric={"subscription"},
                        row_classes=["failure" if f else "" for f in failures], cell_classes={"event": "event"},
                        name="events")
    counts = events["event"].value_counts()
    more = [f'<p class="more">… and {count - rows:,} more {_e(kind)}</p>'
            for kind, count in counts.items() if count > rows]
    return html_table + "".join(more)


def cells_table(cells, colours, rows):
    """The serving-cell periods as `palvorin cells` prints them, the first `rows`, with each cell's colour."""
    shown = cells.head(rows)
    columns, texts = _row_texts(shown, "cells")
    swatches = []
    for row in shown[["technology", "arfcn", "pci"]].itertuples(index=False):
        colour = colours.colour(charts.cell_key(*row)) if colours else charts.OTHER_CELL
        swatches.append(f'<span class="swatch" style="background:{colour}"></span>')
    numeric = {"subscription", "arfcn", "pci", "cell_id", "tac", "mcc", "band", "bandwidth_mhz",
               "rsrp_median_dbm", "rsrq_median_db", "measurements"}
    html_table = _table(["cell"] + columns, [[s] + t for s, t in zip(swatches, texts)], numeric=numeric,
                        name="cells")
    if len(cells) > rows:
        html_table += f'<p class="more">… and {len(cells) - rows:,} more serving-cell periods</p>'
    return html_table


def _messages_table(messages):
    top = max(int(messages["count"].max()), 1)
    ordered = sorted(messages.itertuples(index=False),
                     key=lambda m: (m.subscription is None, m.subscription or 0, m.technology, -m.count))
    rows = [[_e(subscription_name(m.subscription) or "-"), _e(m.technology.upper()), _e(m.kind), f"{m.count:,}",
             f'<span class="bar" style="width:{max(1, round(160 * m.count / top))}px"></span>']
            for m in ordered]
    return _table(["subscription", "technology", "kind", "messages", ""], rows, numeric={"messages"},
                  name="messages")


def campaign(reports, rows):
    """The campaign summary: every file, the total time, the events per kind and the cells seen (the first
    `rows`, those served longest)."""
    read = [r for r in reports if r.error is None]
    timed = [r for r in read if r.seen.first_ms is not None]
    cells = pd.concat([r.seen.cells.assign(file=r.number) for r in read], ignore_index=True) if read else None
    events = pd.concat([r.seen.events.assign(file=r.number) for r in read], ignore_index=True) if read else None
    by_cell = [] if cells is None or not len(cells) else \
        list(cells.groupby(["technology", "arfcn", "pci"], observed=True, dropna=False))
    span = f" (from {utc(min(r.seen.first_ms for r in timed))} to {utc(max(r.seen.last_ms for r in timed))} UTC)" \
        if timed else ""
    parts = ['<section id="campaign"><h2>Campaign summary</h2>', _facts([
        ("Files", f"{len(reports)} ({len(read)} read, {len(reports) - len(read)} could not be read)"),
        ("Total capture time", _e(duration(sum(r.seen.last_ms - r.seen.first_ms for r in timed))) + span),
        ("Cells seen", f"{len(by_cell):,} (technology, channel and physical cell)"),
        ("Events", f"{0 if events is None else len(events):,}"),
    ])]
    parts.append("<h3>Files</h3>" + _campaign_files(reports))
    if events is not None and len(events):
        parts.append("<h3>Events per kind</h3>" + _campaign_events(events, [r.number for r in read]))
    if by_cell:
        parts.append("<h3>Cells seen</h3>" + _campaign_cells(by_cell, rows))
    parts.append("</section>")
    return "\n".join(parts)


def _campaign_files(reports):
    rows = []
    for r in reports:
        link = f'<a href="#file-{r.number}">{_e(os.path.basename(r.path))}</a>'
        if r.error is not None:
            rows.append([str(r.number), link, "not read (see its section)"] + [""] * 7)
            continue
        seen = r.seen
        times = ["", "", ""] if seen.first_ms is None else \
            [utc(seen.first_ms), utc(seen.last_ms), duration(seen.last_ms - seen.first_ms)]
        failures = int(seen.events["event"].map(overview.is_failure).sum()) if len(seen.events) else 0
        rows.append([str(r.number), link, "read"] + times +
                    [f"{seen.items:,}", f"{seen.rows['cells']:,}", f"{seen.rows['events']:,}", f"{failures:,}"])
    columns = ["#", "file", "status", "from (UTC)", "to (UTC)", "duration", "items", "cell periods", "events",
               "failures"]
    return _table(columns, rows, numeric={"#", "items", "cell periods", "events", "failures"}, name="files")


def _campaign_events(events, numbers):
    """Events per kind and file, failures and rejects first."""
    counts = events.groupby(["event", "file"], observed=True).size().unstack(fill_value=0)
    kinds = sorted(counts.index, key=lambda kind: (not overview.is_failure(kind), kind))
    rows = [[_e(kind)] + [f"{int(counts.loc[kind].get(n, 0)):,}" for n in numbers] +
            [f"{int(counts.loc[kind].sum()):,}"] for kind in kinds]
    columns = ["event"] + [f"file {n}" for n in numbers] + ["total"]
    return _table(columns, rows, numeric=set(columns[1:]), name="campaign-events",
                  row_classes=["failure" if overview.is_failure(kind) else "" for kind in kinds],
                  cell_classes={"event": "event"})


def _campaign_cells(by_cell, rows):
    """The cells seen over all files, those served longest first: identity (from a period that has it),
    files, periods and time served."""
    served = [((group["to_utc"] - group["from_utc"]).sum().total_seconds(), key, group) for key, group in by_cell]
    served.sort(key=lambda entry: -entry[0])
    texts = []
    for seconds, (technology, arfcn, pci), group in served[:rows]:
        known = group.dropna(subset=["cell_id"])
        first = (known if len(known) else group).iloc[0]
        texts.append([_e(str(technology).upper()), _e(table_text(arfcn, "int")), _e(table_text(pci, "int")),
                      _e(table_text(first["cell_id"], "int")), _e(table_text(first["tac"], "int")),
                      _e(table_text(first["mcc"], "int")), _e(table_text(first["mnc"], "text")),
                      f"{len(set(group['file'])):,}", f"{len(group):,}", duration(seconds * 1000)])
    columns = ["technology", "arfcn", "pci", "cell_id", "tac", "mcc", "mnc", "files", "periods", "served"]
    more = f'<p class="more">… and {len(served) - rows:,} more cells</p>' if len(served) > rows else ""
    return _table(columns, texts, numeric=set(columns[1:6]) | {"files", "periods"}, name="campaign-cells") + more
