// The Python module velmora_rdd18: the library's parsers for Python, answers as Python's own types.
#include <pybind11/eval.h>
#include <pybind11/pybind11.h>

#include "bindings.h"

namespace py = pybind11;

PYBIND11_MODULE(velmora_rdd18, m) {
    m.doc() =
        "Per-frame ancillary metadata of digital cinema cameras (RDD 18 standard, Sony and "
        "Varicam items; ARRI file header metadata) as plain dictionaries.\n\n"
        "Every parse takes a bytes-like object (bytes, bytearray, memoryview, ...), never raises "
        "on bad bytes (a frame that can't be read gives an empty dict) and releases the GIL "
        "while it runs. With kinds=True a parse returns (values, kinds): kinds has the shape of "
        "values, with the kind name of each number ('integer', 'unsigned int', 'float', ...) in "
        "its place and None in the place of each string or bytes value. parse_frames parses many "
        "frames in one call, a list of answers out.";
    m.attr("__version__") = VELMORA_VERSION;
    velmora::python::bindParsers(m);
    velmora::python::bindHost(m);
    velmora::python::bindEncode(m);
#ifdef VELMORA_CLIP_READER
    velmora::python::bindClips(m);
#else
    m.attr("clips_supported") = false;
#endif
    // Further parts of the API register here, each from its own file declared in bindings.h.

    // A function pickles by name when it is found under that name in its module. A pybind11
    // function names its record, not the module, as its owner, so pickle (and the cluster engines
    // that send a function to their workers) refuses it; each public function is therefore a
    // plain Python function of this module that calls the binding. The functions of the fast call
    // (fast_call.h) are the module's own and pickle as they are.
    py::dict scope;
    py::exec(R"(
def wrap(module):
    def wrapped(binding):
        def call(*args, **kwargs):
            return binding(*args, **kwargs)
        call.__name__ = call.__qualname__ = binding.__name__
        call.__module__, call.__doc__ = module.__name__, binding.__doc__
        return call
    for name, f in list(vars(module).items()):
        if (not name.startswith("_") and type(f).__name__ == "builtin_function_or_method"
                and f.__self__ is not module):
            setattr(module, name, wrapped(f))
)",
             scope);
    scope["wrap"](m);
}
