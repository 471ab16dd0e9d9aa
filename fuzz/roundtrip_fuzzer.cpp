// The writers against the parsers: any frame a parser reads, its answer written back and parsed
// again, gives the same answer: keys, kinds and bits (NaN payloads of the ARRI floats included).
// VELMORA_FUZZ_ROUNDTRIP: 0 the RDD 18 flavours, 1 ARRI. The one refusal a parsed answer may meet
// is a stream beyond what packets carry: a raw payload cut off by the end of the stream comes
// back with its zero tail, longer than the stream held.
#include <cstddef>
#include <cstdint>

#include "fuzz_support.h"
#include "mutator.h"
#include "rdd18/arri/VLArriANCParser.h"
#include "rdd18/arri/arri_encoder.h"
#include "rdd18/output/VLRDD18Parser.h"
#include "rdd18/output/rdd18_encoder.h"
#include "rdd18/transport/encode_error.h"

#ifndef VELMORA_FUZZ_ROUNDTRIP
#error "VELMORA_FUZZ_ROUNDTRIP must be 0 (RDD 18) or 1 (ARRI)"
#endif

using namespace rdd18;
using namespace rdd18::fuzz;

namespace {

void rdd18RoundTrip(std::span<const unsigned char> frame, bool flags) {
    for (const Flavour flavour : {Flavour::Standard, Flavour::Sony, Flavour::Varicam}) {
        const VLRDD18Parser parser(flavour);
        const Dictionary answer = parser.parseData(frame, flags);
        try {
            const auto written = encodeRDD18(answer, flavour, {.flags = !flags});
            VELMORA_FUZZ_CHECK(parser.parseData(written, !flags) == answer);
        } catch (const EncodeError& e) {
            VELMORA_FUZZ_CHECK(e.code() == FaultCode::StreamTooLarge);
        }
    }
}

void arriRoundTrip(std::span<const unsigned char> frame, bool flags) {
    const VLArriANCParser parser;
    const Dictionary answer = parser.parseData(frame, flags);
    VELMORA_FUZZ_CHECK(parser.parseData(arri::encodeArri(answer, {.flags = flags}), flags) ==
                       answer);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const InputCopy input(data, size);
    for (const bool flags : {false, true}) {
        if (VELMORA_FUZZ_ROUNDTRIP == 0) {
            rdd18RoundTrip(input.span(), flags);
        } else {
            arriRoundTrip(input.span(), flags);
        }
    }
    return 0;
}

VELMORA_FUZZ_FRAME_MUTATOR(VELMORA_FUZZ_ROUNDTRIP == 0 ? rdd18::fuzz::FrameKind::Rdd18
                                                       : rdd18::fuzz::FrameKind::Arri)
