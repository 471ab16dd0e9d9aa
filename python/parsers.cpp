// parse_rdd18, parse_rtmd_sample, parse_arri, translate_file_header and the batch parse_frames.
// Each borrows the caller's bytes, parses with the GIL released (the parsers keep nothing of a
// parse, so threads run them at once) and builds the Python answer after taking the GIL back.
#include <pybind11/pybind11.h>

#include <algorithm>
#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

#include "bindings.h"
#include "byte_input.h"
#include "fast_call.h"
#include "rdd18/arri/VLArriANCParser.h"
#include "rdd18/output/VLRDD18Parser.h"
#include "value_conversion.h"

namespace py = pybind11;
using namespace pybind11::literals;

namespace velmora::python {

namespace {

// One parser per flavour for the life of the process: building one costs more than a parse.
const VLRDD18Parser& parserOfType(std::int32_t type) {
    static const VLRDD18Parser standard(0), varicam(1), sony(2);
    return type == 1 ? varicam : type == 2 ? sony : standard;
}

// The flavour argument of a per-frame call: a str, or the parser of `fallback` when not given.
const VLRDD18Parser& flavourArgument(PyObject* flavour, std::int32_t fallback) {
    if (!flavour) return parserOfType(fallback);
    if (!PyUnicode_Check(flavour)) throw py::type_error("flavour is a str");
    return rdd18Parser(py::reinterpret_borrow<py::str>(flavour));
}

// The answer of `parse` for the bytes of `data`, parsed without the GIL, as the call returns it.
template <class Parse>
PyObject* parsedAnswer(PyObject* data, bool kinds, const Parse& parse) {
    const ByteInput input(py::reinterpret_borrow<py::buffer>(data));
    rdd18::Dictionary answer;
    {
        py::gil_scoped_release unlocked;
        answer = parse(input.bytes());
    }
    return answerToPython(answer, kinds).release().ptr();
}

PyObject* parseRDD18(PyObject*, PyObject* const* args, Py_ssize_t count, PyObject* keywords) {
    return guarded([&] {
        const FastArguments<4> a("parse_rdd18", {"data", "flavour", "flags", "kinds"}, 3, 1, args,
                                 count, keywords);
        const VLRDD18Parser& parser = flavourArgument(a[1], 0);
        const bool flags = strictBool("flags", a[2], true);
        return parsedAnswer(a[0], strictBool("kinds", a[3], false),
                            [&](auto bytes) { return parser.parseData(bytes, flags); });
    });
}

PyObject* parseRtmdSample(PyObject*, PyObject* const* args, Py_ssize_t count, PyObject* keywords) {
    return guarded([&] {
        const FastArguments<3> a("parse_rtmd_sample", {"data", "flavour", "kinds"}, 2, 1, args,
                                 count, keywords);
        const VLRDD18Parser& parser = flavourArgument(a[1], 2);
        return parsedAnswer(a[0], strictBool("kinds", a[2], false),
                            [&](auto bytes) { return parser.parseRtmdSample(bytes); });
    });
}

PyObject* parseArri(PyObject*, PyObject* const* args, Py_ssize_t count, PyObject* keywords) {
    return guarded([&] {
        const FastArguments<3> a("parse_arri", {"data", "flags", "kinds"}, 2, 1, args, count,
                                 keywords);
        const bool flags = strictBool("flags", a[1], true);
        return parsedAnswer(a[0], strictBool("kinds", a[2], false),
                            [&](auto bytes) { return VLArriANCParser().parseData(bytes, flags); });
    });
}

// The per-frame parses, called through the fast call (see fast_call.h).
PyMethodDef parseDefinitions[] = {
    {"parse_rdd18", reinterpret_cast<PyCFunction>(reinterpret_cast<void (*)()>(&parseRDD18)),
     METH_FASTCALL | METH_KEYWORDS,
     R"(parse_rdd18(data, flavour='standard', flags=True, *, kinds=False)
--

Parses the RDD 18 acquisition metadata of one frame's ancillary packets.

data: the packets in 8-bit bytes, any bytes-like object. flavour: 'standard', 'sony' or 'varicam'
(the item set; ValueError for any other). flags: whether each packet starts with the 3-byte
ancillary data flag. Returns a dict of item name to value; an item of a tag the flavour doesn't
know is bytes under 'Unknown_0x%02x_0x%02x'. A frame that can't be read gives {}: the parse is all
or nothing. With kinds=True returns (values, kinds).)"},
    {"parse_rtmd_sample",
     reinterpret_cast<PyCFunction>(reinterpret_cast<void (*)()>(&parseRtmdSample)),
     METH_FASTCALL | METH_KEYWORDS,
     R"(parse_rtmd_sample(data, flavour='sony', *, kinds=False)
--

Parses one sample of an MP4/MOV rtmd track: a header (its length the big-endian 16-bit
value at 0), RDD 18 packs, zero padding.

The packs answer as the same packs in ANC packets do under parse_rdd18; flavour as there, 'sony'
by default (the cameras that write the track put Sony items among the standard ones). A header
that can't be framed, or a sample of padding only, gives {}. With kinds=True returns
(values, kinds).)"},
    {"parse_arri", reinterpret_cast<PyCFunction>(reinterpret_cast<void (*)()>(&parseArri)),
     METH_FASTCALL | METH_KEYWORDS,
     R"(parse_arri(data, flags=True, *, kinds=False)
--

Parses the ARRI file header metadata of one frame's ancillary packets.

data and flags as for parse_rdd18. Returns the dict of the frame's file header record, or {} when
the frame holds no complete record or its stream is broken. With kinds=True returns
(values, kinds).)"},
};

py::object translateFileHeader(const py::buffer& record, bool kinds) {
    const ByteInput input(record);
    const auto bytes = input.bytes();
    if (bytes.size() != rdd18::arri::ArriFileHeader::kSize) {
        throw py::value_error("a file header record is exactly 4096 bytes, not " +
                              std::to_string(bytes.size()));
    }
    // The record type is its bytes (alignment 1), so it may start anywhere in the buffer.
    const auto* header = reinterpret_cast<const rdd18::arri::ArriFileHeader*>(bytes.data());
    rdd18::Dictionary answer;
    {
        py::gil_scoped_release unlocked;
        answer = VLArriANCParser().translateFileHeaderToDictionary(header);
    }
    return answerToPython(answer, kinds);
}

// The flavour argument of a batch: None for the parser's own default, else a str.
const VLRDD18Parser& batchFlavour(const py::object& flavour, const char* fallback) {
    if (flavour.is_none()) return rdd18Parser(py::str(fallback));
    if (!py::isinstance<py::str>(flavour)) throw py::type_error("flavour is a str or None");
    return rdd18Parser(py::reinterpret_borrow<py::str>(flavour));
}

// Holds the cycle collector off while a batch's answers are built: they hold no cycles, so a
// collection would free nothing, yet the thousands of containers made at once would start several,
// each walking every answer made so far. Puts the collector back as it found it.
class CollectorPause {
  public:
#if PY_VERSION_HEX >= 0x030A0000
    CollectorPause() : wasOn_(PyGC_Disable() == 1) {}
    ~CollectorPause() {
        if (wasOn_) PyGC_Enable();
    }
    CollectorPause(const CollectorPause&) = delete;
    CollectorPause& operator=(const CollectorPause&) = delete;

  private:
    bool wasOn_;
#endif
};

// A batch is parsed in runs of this many frames, each run in one release of the GIL and then
// converted: the C++ answers of a run stay in the cache until their Python ones are made. All of
// a batch's answers made first and converted after cost half as much again per frame from about a
// thousand frames on; a GIL round trip per run costs a fraction of one frame's parse.
constexpr std::size_t kBatchRun = 16;

// Every frame's bytes are borrowed first (a frame without the buffer protocol raises before any
// parse), then the frames are parsed and converted in runs, in order.
py::list parseFrames(const py::iterable& frames, const py::str& parser, const py::object& flavour,
                     bool flags, bool kinds) {
    const std::string name = parser;
    const VLRDD18Parser* rdd18 = nullptr;
    const bool rtmd = name == "rtmd";
    if (name == "rdd18" || rtmd) {
        rdd18 = &batchFlavour(flavour, rtmd ? "sony" : "standard");
    } else if (name != "arri") {
        throw py::value_error("unknown parser '" + name + "': use 'rdd18', 'rtmd' or 'arri'");
    } else if (!flavour.is_none()) {
        throw py::value_error("the arri parser takes no flavour");
    }
    std::deque<ByteInput> inputs;  // a deque: an input stays where it was made
    for (const py::handle frame : frames)
        inputs.emplace_back(py::reinterpret_borrow<py::buffer>(frame));
    py::list out(inputs.size());
    const CollectorPause pause;
    std::vector<rdd18::Dictionary> answers;
    const VLArriANCParser arri;
    for (std::size_t first = 0; first < inputs.size(); first += kBatchRun) {
        const std::size_t end = std::min(inputs.size(), first + kBatchRun);
        {
            py::gil_scoped_release unlocked;
            for (std::size_t i = first; i < end; ++i) {
                const auto bytes = inputs[i].bytes();
                answers.push_back(rtmd    ? rdd18->parseRtmdSample(bytes)
                                  : rdd18 ? rdd18->parseData(bytes, flags)
                                          : arri.parseData(bytes, flags));
            }
        }
        for (std::size_t i = first; i < end; ++i)
            out[i] = answerToPython(answers[i - first], kinds);
        answers.clear();
    }
    return out;
}

}  // namespace

const VLRDD18Parser& rdd18Parser(const py::str& flavour) {
    const std::string name = flavour;
    // A flavour's value is the VLRDD18Parser constructor's code.
    if (const auto f = rdd18::flavourFromName(name))
        return parserOfType(static_cast<std::int32_t>(*f));
    throw py::value_error("unknown flavour '" + name + "': use 'standard', 'sony' or 'varicam'");
}

rdd18::Dictionary rdd18Answer(const py::buffer& data, const py::str& flavour, bool flags) {
    const VLRDD18Parser& parser = rdd18Parser(flavour);
    const ByteInput input(data);
    py::gil_scoped_release unlocked;
    return parser.parseData(input.bytes(), flags);
}

rdd18::Dictionary arriAnswer(const py::buffer& data, bool flags) {
    const ByteInput input(data);
    py::gil_scoped_release unlocked;
    return VLArriANCParser().parseData(input.bytes(), flags);
}

void bindParsers(py::module_& m) {
    parserOfType(0);  // the three parsers are built at import, not in the first parse
    for (PyMethodDef& definition : parseDefinitions) addFastFunction(m, definition);
    m.def("parse_frames", &parseFrames, "frames"_a, "parser"_a = "rdd18", "flavour"_a = py::none(),
          py::arg("flags").noconvert() = true, py::kw_only(), py::arg("kinds").noconvert() = false,
          R"(Parses many frames in one call: a list of their answers, in order.

frames: an iterable of bytes-like objects, each one frame (TypeError, before any parse, for an
element that isn't bytes-like). parser: 'rdd18' (each answer that of parse_rdd18), 'rtmd' (of
parse_rtmd_sample; flags doesn't apply) or 'arri' (of parse_arri); ValueError for any other.
flavour: as for those, None for their default ('standard', for rtmd 'sony'); the arri parser takes
none (ValueError). flags as for parse_rdd18. The frames are parsed with the GIL released, in runs
of 16 (one release a run), so a batch costs less than a call per frame. With kinds=True each answer
is (values, kinds).)");
    m.def("translate_file_header", &translateFileHeader, "record"_a, py::kw_only(),
          py::arg("kinds").noconvert() = false,
          R"(Translates one ARRI file header record, exactly 4096 bytes (ValueError otherwise).

Every bit pattern is accepted. Returns the dict parse_arri gives for a frame carrying this record;
with kinds=True returns (values, kinds).)");
}

}  // namespace velmora::python
