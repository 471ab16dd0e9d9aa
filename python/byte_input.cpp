#include "byte_input.h"

namespace py = pybind11;

namespace velmora::python {

ByteInput::ByteInput(const py::buffer& source) {
    // A contiguous buffer comes as it is; PyBUF_SIMPLE asks for nothing else.
    if (PyObject_GetBuffer(source.ptr(), &view_, PyBUF_SIMPLE) == 0) {
        exported_ = true;
        bytes_ = {static_cast<const unsigned char*>(view_.buf),
                  static_cast<std::size_t>(view_.len)};
        return;
    }
    PyErr_Clear();
    Py_buffer strided{};
    if (PyObject_GetBuffer(source.ptr(), &strided, PyBUF_FULL_RO) != 0) {
        throw py::error_already_set();
    }
    copy_.resize(static_cast<std::size_t>(strided.len));
    const int copied = PyBuffer_ToContiguous(copy_.data(), &strided, strided.len, 'C');
    PyBuffer_Release(&strided);
    if (copied != 0) throw py::error_already_set();
    bytes_ = copy_;
}

ByteInput::~ByteInput() {
    if (exported_) PyBuffer_Release(&view_);
}

}  // namespace velmora::python
