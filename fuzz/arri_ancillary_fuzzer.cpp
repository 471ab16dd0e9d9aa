// arri::parseAncillaryData over the input read with and without flags, with three filters: one
// that keeps every item, one that keeps the metadata item only, one that keeps nothing.
// Invariants: the outcome is the model's (fuzz/model/arri_model.h): ParsingError exactly when the
// model's KLV loop fails, otherwise the same kept values in order; and every
// filter is asked about the keys the model reads, in order, once each.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "fuzz_support.h"
#include "model/arri_model.h"
#include "mutator.h"
#include "rdd18/arri/arri_ancillary_parser.h"

using namespace rdd18;
using namespace rdd18::arri;
using namespace rdd18::fuzz;

namespace {

enum class Keep { All, Metadata, Nothing };

bool keeps(Keep keep, const unsigned char* key) {
    return keep == Keep::All ||
           (keep == Keep::Metadata && std::memcmp(key, model::kMetadataKey, 16) == 0);
}

struct Outcome {
    bool failed = false;
    std::vector<Bytes> asked;
    std::vector<Bytes> kept;  // the values, in order (a value's key is the one its filter kept)
    friend bool operator==(const Outcome&, const Outcome&) = default;
};

Outcome parse(std::span<const unsigned char> bytes, bool flags, Keep keep) {
    Outcome out;
    AncillaryDataBufferReader reader(
        bytes.data(), bytes.size(),
        flags ? AncillaryDataBufferWithFlags : AncillaryDataBufferWithoutFlags);
    const ArriAncKeyFilter filter = [&](const ArriAncKey& key) {
        out.asked.emplace_back(key.bytes.begin(), key.bytes.end());
        return keeps(keep, key.bytes.data());
    };
    try {
        for (const ArriAncBlob& blob : parseAncillaryData(reader, filter)) {
            out.kept.emplace_back(blob.data(), blob.data() + blob.size());
        }
    } catch (const ParsingError&) {
        out.failed = true;
        out.kept.clear();
    }
    return out;
}

Outcome modelOutcome(std::span<const unsigned char> bytes, bool flags, Keep keep) {
    Outcome out;
    const auto kept =
        model::blobs(model::arriStream(model::walk(bytes, flags)), [&](const model::ByteVec& key) {
            out.asked.push_back(key);
            return keeps(keep, key.data());
        });
    out.failed = !kept;
    if (kept)
        for (const model::Blob& blob : *kept) out.kept.push_back(blob.value);
    return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const InputCopy input(data, size);
    for (const bool flags : {false, true}) {
        for (const Keep keep : {Keep::All, Keep::Metadata, Keep::Nothing}) {
            VELMORA_FUZZ_CHECK(parse(input.span(), flags, keep) ==
                               modelOutcome(input.span(), flags, keep));
        }
    }
    return 0;
}

VELMORA_FUZZ_FRAME_MUTATOR(rdd18::fuzz::FrameKind::Arri)
