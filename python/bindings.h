// The parts of the Python module, each registered by its own function from module.cpp.
#pragma once

#include <pybind11/pybind11.h>

#include "rdd18/output/VLRDD18Parser.h"

namespace velmora::python {

/// parse_rdd18, parse_rtmd_sample, parse_arri, translate_file_header and parse_frames.
void bindParsers(pybind11::module_& m);

/// from_words10, from_vanc, from_rfc8331, from_packets, units_rdd18 and units_arri.
void bindHost(pybind11::module_& m);

/// encode_rdd18, encode_arri and the host writers to_words10, to_vanc, to_rfc8331, to_st436m.
void bindEncode(pybind11::module_& m);

/// read_clip, clip_table, ClipError and clips_supported.
void bindClips(pybind11::module_& m);

/// The process's parser of the flavour named 'standard', 'sony' or 'varicam'; ValueError for
/// any other name.
const VLRDD18Parser& rdd18Parser(const pybind11::str& flavour);

/// The answer of that parser for the bytes of `data`, parsed without the GIL.
rdd18::Dictionary rdd18Answer(const pybind11::buffer& data, const pybind11::str& flavour,
                              bool flags);
/// The ARRI answer for the bytes of `data`, parsed without the GIL.
rdd18::Dictionary arriAnswer(const pybind11::buffer& data, bool flags);

}  // namespace velmora::python
