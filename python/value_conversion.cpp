#include "value_conversion.h"

#include <string_view>

namespace py = pybind11;

namespace velmora::python {

namespace {

// Takes over a new reference from the C API; a null one means a Python error is set.
py::object owned(PyObject* object) {
    if (object == nullptr) throw py::error_already_set();
    return py::reinterpret_steal<py::object>(object);
}

py::str text(std::string_view s) {
    return owned(
        PyUnicode_DecodeUTF8(s.data(), static_cast<Py_ssize_t>(s.size()), "surrogateescape"));
}

py::object number(const rdd18::Number& n) {
    switch (n.kind()) {
        case rdd18::NumberKind::Bool:
            return py::bool_(n.boolValue());
        case rdd18::NumberKind::Float:  // float to double is exact, NaN and infinity included
        case rdd18::NumberKind::Double:
            return owned(PyFloat_FromDouble(n.doubleValue()));
        default:
            break;
    }
    if (n.isSigned()) return owned(PyLong_FromLongLong(n.int64Value()));
    return owned(PyLong_FromUnsignedLongLong(n.uint64Value()));
}

}  // namespace

py::dict toPython(const rdd18::Dictionary& dictionary) {
    py::dict out;
    for (const auto& [key, value] : dictionary) out[text(key)] = toPython(value);
    return out;
}

py::object toPython(const rdd18::Value& value) {
    if (value.isNumber()) return number(value.number());
    if (value.isString()) return text(value.string());
    if (value.isData()) {
        const auto& bytes = value.data().bytes;
        return py::bytes(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    }
    if (value.isArray()) {
        const rdd18::Array& array = value.array();
        py::list out(array.size());
        for (std::size_t i = 0; i < array.size(); ++i) out[i] = toPython(array[i]);
        return out;
    }
    return toPython(value.dictionary());
}

py::dict kindsOf(const rdd18::Dictionary& dictionary) {
    py::dict out;
    for (const auto& [key, value] : dictionary) out[text(key)] = kindsOf(value);
    return out;
}

py::object kindsOf(const rdd18::Value& value) {
    if (value.isNumber()) return text(rdd18::numberKindName(value.number().kind()));
    if (value.isArray()) {
        const rdd18::Array& array = value.array();
        py::list out(array.size());
        for (std::size_t i = 0; i < array.size(); ++i) out[i] = kindsOf(array[i]);
        return out;
    }
    if (value.isDictionary()) return kindsOf(value.dictionary());
    return py::none();
}

py::object answerToPython(const rdd18::Dictionary& answer, bool kinds) {
    if (!kinds) return toPython(answer);
    return py::make_tuple(toPython(answer), kindsOf(answer));
}

}  // namespace velmora::python
