// The bytes of a Python bytes-like argument, for the length of one call.
#pragma once

#include <pybind11/pybind11.h>

#include <span>
#include <vector>

namespace velmora::python {

/// Borrows the bytes of any object with the buffer protocol (bytes, bytearray, memoryview,
/// array, ...). A C-contiguous buffer is read in place, without a copy; any other buffer (a
/// strided memoryview) is copied once into C order. The buffer stays exported, so a bytearray
/// can't be resized, until the input is destroyed; destroy it with the GIL held. Throws
/// pybind11::error_already_set when the object refuses to export its buffer.
class ByteInput {
  public:
    explicit ByteInput(const pybind11::buffer& source);
    ~ByteInput();
    ByteInput(const ByteInput&) = delete;
    ByteInput& operator=(const ByteInput&) = delete;

    /// The bytes, valid as long as this input lives; reading them needs no GIL.
    std::span<const unsigned char> bytes() const noexcept { return bytes_; }

  private:
    Py_buffer view_{};
    bool exported_ = false;
    std::vector<unsigned char> copy_;
    std::span<const unsigned char> bytes_;
};

}  // namespace velmora::python
