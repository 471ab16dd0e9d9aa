// The parts of the Python module, each registered by its own function from module.cpp.
#pragma once

#include <pybind11/pybind11.h>

namespace velmora::python {

/// parse_rdd18, parse_arri and translate_file_header.
void bindParsers(pybind11::module_& m);

}  // namespace velmora::python
