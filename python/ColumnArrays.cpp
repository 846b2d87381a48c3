#include "python/ColumnArrays.h"

#include <pybind11/numpy.h>

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace py = pybind11;

namespace {

const int64_t kNanosecondsPerMs = 1000000;
// What pandas and numpy read as NaT (not a time).
const int64_t kNotATime = std::numeric_limits<int64_t>::min();

// A numpy array over `rows` values the sink handed over, which it frees when collected: no copy.
template <class T>
py::array_t<T> Wrap(T* values, size_t rows) {
    if (values == nullptr) {
        return py::array_t<T>(0);
    }
    py::capsule owner(values, [](void* data) { FreeColumnArray(data); });
    return py::array_t<T>(static_cast<py::ssize_t>(rows), values, owner);
}

py::tuple Times(const char* name, cColumnData& column) {
    const size_t rows = column.Rows();
    int64_t* values = column.TakeInts();
    uint8_t* missing = column.TakeMissing();
    // pandas 1.5 (Debian 12) keeps times in nanoseconds only: milliseconds would be converted anyway.
    for (size_t row = 0; row < rows; ++row) {
        values[row] = missing[row] != 0 ? kNotATime : values[row] * kNanosecondsPerMs;
    }
    FreeColumnArray(missing);
    return py::make_tuple(name, "time", Wrap(values, rows));
}

py::tuple Ints(const char* name, cColumnData& column) {
    const size_t rows = column.Rows();
    py::array_t<int64_t> values = Wrap(column.TakeInts(), rows);
    static_assert(sizeof(bool) == sizeof(uint8_t), "the flags are numpy booleans as they are");
    py::array_t<bool> missing = Wrap(reinterpret_cast<bool*>(column.TakeMissing()), rows);
    return py::make_tuple(name, "int", values, missing);
}

py::tuple Reals(const char* name, cColumnData& column) {
    return py::make_tuple(name, "real", Wrap(column.TakeReals(), column.Rows()));
}

py::tuple Texts(const char* name, cColumnData& column) {
    const size_t rows = column.Rows();
    std::vector<std::string> dictionary;
    py::array_t<int32_t> codes = Wrap(column.TakeTexts(dictionary), rows);
    py::list categories;
    for (const std::string& text : dictionary) {
        // The library's texts are ASCII names; a byte that is not UTF-8 must not make the read fail.
        PyObject* decoded =
            PyUnicode_DecodeUTF8(text.data(), static_cast<py::ssize_t>(text.size()), "replace");
        if (decoded == nullptr) {
            throw py::error_already_set();
        }
        categories.append(py::reinterpret_steal<py::object>(decoded));
    }
    return py::make_tuple(name, "text", codes, categories);
}

// The one Python object per row: a bytes object of each value.
py::tuple Bytes(const char* name, cColumnData& column) {
    const auto rows = static_cast<py::ssize_t>(column.Rows());
    // numpy.empty of dtype object holds a reference to None in every slot; each is replaced in place.
    py::array values = py::module_::import("numpy").attr("empty")(rows, py::arg("dtype") = "object");
    PyObject** slots = static_cast<PyObject**>(values.mutable_data());
    const unsigned char* data = nullptr;
    size_t size = 0;
    for (py::ssize_t row = 0; column.NextBytes(data, size); ++row) {
        if (data == nullptr || row >= rows) {
            continue;  // missing: None stays
        }
        PyObject* value =
            PyBytes_FromStringAndSize(reinterpret_cast<const char*>(data), static_cast<py::ssize_t>(size));
        if (value == nullptr) {
            while (column.NextBytes(data, size)) {
            }
            throw py::error_already_set();
        }
        Py_XDECREF(slots[row]);
        slots[row] = value;
    }
    return py::make_tuple(name, "bytes", values);
}

}  // namespace

py::list TakeColumns(cColumnSink& sink, eTable table) {
    py::list columns;
    const sTableDef& def = TableDef(table);
    for (size_t i = 0; i < def.mCount; ++i) {
        cColumnData& column = sink.Column(table, i);
        const char* name = def.mColumns[i].mName;
        switch (def.mColumns[i].mType) {
            case COLUMN_TIME:
                columns.append(Times(name, column));
                break;
            case COLUMN_INT:
            case COLUMN_CODE:
                columns.append(Ints(name, column));
                break;
            case COLUMN_REAL:
                columns.append(Reals(name, column));
                break;
            case COLUMN_TEXT:
                columns.append(Texts(name, column));
                break;
            case COLUMN_BYTES:
                columns.append(Bytes(name, column));
                break;
        }
    }
    return columns;
}
