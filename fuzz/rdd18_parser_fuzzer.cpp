// VLRDD18Parser of one flavour (VELMORA_FUZZ_FLAVOUR: 0 standard, 1 Varicam, 2 Sony), over the
// input read with and without flags. Invariants:
//  - the same bytes give the same answer twice;
//  - every key is an item name of the flavour with the value kind of its payload type, or the
//    "Unknown_" key of a tag the flavour lacks;
//  - a whole packet of another kind put in where the packet walk stands changes nothing;
//  - a buffer the walk takes whole gives the same answer with flags put on or taken off;
//  - Sony: the answer is the standard answer with the 16 Sony names in place of their "Unknown_"
//    keys (their byte vectors decode exactly as unregistered items do);
//  - Varicam: where both the Varicam and the standard parse give items, they agree on every key
//    outside the four Varicam tags (a decoding of those tags that doesn't fail consumes what the
//    raw bytes of an unregistered item consume, but at the end of the stream);
//  - the interpreted view holds no NaN or infinity and survives its dictionary form.
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "fuzz_support.h"
#include "rdd18/items/sony_items.h"
#include "rdd18/items/standard_items.h"
#include "rdd18/items/varicam_items.h"
#include "rdd18/output/VLRDD18Parser.h"

#ifndef VELMORA_FUZZ_FLAVOUR
#error "VELMORA_FUZZ_FLAVOUR must be 0 (standard), 1 (Varicam) or 2 (Sony)"
#endif

using namespace rdd18;
using namespace rdd18::fuzz;

namespace {

constexpr int kFlavour = VELMORA_FUZZ_FLAVOUR;
using Table =
    std::conditional_t<kFlavour == 1, VaricamItemTable,
                       std::conditional_t<kFlavour == 2, SonyItemTable, StandardItemTable>>;

const VLRDD18Parser& parser() {
    static const VLRDD18Parser instance(kFlavour);
    return instance;
}

AncillaryDataBufferContainsFlags flagsValue(bool flags) {
    return flags ? AncillaryDataBufferWithFlags : AncillaryDataBufferWithoutFlags;
}

void checkOneReading(const InputCopy& input, bool flags) {
    const Dictionary answer = parser().parseData(input.span(), flags);
    VELMORA_FUZZ_CHECK(parser().parseData(input.span(), flags) == answer);
    checkRdd18Answer<Table>(answer);
    checkCameraModel(interpret::fromRDD18(answer));

    if constexpr (kFlavour == 2) {
        static const VLRDD18Parser standardParser(0);
        const Dictionary standard = standardParser.parseData(input.span(), flags);
        VELMORA_FUZZ_CHECK(RenameToUnknown<SonyOwnItemTable>::apply(answer) == standard);
    } else if constexpr (kFlavour == 1) {
        static const VLRDD18Parser standardParser(0);
        const Dictionary standard = standardParser.parseData(input.span(), flags);
        if (!answer.empty() && !standard.empty()) {
            VELMORA_FUZZ_CHECK(WithoutRows<VaricamOwnItemTable>::apply(answer) ==
                               WithoutRows<VaricamOwnItemTable>::apply(standard));
        }
    }

    const auto packets = packetsFromData(input.data(), input.size(), flagsValue(flags));

    const unsigned selector = input.fromEnd(0) | (input.fromEnd(1) << 8);
    const Bytes foreign = foreignPacket(0x43, 0x05, 1, selector, input.span(), flags);
    const Bytes withForeign =
        insertAtPacketBoundary(input.span(), packets, input.fromEnd(2), foreign);
    VELMORA_FUZZ_CHECK(parser().parseData(withForeign, flags) == answer);

    if (walkIsExact(packets, input.size(), flags)) {
        const Bytes rewritten = rewritePackets(packets, flags ? 0 : input.fromEnd(3) | 1u);
        VELMORA_FUZZ_CHECK(parser().parseData(rewritten, !flags) == answer);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const InputCopy input(data, size);
    checkOneReading(input, false);
    checkOneReading(input, true);
    return 0;
}
