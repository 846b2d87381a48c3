// palvorin._native.overview: what a report pictures of a capture (overview/CaptureOverview.h), read in one
// pass in bounded memory and handed over as numpy arrays and small Python values.

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <string>

#include "jni/ISFToolVersion.h"
#include "overview/CaptureOverview.h"
#include "python/ColumnArrays.h"
#include "python/PyError.h"
#include "python/SummaryDict.h"

namespace py = pybind11;

namespace {

// `count` values copied into a new numpy array.
template <class T>
py::array_t<T> Copy(const T* values, size_t count) {
    return py::array_t<T>(static_cast<py::ssize_t>(count), values);
}

py::list SeriesList(const cCaptureOverview& overview) {
    const cSeriesDecimator& decimator = overview.Decimator();
    const sTableDef& measurements = TableDef(TABLE_MEASUREMENTS);
    const size_t buckets = decimator.BucketCount();
    py::list list;
    for (const sOverviewSeries& series : overview.Series()) {
        py::dict entry;
        entry["subscription"] = series.mSubscription;
        entry["technology"] = series.mTechnology;
        entry["serving"] = series.mServing;
        entry["all_serving"] = series.mAllServing;
        entry["channel"] = series.mChannel;
        entry["cell"] = series.mCell;
        entry["quantity"] = measurements.mColumns[series.mColumn].mName;
        entry["minimum"] = Copy(decimator.Minimum(series.mIndex), buckets);
        entry["maximum"] = Copy(decimator.Maximum(series.mIndex), buckets);
        entry["sum"] = Copy(decimator.Sum(series.mIndex), buckets);
        entry["count"] = Copy(decimator.Count(series.mIndex), buckets);
        list.append(entry);
    }
    return list;
}

py::dict Overview(const std::string& isf, size_t buckets, size_t servingSeries, size_t neighbourSeries,
                  size_t allServingSeries, uint64_t tableRows) {
    sOverviewLimits limits;
    limits.mBuckets = buckets;
    limits.mServingSeries = servingSeries;
    limits.mNeighbourSeries = neighbourSeries;
    limits.mAllServingSeries = allServingSeries;
    limits.mTableRows = tableRows;
    cCaptureOverview overview(limits);
    sTableSummary summary;
    std::string error;
    uint64_t problems = 0;
    bool read = false;
    {
        py::gil_scoped_release unlocked;
        read = ReadCaptureOverview(isf, overview, summary, error, &problems);
    }
    if (overview.TableRows().OutOfMemory()) {
        RaiseError("no_memory", isf, isf + ": out of memory while reading");
    }
    if (!read) {
        RaiseError("unreadable", isf, error);
    }

    py::dict out;
    out["items"] = overview.Items();
    py::dict bySubscription;
    for (const auto& entry : overview.ItemsBySubscription()) {
        bySubscription[py::int_(entry.first)] = entry.second;
    }
    out["items_by_subscription"] = bySubscription;
    int64_t first = 0;
    int64_t last = 0;
    out["span_ms"] =
        overview.Span(first, last) ? py::object(py::make_tuple(first, last)) : py::object(py::none());

    py::list messages;
    for (const sMessageCount& count : overview.Messages()) {
        messages.append(py::make_tuple(count.mSubscription, count.mTechnology, count.mKind, count.mCount));
    }
    out["messages"] = messages;
    out["messages_not_counted"] = overview.MessagesNotCounted();

    const cSeriesDecimator& decimator = overview.Decimator();
    out["grid"] = py::make_tuple(decimator.Origin(), decimator.Width(), decimator.BucketCount());
    out["series"] = SeriesList(overview);
    out["values_not_kept"] = overview.ValuesNotKept();

    py::dict notKept;
    for (eTable table : {TABLE_CELLS, TABLE_EVENTS}) {
        out[TableDef(table).mName] = TakeColumns(overview.TableRows(), table);
        notKept[TableDef(table).mName] = overview.RowsNotKept(table);
    }
    out["rows_not_kept"] = notKept;

    // rows, measurement (logs by outcome), problems, ...: as File.summary() gives them.
    out.attr("update")(SummaryDict(summary, problems));
    return out;
}

std::string LibraryVersion() {
    return TOOL_VERSION_TEXT;
}

}  // namespace

void BindOverview(py::module_& module) {
    module.def("library_version", &LibraryVersion,
               "The library's version, as it writes it into the tool-version record of every ISF file.");
    const sOverviewLimits defaults;
    module.def("overview", &Overview, py::arg("isf"), py::arg("buckets") = defaults.mBuckets,
               py::arg("serving_series") = defaults.mServingSeries,
               py::arg("neighbour_series") = defaults.mNeighbourSeries,
               py::arg("all_serving_series") = defaults.mAllServingSeries,
               py::arg("table_rows") = defaults.mTableRows,
               "Reads the ISF file `isf` once for a report, in memory bounded by the limits: items (count, "
               "per subscription, time span in ms since 1970 UTC without the tool-version record), message "
               "counts per (subscription, technology, kind), every measured quantity as a series per "
               "subscription, technology, serving or neighbour, channel and cell (and of all serving cells "
               "together: all_serving) decimated on one grid "
               "(origin_ms, width_ms, buckets) of min, max, sum and count per bucket, and the columns of the "
               "cells and events tables (up to `table_rows` each). Raises palvorin.Error.");
}
