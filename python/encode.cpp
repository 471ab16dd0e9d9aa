// encode_rdd18 and encode_arri: Python answers back into packets, and the host writers
// (to_words10, to_vanc, to_rfc8331, to_st436m) that turn packets into the forms hosts hold.
// Python's own types become the value model's: int an integer (an unsigned long beyond the signed
// 64-bit range), float a double, bool a bool, str text, bytes-like data, list and tuple an array,
// dict a dictionary. The writers take each number in any kind whose value the field holds exactly,
// so a parse's dict, changed or not, writes back as it is.
#include <pybind11/pybind11.h>

#include <cstdint>
#include <string>

#include "bindings.h"
#include "rdd18/arri/arri_encoder.h"
#include "rdd18/host/packet.h"
#include "rdd18/host/rfc8331.h"
#include "rdd18/host/st436m.h"
#include "rdd18/host/vanc.h"
#include "rdd18/host/words10.h"
#include "rdd18/output/rdd18_encoder.h"
#include "rdd18/transport/encode_error.h"

namespace py = pybind11;
using namespace pybind11::literals;

namespace velmora::python {

namespace {

rdd18::Value fromPython(const py::handle& o, const std::string& key);

rdd18::Dictionary dictionaryFromPython(const py::handle& o, const std::string& key) {
    if (!py::isinstance<py::dict>(o))
        throw py::type_error((key.empty() ? "the answer" : key) + " needs to be a dict");
    rdd18::Dictionary d;
    for (const auto& [k, v] : py::reinterpret_borrow<py::dict>(o)) {
        if (!py::isinstance<py::str>(k)) throw py::type_error("a key of " + key + " is no str");
        const std::string name = py::cast<std::string>(k);
        d.set(name, fromPython(v, key.empty() ? name : key + "." + name));
    }
    return d;
}

rdd18::Value fromPython(const py::handle& o, const std::string& key) {
    if (py::isinstance<py::bool_>(o)) return rdd18::Number::boolean(py::cast<bool>(o));
    if (py::isinstance<py::int_>(o)) {
        if (o.cast<py::int_>() < py::int_(0))
            return rdd18::Number::integer(py::cast<std::int64_t>(o));
        const auto u = py::cast<std::uint64_t>(o);
        if (u > static_cast<std::uint64_t>(INT64_MAX)) return rdd18::Number::unsignedLong(u);
        return rdd18::Number::integer(static_cast<std::int64_t>(u));
    }
    if (py::isinstance<py::float_>(o)) return rdd18::Number::doubleNumber(py::cast<double>(o));
    if (py::isinstance<py::str>(o)) return py::cast<std::string>(o);
    if (py::isinstance<py::bytes>(o) || py::isinstance<py::bytearray>(o) ||
        py::isinstance<py::memoryview>(o)) {
        const std::string bytes =
            py::cast<std::string>(py::bytes(py::reinterpret_borrow<py::object>(o)));
        return rdd18::Data(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
    }
    if (py::isinstance<py::list>(o) || py::isinstance<py::tuple>(o)) {
        rdd18::Array a;
        std::size_t i = 0;
        for (const auto& e : o) a.push_back(fromPython(e, key + "[" + std::to_string(i++) + "]"));
        return a;
    }
    if (py::isinstance<py::dict>(o)) return dictionaryFromPython(o, key);
    throw py::type_error(key + ": a " + std::string(py::str(o.get_type().attr("__name__"))) +
                         " is no value of an answer");
}

/// Runs a writer without the GIL; its refusal becomes a ValueError with the key in the text.
template <class Write>
py::bytes written(Write write) {
    std::vector<unsigned char> bytes;
    try {
        py::gil_scoped_release unlocked;
        bytes = write();
    } catch (const rdd18::EncodeError& e) {
        throw py::value_error(e.what());
    }
    return py::bytes(reinterpret_cast<const char*>(bytes.data()), bytes.size());
}

py::bytes encodeRDD18(const py::dict& answer, const py::str& flavour, bool flags, bool round) {
    const rdd18::Flavour f = rdd18Parser(flavour).flavour();
    const rdd18::Dictionary d = dictionaryFromPython(answer, "");
    return written(
        [&] { return rdd18::encodeRDD18(d, f, {.flags = flags, .roundDecimalFloats = round}); });
}

py::bytes encodeArri(const py::dict& answer, bool flags) {
    const rdd18::Dictionary d = dictionaryFromPython(answer, "");
    return written([&] { return rdd18::arri::encodeArri(d, {.flags = flags}); });
}

/// The packets of a flagged packet buffer, for the host writers.
std::vector<rdd18::host::Packet> packetsOf(const py::bytes& buffer) {
    const std::string bytes = buffer;
    return rdd18::host::packetsFromAncillaryBuffer(
        {reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()}, true);
}

py::bytes asBytes(const std::vector<unsigned char>& bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

/// Runs a host writer; a packet its form leaves out is a ValueError rather than a quiet loss.
template <class Write>
py::bytes hostWritten(Write write) {
    rdd18::FaultList faults;
    const std::vector<unsigned char> bytes = write(&faults);
    if (!faults.empty()) throw py::value_error(rdd18::describe(faults.faults().front()));
    return asBytes(bytes);
}

py::bytes toWords10(const py::bytes& buffer) {
    const auto packets = packetsOf(buffer);
    return hostWritten([&](rdd18::FaultSink* faults) {
        std::vector<unsigned char> bytes;
        for (const std::uint16_t w : rdd18::host::words10FromPackets(packets, faults)) {
            bytes.push_back(static_cast<unsigned char>(w));
            bytes.push_back(static_cast<unsigned char>(w >> 8));
        }
        return bytes;
    });
}

py::bytes toVanc(const py::bytes& buffer, const std::string& format, std::uint32_t width) {
    if (format != "v210" && format != "uyvy")
        throw py::value_error("format is 'v210' or 'uyvy', not '" + format + "'");
    const auto packets = packetsOf(buffer);
    const rdd18::host::VancLayout layout{
        format == "v210" ? rdd18::host::VancFormat::V210 : rdd18::host::VancFormat::Uyvy, width};
    return hostWritten([&](rdd18::FaultSink* faults) {
        return rdd18::host::vancLinesFromPackets(packets, layout, faults);
    });
}

py::bytes toRfc8331(const py::bytes& buffer) {
    const auto packets = packetsOf(buffer);
    return hostWritten([&](rdd18::FaultSink* faults) {
        return rdd18::host::rfc8331FromPackets(packets, 0, faults);
    });
}

py::bytes toSt436m(const py::bytes& buffer, std::uint16_t line) {
    std::vector<rdd18::host::St436mPacket> stored;
    for (rdd18::host::Packet& p : packetsOf(buffer))
        stored.push_back({{p.did, p.sdid, line, 0, std::move(p.udw)}, 1, 4});
    return hostWritten(
        [&](rdd18::FaultSink* faults) { return rdd18::host::st436mElement(stored, {}, faults); });
}

}  // namespace

void bindEncode(py::module_& m) {
    m.def("to_words10", &toWords10, "buffer"_a,
          "The 10-bit words (16-bit little-endian values, each packet behind 000 3FF 3FF) of a "
          "packet buffer with flags, as from_words10 reads them.");
    m.def("to_vanc", &toVanc, "buffer"_a, "format"_a = "v210", "width"_a = 1920,
          "The VANC lines (v210 or UYVY, width pixels) that carry the packets of a packet buffer "
          "with flags, as from_vanc reads them; ValueError for a packet longer than a line.");
    m.def("to_rfc8331", &toRfc8331, "buffer"_a,
          "The RFC 8331 payload of the packets of a packet buffer with flags.");
    m.def("to_st436m", &toSt436m, "buffer"_a, "line"_a = 9,
          "The ST 436M ANC element (VANC frame, 8-bit luma samples, each packet on line) of the "
          "packets of a packet buffer with flags.");
    m.def("encode_rdd18", &encodeRDD18, "answer"_a, "flavour"_a = "standard",
          py::arg("flags").noconvert() = true, py::kw_only(), py::arg("round").noconvert() = false,
          R"(Writes an RDD 18 answer (a dict as parse_rdd18 gives it) back into packets.

Returns the 8-bit packet buffer (flags: each packet behind 00 FF FF) whose parse_rdd18 with the
same flavour gives the answer back. round=True writes a lens value no 16-bit decimal code gives
as the nearest one. ValueError naming the key for a value that can't be written (a key of another
flavour, a number out of range, ...); TypeError for a value of no answer's type.)");
    m.def("encode_arri", &encodeArri, "answer"_a, py::arg("flags").noconvert() = true,
          R"(Writes an ARRI answer (a dict as parse_arri gives it) back into packets: the file
header record (fields the answer lacks written unset), its item and ARRI packets. ValueError
naming the key for a value that can't be written.)");
}

}  // namespace velmora::python
