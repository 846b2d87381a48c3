// The one way the binding reports a failure: palvorin.Error (python/palvorin/errors.py), carrying the
// library's status as a short name, the file it concerns and the library's message.
#pragma once

#include <pybind11/pybind11.h>

#include <string>

// Raises palvorin.Error(status, path, message) by throwing the pending Python error; never returns.
[[noreturn]] void RaiseError(const char* status, const std::string& path, const std::string& message);
