#include "rdd18/transport/otrk.h"

#include <algorithm>
#include <vector>

namespace rdd18::otrk {

namespace {

constexpr unsigned char kIdentifier[4] = {'O', 'T', 'r', 'k'};
constexpr std::uint16_t kLastFlag = 0x8000;
constexpr std::size_t kChecked = 14;  // header bytes under the checksum

std::uint16_t be16(const unsigned char* p) {
    return static_cast<std::uint16_t>(p[0] << 8 | p[1]);
}

void putBe(unsigned char* p, std::uint32_t v, int bytes) {
    for (int i = 0; i < bytes; ++i) p[i] = static_cast<unsigned char>(v >> (8 * (bytes - 1 - i)));
}

}  // namespace

std::uint16_t fletcher16(std::span<const unsigned char> head,
                         std::span<const unsigned char> segment) noexcept {
    unsigned sum1 = 0, sum2 = 0;
    for (const auto part : {head, segment}) {
        for (const unsigned char b : part) {
            sum1 = (sum1 + b) & 0xFF;
            sum2 = (sum2 + sum1) & 0xFF;
        }
    }
    return static_cast<std::uint16_t>(sum2 << 8 | sum1);
}

std::array<unsigned char, kHeaderSize> header(std::uint8_t encoding, std::uint16_t sequence,
                                              std::uint32_t offset, bool last,
                                              std::span<const unsigned char> segment) noexcept {
    std::array<unsigned char, kHeaderSize> h{};
    std::copy(std::begin(kIdentifier), std::end(kIdentifier), h.begin());
    h[5] = encoding;
    putBe(&h[6], sequence, 2);
    putBe(&h[8], offset, 4);
    putBe(&h[12], (last ? kLastFlag : 0u) | (segment.size() & kMaxSegment), 2);
    putBe(&h[14], fletcher16(std::span(h).first(kChecked), segment), 2);
    return h;
}

std::optional<Header> readHeader(std::span<const unsigned char> d) noexcept {
    if (d.size() < kHeaderSize ||
        !std::equal(std::begin(kIdentifier), std::end(kIdentifier), d.begin()))
        return std::nullopt;
    const std::uint16_t word = be16(&d[12]);
    return Header{d[5],
                  be16(&d[6]),
                  static_cast<std::uint32_t>(be16(&d[8])) << 16 | be16(&d[10]),
                  (word & kLastFlag) != 0,
                  static_cast<std::uint16_t>(word & kMaxSegment),
                  be16(&d[14])};
}

bool checksumOk(std::span<const unsigned char> d) noexcept {
    const auto h = readHeader(d);
    return h && d.size() == kHeaderSize + h->length &&
           fletcher16(d.first(kChecked), d.subspan(kHeaderSize)) == h->checksum;
}

std::uint16_t segment(std::span<const unsigned char> sample, Encoding encoding,
                      std::uint16_t sequence,
                      const std::function<void(std::span<const unsigned char>)>& send,
                      std::size_t segmentSize) {
    if (sample.size() > 0xFFFFFFFFu) return sequence;
    const std::size_t size = std::clamp<std::size_t>(segmentSize, 1, kMaxSegment);
    std::vector<unsigned char> datagram;
    datagram.reserve(kHeaderSize + std::min(size, sample.size()));
    std::size_t offset = 0;
    do {
        const auto part = sample.subspan(offset, std::min(size, sample.size() - offset));
        const bool last = offset + part.size() == sample.size();
        const auto h = header(static_cast<std::uint8_t>(encoding), sequence++,
                              static_cast<std::uint32_t>(offset), last, part);
        datagram.assign(h.begin(), h.end());
        datagram.insert(datagram.end(), part.begin(), part.end());
        send(datagram);
        offset += part.size();
    } while (offset < sample.size());
    return sequence;
}

}  // namespace rdd18::otrk
