// Module functions called through the interpreter's fast call, for the calls made once a frame: a
// pybind11 function costs about 0.25 us to dispatch and, to pickle by name, a Python wrapper
// (another 0.25 us); such a function takes its arguments straight from the call and belongs to
// the module itself, so it pickles by name as it is.
#pragma once

#include <pybind11/pybind11.h>

#include <array>
#include <cstddef>
#include <exception>
#include <new>
#include <string>

namespace velmora::python {

/// The arguments of one fast call, each by its place in `names`: the first `positional` may come
/// by position or by name, the others by name only. Throws TypeError for more positional
/// arguments than that, a name not in `names`, an argument given twice, or a missing one of the
/// first `required`. An argument not given is null. Borrowed: valid for the call.
template <std::size_t N>
class FastArguments {
  public:
    FastArguments(const char* function, const std::array<const char*, N>& names,
                  std::size_t positional, std::size_t required, PyObject* const* args,
                  Py_ssize_t count, PyObject* keywords);

    PyObject* operator[](std::size_t i) const noexcept { return given_[i]; }

  private:
    std::array<PyObject*, N> given_{};
};

/// A boolean argument that must be True or False (TypeError for anything else, 1 included);
/// `fallback` when it isn't given.
bool strictBool(const char* name, PyObject* argument, bool fallback);

/// Registers the function of `definition` (METH_FASTCALL | METH_KEYWORDS; its doc starts with
/// its text signature, "name(...)\n--\n\n") on `m`, as a function of the module. The
/// definition must outlive the module.
void addFastFunction(pybind11::module_& m, PyMethodDef& definition);

/// Runs `body`, which returns a new reference, turning a C++ exception into the Python error
/// pybind11 would make of it and a null result.
template <class Body>
PyObject* guarded(Body&& body) noexcept {
    try {
        return body();
    } catch (pybind11::error_already_set& e) {
        e.restore();
    } catch (pybind11::builtin_exception& e) {
        e.set_error();
    } catch (const std::bad_alloc&) {
        PyErr_NoMemory();
    } catch (const std::exception& e) {
        PyErr_SetString(PyExc_RuntimeError, e.what());
    }
    return nullptr;
}

template <std::size_t N>
FastArguments<N>::FastArguments(const char* function, const std::array<const char*, N>& names,
                                std::size_t positional, std::size_t required, PyObject* const* args,
                                Py_ssize_t count, PyObject* keywords) {
    const auto fail = [function](const std::string& why) {
        throw pybind11::type_error(std::string(function) + "(): " + why);
    };
    if (count < 0 || static_cast<std::size_t>(count) > positional)
        fail("takes at most " + std::to_string(positional) + " positional arguments");
    for (Py_ssize_t i = 0; i < count; ++i) given_[static_cast<std::size_t>(i)] = args[i];
    const Py_ssize_t named = keywords ? PyTuple_GET_SIZE(keywords) : 0;
    for (Py_ssize_t k = 0; k < named; ++k) {
        PyObject* key = PyTuple_GET_ITEM(keywords, k);
        std::size_t at = 0;
        while (at < N && PyUnicode_CompareWithASCIIString(key, names[at]) != 0) ++at;
        if (at == N) fail("no argument named '" + pybind11::str(key).cast<std::string>() + "'");
        if (given_[at]) fail("argument '" + std::string(names[at]) + "' given twice");
        given_[at] = args[count + k];
    }
    for (std::size_t i = 0; i < required; ++i) {
        if (!given_[i]) fail("missing argument '" + std::string(names[i]) + "'");
    }
}

}  // namespace velmora::python
