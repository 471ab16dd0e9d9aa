// The walk over one RFC 8331 payload's packets, into a sink that a caller may keep filling across
// payloads (the RTP depacketiser gathers a frame's packets from several). Private to the library.
#pragma once

#include <span>

#include "rdd18/host/internal_word_scan.h"

namespace rdd18::host::detail {

/// Adds the packets of `payload` to `out` behind those it holds (see `packetsFromRfc8331` for
/// what is read, dropped and reported); doesn't call `out.finish()`.
void scanRfc8331(std::span<const unsigned char> payload, const ConvertOptions& options,
                 FaultSink* faults, PacketSink& out);

}  // namespace rdd18::host::detail
