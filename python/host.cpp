// The host converters and the units view for Python. A converter takes ancillary data in the form
// a host holds it and returns the 8-bit packet buffer (with flags) that parse_rdd18 and
// parse_arri read; with drops=True it also returns what it dropped. The units functions parse and
// read the answer's published values into numbers with units.
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <cstdint>
#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "bindings.h"
#include "byte_input.h"
#include "rdd18/host/packet.h"
#include "rdd18/host/rfc8331.h"
#include "rdd18/host/vanc.h"
#include "rdd18/host/words10.h"
#include "rdd18/interpret/camera_model.h"
#include "rdd18/interpret/interpret.h"
#include "rdd18/interpret/opentrackio.h"
#include "rdd18/transport/fault.h"
#include "value_conversion.h"

namespace py = pybind11;
using namespace pybind11::literals;

namespace velmora::python {

namespace {

namespace host = rdd18::host;
namespace interpret = rdd18::interpret;

/// The packet buffer of `packets`, and with `withDrops` the list of what was dropped on the way.
py::object bufferOf(const std::vector<host::Packet>& packets, rdd18::FaultList& list,
                    bool withDrops) {
    const std::vector<unsigned char> buffer = host::ancillaryBufferFromPackets(packets, &list);
    py::bytes bytes(reinterpret_cast<const char*>(buffer.data()), buffer.size());
    if (!withDrops) return bytes;
    py::list drops;
    for (const rdd18::Fault& f : list.faults()) {
        drops.append(py::dict(
            "code"_a = std::string(rdd18::codeName(f.code)), "reason"_a = rdd18::describe(f),
            "unit"_a = std::string(rdd18::unitName(f.unit)), "offset"_a = f.offset,
            "line"_a = f.line, "did"_a = f.did, "sdid"_a = f.sdid, "kept"_a = f.kept));
    }
    return py::make_tuple(std::move(bytes), std::move(drops));
}

/// Runs `convert` (over bytes the caller lent) without the GIL, then builds the answer.
template <class Convert>
py::object converted(Convert convert, bool withDrops) {
    rdd18::FaultList list;
    std::vector<host::Packet> packets;
    {
        py::gil_scoped_release unlocked;
        packets = convert(&list);
    }
    return bufferOf(packets, list, withDrops);
}

py::object fromWords10(const py::buffer& words, bool flagged, bool keepDamaged, bool withDrops) {
    const py::buffer_info info = words.request();
    if (info.itemsize != 2 || info.ndim != 1 || info.strides[0] != 2)
        throw py::value_error("words are a contiguous buffer of 16-bit values (array('H'), ...)");
    const std::span<const std::uint16_t> view(static_cast<const std::uint16_t*>(info.ptr),
                                              static_cast<std::size_t>(info.shape[0]));
    return converted(
        [&](rdd18::FaultList* list) {
            return host::packetsFromWords10(
                view, flagged ? host::WordLayout::Flagged : host::WordLayout::Bare, {keepDamaged},
                list);
        },
        withDrops);
}

py::object fromVanc(const py::buffer& lines, const std::string& format, std::uint32_t width,
                    std::size_t stride, bool keepDamaged, bool withDrops) {
    if (format != "v210" && format != "uyvy")
        throw py::value_error("unknown format '" + format + "': use 'v210' or 'uyvy'");
    const host::VancLayout layout{
        format == "v210" ? host::VancFormat::V210 : host::VancFormat::Uyvy, width,
        host::VancPlacement::Auto, stride, 0};
    const ByteInput input(lines);
    return converted(
        [&](rdd18::FaultList* list) {
            return host::packetsFromVancLines(input.bytes(), layout, {keepDamaged}, list);
        },
        withDrops);
}

py::object fromRfc8331(const py::buffer& payload, bool keepDamaged, bool withDrops) {
    const ByteInput input(payload);
    return converted(
        [&](rdd18::FaultList* list) {
            return host::packetsFromRfc8331(input.bytes(), {keepDamaged}, list);
        },
        withDrops);
}

py::bytes fromPackets(const std::vector<std::tuple<int, int, py::bytes>>& list) {
    std::vector<host::Packet> packets;
    for (const auto& [did, sdid, payload] : list) {
        if (did < 0 || did > 255 || sdid < 0 || sdid > 255)
            throw py::value_error("DID and SDID are 8-bit values");
        const std::string udw = payload;
        packets.push_back({static_cast<std::uint8_t>(did), static_cast<std::uint8_t>(sdid), 0, 0,
                           std::vector<unsigned char>(udw.begin(), udw.end())});
    }
    const std::vector<unsigned char> buffer = host::ancillaryBufferFromPackets(packets);
    return {reinterpret_cast<const char*>(buffer.data()), buffer.size()};
}

py::dict unitsRDD18(const py::buffer& data, const py::str& flavour, bool flags) {
    return toPython(
        interpret::toDictionary(interpret::fromRDD18(rdd18Answer(data, flavour, flags))));
}

py::dict unitsArri(const py::buffer& data, bool flags) {
    return toPython(interpret::toDictionary(interpret::fromArri(arriAnswer(data, flags))));
}

// The OpenTrackIO sample of a frame: its model over both answers (RDD 18 values first), in the
// context the arguments give.
py::dict openTrackIOSample(const py::buffer& data, const py::str& flavour, bool flags,
                           const std::string& source, std::uint64_t index,
                           std::uint32_t sourceNumber,
                           std::optional<std::pair<std::uint32_t, std::uint32_t>> rate,
                           std::optional<std::string> timecode, bool withStatic) {
    namespace otio = interpret::opentrackio;
    const interpret::CameraModel model =
        interpret::merged(interpret::fromRDD18(rdd18Answer(data, flavour, flags)),
                          interpret::fromArri(arriAnswer(data, flags)));
    otio::SampleContext context{otio::sourceIdFor(source), sourceNumber, index, {},
                                std::move(timecode),       withStatic};
    if (rate) {
        if (rate->first == 0 || rate->second == 0) throw py::value_error("rate: num/den above 0");
        context.rate = otio::Rational{rate->first, rate->second};
    }
    return toPython(otio::sampleDictionary(otio::makeSample(model, context)));
}

}  // namespace

void bindHost(py::module_& m) {
    const char* drops =
        "\n\nWith drops=True returns (buffer, drops): one dict per dropped (or, with "
        "keep_damaged, kept) packet with 'code' (the fault's name, e.g. 'BadParity'), 'reason' "
        "(a line of text), 'offset' (in words, samples of the line or bytes, as the form counts), "
        "'line', 'did', 'sdid' and 'kept'.";
    m.def("from_words10", &fromWords10, "words"_a, py::kw_only(), "flagged"_a = true,
          "keep_damaged"_a = false, "drops"_a = false,
          (std::string(R"(The packet buffer of 10-bit ancillary words.

words: a contiguous buffer of 16-bit values (array('H'), a uint16 array), b0-b7 the value, b8 its
even parity, b9 not b8. flagged: packets stand behind 000 3FF 3FF or 3FC (else back to back).
A packet with a bad parity or checksum is dropped unless keep_damaged. Returns the 8-bit buffer,
with flags, that parse_rdd18 and parse_arri read.)") +
           drops)
              .c_str());
    m.def("from_vanc", &fromVanc, "lines"_a, "format"_a = "v210", "width"_a = 1920, py::kw_only(),
          "stride"_a = 0, "keep_damaged"_a = false, "drops"_a = false,
          (std::string(R"(The packet buffer of whole VANC lines in v210 or UYVY.

lines: one or more lines, each stride bytes (0: the format's usual stride). HD lines (from 1280
pixels) carry packets in luma, then chroma; SD lines in one multiplexed run. A short last line,
damaged packets (unless keep_damaged) and packets running past their line are dropped. ValueError
for a format other than 'v210' or 'uyvy'.)") +
           drops)
              .c_str());
    m.def("from_rfc8331", &fromRfc8331, "payload"_a, py::kw_only(), "keep_damaged"_a = false,
          "drops"_a = false,
          (std::string(R"(The packet buffer of one ST 2110-40 (RFC 8331) RTP payload, without
its RTP header.)") +
           drops)
              .c_str());
    m.def("from_packets", &fromPackets, "packets"_a,
          R"(The packet buffer of a list of (did, sdid, user_data_words) packets, as capture SDKs
hand them over. Packets of more than 255 words are left out; ValueError for a DID or SDID beyond
8 bits.)");
    m.def("units_rdd18", &unitsRDD18, "data"_a, "flavour"_a = "standard",
          py::arg("flags").noconvert() = true,
          R"(The camera and lens values of an RDD 18 frame in units: a dict of the fields that
hold a value (irisFNumber, focalLengthMm, shutterAngleDeg, ...), numbers as floats. Arguments as
for parse_rdd18.)");
    m.def("units_arri", &unitsArri, "data"_a, py::arg("flags").noconvert() = true,
          R"(The same for an ARRI frame (focal length, focus distance, T-stop, frame rates,
shutter angle, ISO, white balance, ND density, clip name, timecode).)");
    m.def("opentrackio_sample", &openTrackIOSample, "data"_a, "flavour"_a = "standard",
          py::arg("flags").noconvert() = true, py::kw_only(), "source"_a = "-", "index"_a = 0,
          "source_number"_a = 1, "rate"_a = py::none(), "timecode"_a = py::none(),
          py::arg("static").noconvert() = true,
          R"(The OpenTrackIO 1.0.1 sample of a frame, as the dict of its JSON document (the fields
velmora-dump -f opentrackio writes): the frame's values over both parsers, RDD 18 first. source
names the input (its sourceId is a name-based UUID of it), index is the sample's place (its
sequenceNumber and sampleId), rate a (num, den) frame rate of the container and timecode its
"HH:MM:SS:FF"; static=True adds the static block. Values the frame lacks are left out.)");
}

}  // namespace velmora::python
