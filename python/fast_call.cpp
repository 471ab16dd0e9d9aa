#include "fast_call.h"

namespace py = pybind11;

namespace velmora::python {

bool strictBool(const char* name, PyObject* argument, bool fallback) {
    if (!argument) return fallback;
    if (argument == Py_True) return true;
    if (argument == Py_False) return false;
    throw py::type_error(std::string(name) + " is True or False");
}

void addFastFunction(py::module_& m, PyMethodDef& definition) {
    // Owned by the module (its self), the function pickles as the module's attribute.
    const py::object function = py::reinterpret_steal<py::object>(
        PyCFunction_NewEx(&definition, m.ptr(), m.attr("__name__").ptr()));
    if (!function) throw py::error_already_set();
    m.add_object(definition.ml_name, function);
}

}  // namespace velmora::python
