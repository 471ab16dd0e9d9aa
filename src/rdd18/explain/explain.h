// Diagnostic walks: why a frame's answer is empty or shorter than expected, in one line per fault.
// Each is the fault list of the facade's own parse (`parseDataWithFaults`).
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "rdd18/export.h"
#include "rdd18/items/flavour.h"

namespace rdd18 {

/// The faults met while parsing the RDD 18 metadata of `bytes` as `VLRDD18Parser(flavour)` would
/// (`flags`: whether packets carry the 3-byte flag), one line each, in the order met, with
/// numbers: buffer offsets, stream positions, tags, lengths, expected and found sequence numbers.
/// Ends with a line that says what the answer lost, when it lost anything. Empty when nothing was
/// dropped. Never throws but for allocation failure.
VELMORA_RDD18_EXPORT std::vector<std::string> explainRDD18Frame(
    std::span<const unsigned char> bytes, bool flags, Flavour flavour);
/// The same with the flavour as the facade's integer (1 Varicam, 2 Sony, else standard).
VELMORA_RDD18_EXPORT std::vector<std::string> explainRDD18Frame(
    std::span<const unsigned char> bytes, bool flags, std::int32_t type);

/// The same for the ARRI metadata of `bytes`, as `VLArriANCParser` would parse it.
VELMORA_RDD18_EXPORT std::vector<std::string> explainArriFrame(std::span<const unsigned char> bytes,
                                                               bool flags);

}  // namespace rdd18
