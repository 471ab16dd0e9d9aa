#include "rdd18/host/words10.h"

#include <algorithm>
#include <cstring>

#include "rdd18/host/internal_word_scan.h"

namespace rdd18::host {

namespace {

/// Copies the user data words of a packet into `p`, adds them to `sum` and returns whether
/// they carry their parity bits (10-bit words; 8-bit words have none, and their checksum is
/// `checksum8` of the packet, so they add nothing to `sum`).
bool takeUserWords(const std::uint16_t* w, std::size_t count, Packet& p, unsigned& sum) {
    p.udw.resize(count);
    std::uint16_t total = 0;
    const bool parity = detail::takeWords10(w, count, p.udw.data(), total);
    sum += total;
    return parity;
}

bool takeUserWords(const unsigned char* w, std::size_t count, Packet& p, unsigned&) {
    p.udw.assign(w, w + count);
    return true;
}

/// The all-ones word (a component flag's second and third) and the composite flag, in the run's
/// word size.
template <class Word>
constexpr unsigned kOnes = sizeof(Word) == 2 ? 0x3FFu : 0xFFu;
template <class Word>
constexpr unsigned kComposite = sizeof(Word) == 2 ? 0x3FCu : 0xFCu;

/// Finds the words that may start a flag: a composite flag (3FC; in 8 bits FC), or the word before
/// an all-ones word (000 3FF 3FF; in 8 bits 00 FF FF). A component flag is looked for by its
/// second word, not its first: blank samples are zeros as often as not, and a run of zeros would
/// make every word a candidate, while all-ones words are rare outside flags (a 10-bit data word is
/// never 3FF or 3FC: its b9 is the inverse of b8).
template <class Word>
class FlagStarts {
  public:
    FlagStarts(const Word* w, std::size_t n) noexcept : w_(w), n_(n) {}

    /// The first index from `i` on whose word may start a flag, or the end. The caller has
    /// looked at the word before `i` already.
    std::size_t from(std::size_t i) noexcept {
        for (std::size_t k = i; (k = marker(k)) < n_; ++k) {
            if ((w_[k] & kOnes<Word>) == kComposite<Word>) return k;
            if (k > i) return k - 1;  // an all-ones word: its flag would start one word before
        }
        return n_;
    }

  private:
    /// The first index from `i` on of an all-ones or composite word, or the end.
    std::size_t marker(std::size_t i) noexcept {
        if constexpr (sizeof(Word) == 2) {
            // Whole blocks without a marker are passed in one test, the rest word by word. A
            // block tests its words for bits 2-9 all set (3FC-3FF: the two markers and two
            // words no packet carries), as a minimum that compiles to a few vector operations.
            constexpr std::size_t kBlock = 32;
            for (; i + kBlock <= n_; i += kBlock) {
                std::uint16_t least = 0xFFFF;
                for (std::size_t j = 0; j < kBlock; ++j)
                    least =
                        std::min(least, static_cast<std::uint16_t>((w_[i + j] & 0x3FC) ^ 0x3FC));
                if (least == 0) break;
            }
            while (i < n_ && !isMarker(w_[i])) ++i;
            return i;
        } else {
            // The next of each byte is looked for once and kept until the scan passes it.
            if (ones_ < i) ones_ = find(i, 0xFF);
            if (composite_ < i) composite_ = find(i, 0xFC);
            return std::min(ones_, composite_);
        }
    }
    static unsigned isMarker(Word w) noexcept {
        const unsigned v = w & kOnes<Word>;
        return (v == kOnes<Word>) | (v == kComposite<Word>);
    }
    std::size_t find(std::size_t i, int byte) const noexcept {
        const void* at = std::memchr(w_ + i, byte, n_ - i);
        return at ? static_cast<std::size_t>(static_cast<const unsigned char*>(at) - w_) : n_;
    }

    const Word* w_;
    std::size_t n_;
    // Bytes: each is valid from the index it was looked for at; 0: not looked for yet (the scan
    // asks from index 1 on).
    std::size_t ones_ = 0, composite_ = 0;
};

template <class Word>
void scan(std::span<const Word> words, const detail::WordRun& run, const ConvertOptions& options,
          FaultSink* faults, detail::PacketSink& out) {
    constexpr bool tenBit = sizeof(Word) == 2;
    constexpr unsigned mask = kOnes<Word>, composite = kComposite<Word>;
    const std::size_t n = words.size();
    const Word* w = words.data();
    auto report = [&](FaultCode code, std::size_t at, unsigned did, unsigned sdid, bool kept) {
        if (faults)
            faults->report(detail::hostFault(code, run.unit, at, run.faultLine, did, sdid, kept));
    };
    FlagStarts<Word> flagStarts(w, n);
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
                i = flagStarts.from(i + 1);
                continue;
            }
        }
        const std::size_t h = i + flag;  // the DID
        if (n - h < 3) {
            report(FaultCode::HeaderCutOff, i, 0, 0, false);
            return;
        }
        const unsigned did = w[h] & 0xFFu, sdid = w[h + 1] & 0xFFu, dc = w[h + 2] & 0xFFu;
        if (n - h - 3 < dc + 1) {
            report(FaultCode::CountBeyondData, i, did, sdid, false);
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
            if constexpr (tenBit)
                parity = parity && word == withParity(static_cast<std::uint8_t>(word));
            sum += word;
        }
        // The user data words go straight into the packet; it is taken back if it is dropped.
        Packet& p = out.next();
        parity = takeUserWords(w + h + 3, dc, p, sum) && parity;
        // The 8-bit checksum is summed over the caller's words: the copy just written is slower
        // to read back.
        bool checksum;
        if constexpr (tenBit) {
            checksum = (w[end] & mask) == detail::checksumFromSum(sum);
        } else {
            checksum = w[end] == checksum8(static_cast<std::uint8_t>(did),
                                           static_cast<std::uint8_t>(sdid), {w + h + 3, dc});
        }
        if (!parity || !checksum) {
            report(parity ? FaultCode::BadChecksum : FaultCode::BadParity, i, did, sdid,
                   options.keepDamaged);
            if (!options.keepDamaged) {
                // The words behind a flag may hide the next flag if this header lied.
                i = run.flagged ? h : end + 1;
                continue;
            }
        }
        p.did = static_cast<std::uint8_t>(did);
        p.sdid = static_cast<std::uint8_t>(sdid);
        p.line = run.line;
        p.stream = 0;
        out.keep();
        i = end + 1;
    }
}

}  // namespace

std::uint16_t checksumWord(std::span<const std::uint16_t> didToLastUdw) noexcept {
    unsigned sum = 0;
    for (std::uint16_t w : didToLastUdw) sum += w & 0x1FFu;
    return detail::checksumFromSum(sum);
}

namespace detail {

void scanWords(std::span<const std::uint16_t> words, const WordRun& run,
               const ConvertOptions& options, FaultSink* faults, PacketSink& out) {
    scan(words, run, options, faults, out);
}

void scanWords(std::span<const unsigned char> words, const WordRun& run,
               const ConvertOptions& options, FaultSink* faults, PacketSink& out) {
    scan(words, run, options, faults, out);
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

void packetsFromWords10(std::span<const std::uint16_t> words, std::vector<Packet>& out,
                        WordLayout layout, const ConvertOptions& options, FaultSink* faults) {
    detail::PacketSink sink(out);
    detail::scanWords(words, {layout == WordLayout::Flagged, 0, 0, FaultUnit::Word}, options,
                      faults, sink);
    sink.finish();
}

std::vector<Packet> packetsFromWords10(std::span<const std::uint16_t> words, WordLayout layout,
                                       const ConvertOptions& options, FaultSink* faults) {
    std::vector<Packet> packets;
    packetsFromWords10(words, packets, layout, options, faults);
    return packets;
}

std::vector<std::uint16_t> words10FromPackets(std::span<const Packet> packets, FaultSink* faults) {
    std::vector<std::uint16_t> words;
    for (std::size_t i = 0; i < packets.size(); ++i)
        if (!detail::tooManyWords(packets[i], i, faults))
            detail::appendPacketWords(packets[i], true, words);
    return words;
}

}  // namespace rdd18::host
