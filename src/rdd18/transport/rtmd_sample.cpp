#include "rdd18/transport/rtmd_sample.h"

#include <algorithm>
#include <cstring>

#include "rdd18/internal/byte_order.h"
#include "rdd18/transport/internal_klv.h"

namespace rdd18 {

namespace {

constexpr std::size_t kLengthFieldSize = 2;
constexpr std::size_t kTimecodeAt = 0x0D;  // hours, minutes, seconds, drop frame, frames
constexpr std::size_t kTimecodeEnd = kTimecodeAt + 5;
constexpr std::size_t kPackHeaderSize = internal::kKlvKeySize + internal::kKlvLengthFieldSize;

void report(FaultSink* faults, FaultCode code, std::size_t offset, std::size_t expected,
            std::size_t found) {
    if (faults)
        faults->report({.code = code, .offset = offset, .expected = expected, .found = found});
}

std::optional<RtmdTimecode> headerTimecode(std::span<const unsigned char> header) {
    if (header.size() < kTimecodeEnd) return std::nullopt;
    const unsigned char* t = header.data() + kTimecodeAt;
    const RtmdTimecode tc{t[0], t[1], t[2], t[4], t[3] == 1};
    if (tc.hours >= 24 || tc.minutes >= 60 || tc.seconds >= 60 || tc.frames >= 60 || t[3] > 1)
        return std::nullopt;
    return tc;
}

/// The end of the packs in `body` (the sample behind its header): the first pack boundary behind
/// which only zeros stand, or the end of `body` when a pack runs past it.
std::size_t packsEnd(std::span<const unsigned char> body, std::size_t headerSize,
                     FaultSink* faults) {
    const auto lastNonZero =
        std::find_if(body.rbegin(), body.rend(), [](unsigned char b) { return b != 0; });
    const std::size_t content = static_cast<std::size_t>(body.rend() - lastNonZero);
    std::size_t at = 0;
    while (at < content) {
        const std::size_t left = body.size() - at;
        if (left < kPackHeaderSize) {
            report(faults, FaultCode::RtmdPackCutOff, headerSize + at, kPackHeaderSize, left);
            return body.size();
        }
        if (std::memcmp(body.data() + at, internal::kUniversalLabelHeader,
                        sizeof internal::kUniversalLabelHeader) != 0) {
            at += internal::kKlvKeySize;  // no key: the walk passes over these 16 bytes
            continue;
        }
        const std::size_t need =
            kPackHeaderSize + internal::klvLength(body.data() + at + internal::kKlvKeySize);
        if (need > left) {
            report(faults, FaultCode::RtmdPackCutOff, headerSize + at, need, left);
            return body.size();
        }
        at += need;
    }
    return std::max(at, content);
}

}  // namespace

RtmdSample readRtmdSample(std::span<const unsigned char> sample, FaultSink* faults) {
    RtmdSample framed;
    if (sample.size() < kLengthFieldSize) {
        report(faults, FaultCode::RtmdHeaderBeyondSample, 0, kLengthFieldSize, sample.size());
        return framed;
    }
    const std::size_t headerSize = internal::loadBigEndian16(sample.data());
    if (headerSize < kLengthFieldSize) {
        report(faults, FaultCode::RtmdHeaderTooShort, 0, kLengthFieldSize, headerSize);
        return framed;
    }
    if (headerSize > sample.size()) {
        report(faults, FaultCode::RtmdHeaderBeyondSample, 0, headerSize, sample.size());
        return framed;
    }
    framed.header = sample.first(headerSize);
    framed.timecode = headerTimecode(framed.header);
    const auto body = sample.subspan(headerSize);
    framed.packs = body.first(packsEnd(body, headerSize, faults));
    framed.padding = body.size() - framed.packs.size();
    if (framed.packs.empty()) report(faults, FaultCode::RtmdNoPacks, headerSize, 0, body.size());
    return framed;
}

std::vector<unsigned char> writeRtmdSample(std::span<const unsigned char> packs,
                                           std::optional<RtmdTimecode> timecode, std::size_t unit) {
    std::vector<unsigned char> sample;
    sample.reserve(kRtmdHeaderSize + packs.size() + unit);
    sample.resize(kRtmdHeaderSize, 0);
    sample[1] = kRtmdHeaderSize;
    const RtmdTimecode tc = timecode.value_or(RtmdTimecode{0xFF, 0xFF, 0xFF, 0xFF, false});
    const unsigned char bytes[] = {tc.hours, tc.minutes, tc.seconds,
                                   static_cast<unsigned char>(timecode ? tc.dropFrame : 0xFF),
                                   tc.frames};
    std::copy(std::begin(bytes), std::end(bytes), sample.begin() + kTimecodeAt);
    sample.insert(sample.end(), packs.begin(), packs.end());
    if (unit > 0) sample.resize((sample.size() + unit - 1) / unit * unit, 0);
    return sample;
}

unsigned long RtmdPackReader::read(unsigned char* buffer, unsigned long count) {
    const std::size_t n = std::min<std::size_t>(count, packs_.size() - offset_);
    if (n) std::memcpy(buffer, packs_.data() + offset_, n);
    offset_ += n;
    if (n == count)
        position_ += static_cast<unsigned long>(n);
    else
        offset_ = packs_.size();
    return static_cast<unsigned long>(n);
}

unsigned long RtmdPackReader::skip(unsigned long count) {
    const std::size_t n = std::min<std::size_t>(count, packs_.size() - offset_);
    offset_ += n;
    position_ += static_cast<unsigned long>(n);
    return static_cast<unsigned long>(n);
}

}  // namespace rdd18
