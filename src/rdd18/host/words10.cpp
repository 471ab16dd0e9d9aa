#include "rdd18/host/words10.h"

#include "rdd18/internal/anc_words.h"
#include "rdd18/transport/parse_observer.h"

namespace rdd18::host {

namespace {

/// Copies the user data words of a packet into `udw` and adds them to `sum`; returns false when
/// one of them has bad parity bits (10-bit words only).
template <bool TenBit>
bool takeUserWords(const std::uint16_t* w, std::size_t count, unsigned char* udw, unsigned& sum) {
    unsigned bad = 0, total = sum;
    for (std::size_t k = 0; k < count; ++k) {
        const unsigned word = w[k] & (TenBit ? 0x3FFu : 0xFFu);
        if constexpr (TenBit) bad |= word ^ detail::kParityWords[word & 0xFFu];
        total += word;
        udw[k] = static_cast<unsigned char>(word);
    }
    sum = total;
    return bad == 0;
}

constexpr std::uint16_t checksumFromSum(unsigned sum) noexcept {
    const unsigned nine = sum & 0x1FFu;
    return static_cast<std::uint16_t>(nine | ((~nine >> 8 & 1u) << 9));
}

}  // namespace

std::uint16_t checksumWord(std::span<const std::uint16_t> didToLastUdw) noexcept {
    unsigned sum = 0;
    for (std::uint16_t w : didToLastUdw) sum += w & 0x1FFu;
    return checksumFromSum(sum);
}

namespace detail {

void scanWords(std::span<const std::uint16_t> words, const WordRun& run,
               const ConvertOptions& options, ParseObserver* observer, std::vector<Packet>& out) {
    const unsigned mask = run.tenBit ? 0x3FFu : 0xFFu;
    const unsigned composite = run.tenBit ? 0x3FCu : 0xFCu;
    const std::size_t n = words.size();
    const std::uint16_t* w = words.data();
    auto report = [&](DropReason reason, std::size_t at, unsigned did, unsigned sdid, bool kept) {
        if (observer)
            observer->hostInputDropped({reason, run.offsetBase + at, run.dropLine,
                                        static_cast<std::uint8_t>(did),
                                        static_cast<std::uint8_t>(sdid), kept});
    };
    std::size_t i = 0;
    while (i < n) {
        std::size_t flag = 0;
        if (run.flagged) {
            const unsigned first = w[i] & mask;
            if (first == 0 && i + 2 < n && (w[i + 1] & mask) == mask && (w[i + 2] & mask) == mask) {
                flag = 3;
            } else if (first == composite) {
                flag = 1;
            } else {
                ++i;
                continue;
            }
        }
        const std::size_t h = i + flag;  // the DID
        if (n - h < 3) {
            report(DropReason::Truncated, i, 0, 0, false);
            return;
        }
        const unsigned did = w[h] & 0xFFu, sdid = w[h + 1] & 0xFFu, dc = w[h + 2] & 0xFFu;
        if (n - h - 3 < dc + 1) {
            report(DropReason::CountBeyondData, i, did, sdid, false);
            // Behind a flag, a later flag may still start a whole packet.
            if (!run.flagged) return;
            i = h;
            continue;
        }
        const std::size_t end = h + 3 + dc;  // the checksum word
        bool parity = true;
        unsigned sum = 0;
        for (std::size_t k = h; k < h + 3; ++k) {
            const unsigned word = w[k] & mask;
            if (run.tenBit) parity = parity && word == withParity(static_cast<std::uint8_t>(word));
            sum += word;
        }
        // The user data words go straight into the packet; it is taken back if it is dropped.
        Packet& p = out.emplace_back();
        p.udw.resize(dc);
        parity &= run.tenBit ? takeUserWords<true>(w + h + 3, dc, p.udw.data(), sum)
                             : takeUserWords<false>(w + h + 3, dc, p.udw.data(), sum);
        const bool checksum =
            run.tenBit ? (w[end] & mask) == checksumFromSum(sum) : (w[end] & mask) == (sum & 0xFFu);
        if (!parity || !checksum) {
            report(parity ? DropReason::BadChecksum : DropReason::BadParity, i, did, sdid,
                   options.keepDamaged);
            if (!options.keepDamaged) {
                out.pop_back();
                // The words behind a flag may hide the next flag if this header lied.
                i = run.flagged ? h : end + 1;
                continue;
            }
        }
        p.did = static_cast<std::uint8_t>(did);
        p.sdid = static_cast<std::uint8_t>(sdid);
        p.line = run.line;
        i = end + 1;
    }
}

void appendPacketWords(const Packet& packet, bool tenBit, std::vector<std::uint16_t>& out) {
    const std::uint16_t ones = tenBit ? 0x3FF : 0xFF;
    out.insert(out.end(), {0, ones, ones});
    const std::size_t first = out.size();
    auto put = [&](std::uint8_t v) { out.push_back(tenBit ? withParity(v) : v); };
    put(packet.did);
    put(packet.sdid);
    put(static_cast<std::uint8_t>(packet.udw.size()));
    for (unsigned char v : packet.udw) put(v);
    if (tenBit) {
        out.push_back(checksumWord({out.data() + first, out.size() - first}));
    } else {
        out.push_back(checksum8(packet));
    }
}

}  // namespace detail

std::vector<Packet> packetsFromWords10(std::span<const std::uint16_t> words, WordLayout layout,
                                       const ConvertOptions& options, ParseObserver* observer) {
    std::vector<Packet> packets;
    detail::scanWords(words, {true, layout == WordLayout::Flagged, 0, 0, 0}, options, observer,
                      packets);
    return packets;
}

std::vector<std::uint16_t> words10FromPackets(std::span<const Packet> packets,
                                              ParseObserver* observer) {
    std::vector<std::uint16_t> words;
    for (std::size_t i = 0; i < packets.size(); ++i) {
        if (packets[i].udw.size() > 255) {
            if (observer)
                observer->hostInputDropped({DropReason::TooManyWords, i, packets[i].line,
                                            packets[i].did, packets[i].sdid, false});
            continue;
        }
        detail::appendPacketWords(packets[i], true, words);
    }
    return words;
}

}  // namespace rdd18::host
