// Answers of the library as Python objects.
#pragma once

#include <pybind11/pybind11.h>

#include "rdd18/platform/value.h"

namespace velmora::python {

/// The value as Python's own types: bool for a Bool number, int for every integer kind (exact,
/// 64-bit unsigned included), float for Float and Double (a Float widened exactly, NaN and
/// infinity kept), str for a string, bytes for data, list for an array, dict for a dictionary
/// (keys in the dictionary's ascending order). Text that isn't valid UTF-8 never raises: such
/// bytes become lone surrogates ("surrogateescape"). Needs the GIL.
pybind11::object toPython(const rdd18::Value& value);
pybind11::dict toPython(const rdd18::Dictionary& dictionary);

/// The kinds of a value, in its shape: a number gives its kind name (rdd18::numberKindName), a
/// string or data gives None, an array a list and a dictionary a dict of the kinds of its
/// elements. Needs the GIL.
pybind11::object kindsOf(const rdd18::Value& value);
pybind11::dict kindsOf(const rdd18::Dictionary& dictionary);

/// What a parse function returns: the dict of `answer`, or with `kinds` the tuple
/// (dict, kinds of the dict).
pybind11::object answerToPython(const rdd18::Dictionary& answer, bool kinds);

}  // namespace velmora::python
