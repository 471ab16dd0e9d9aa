// The Python module velmora_rdd18: the library's parsers for Python, answers as Python's own types.
#include <pybind11/pybind11.h>

#include "bindings.h"

PYBIND11_MODULE(velmora_rdd18, m) {
    m.doc() =
        "Per-frame ancillary metadata of digital cinema cameras (RDD 18 standard, Sony and "
        "Varicam items; ARRI file header metadata) as plain dictionaries.\n\n"
        "Every parse takes a bytes-like object (bytes, bytearray, memoryview, ...), never raises "
        "on bad bytes (a frame that can't be read gives an empty dict) and releases the GIL "
        "while it runs. With kinds=True a parse returns (values, kinds): kinds has the shape of "
        "values, with the kind name of each number ('integer', 'unsigned int', 'float', ...) in "
        "its place and None in the place of each string or bytes value.";
    m.attr("__version__") = VELMORA_VERSION;
    velmora::python::bindParsers(m);
    velmora::python::bindHost(m);
    velmora::python::bindEncode(m);
    // Further parts of the API register here, each from its own file declared in bindings.h.
}
