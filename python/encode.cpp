// encode_rdd18 and encode_arri: Python answers back into packets. Python's own types become the
// value model's: int an integer (an unsigned long beyond the signed 64-bit range), float a double,
// bool a bool, str text, bytes-like data, list and tuple an array, dict a dictionary. The writers
// take each number in any kind whose value the field holds exactly, so a parse's dict, changed or
// not, writes back as it is.
#include <pybind11/pybind11.h>

#include <cstdint>
#include <string>

#include "bindings.h"
#include "rdd18/arri/arri_encoder.h"
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

}  // namespace

void bindEncode(py::module_& m) {
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
