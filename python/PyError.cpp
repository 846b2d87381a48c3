#include "python/PyError.h"

namespace py = pybind11;

void RaiseError(const char* status, const std::string& path, const std::string& message) {
    py::object error = py::module_::import("palvorin.errors").attr("Error");
    py::object instance = error(status, path, message);
    PyErr_SetObject(error.ptr(), instance.ptr());
    throw py::error_already_set();
}
