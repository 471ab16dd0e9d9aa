#include "rdd18/host/rtp.h"

#include <algorithm>

#include "rdd18/host/internal_rfc8331.h"
#include "rdd18/host/rfc8331.h"
#include "rdd18/internal/byte_order.h"

namespace rdd18::host {

namespace {

constexpr std::size_t kFixedHeader = 12;
constexpr std::size_t kExtensionHeader = 4;  // profile-defined 16 bits, then the length in words
constexpr unsigned kVersion = 2;
// How far back of the last frame handed a sequence number counts as late rather than as a
// sender that started again.
constexpr int kLateWindow = 1024;

/// `a - b` in sequence-number arithmetic: from -32,768 to 32,767.
int distance(std::uint16_t a, std::uint16_t b) noexcept {
    return static_cast<std::int16_t>(static_cast<std::uint16_t>(a - b));
}

Fault byteFault(FaultCode code, std::uint64_t offset, std::uint64_t expected,
                std::uint64_t found) noexcept {
    return {.code = code, .offset = offset, .expected = expected, .found = found};
}

}  // namespace

std::optional<RtpHeader> readRtpHeader(std::span<const unsigned char> datagram, FaultSink* faults) {
    auto fail = [&](const Fault& f) -> std::optional<RtpHeader> {
        if (faults) faults->report(f);
        return std::nullopt;
    };
    const std::size_t size = datagram.size();
    if (size < kFixedHeader)
        return fail(byteFault(FaultCode::RtpHeaderCutOff, 0, kFixedHeader, size));
    const unsigned char* d = datagram.data();
    if (d[0] >> 6 != kVersion)
        return fail(byteFault(FaultCode::RtpVersionNotTwo, 0, kVersion, d[0] >> 6));
    std::size_t header = kFixedHeader + 4 * std::size_t{d[0] & 0x0Fu};  // the CSRC list
    if ((d[0] & 0x10u) && header + kExtensionHeader <= size)
        header += kExtensionHeader + 4 * std::size_t{internal::loadBigEndian16(d + header + 2)};
    else if (d[0] & 0x10u)
        header += kExtensionHeader;
    if (size < header) return fail(byteFault(FaultCode::RtpHeaderCutOff, 0, header, size));
    std::size_t padding = 0;
    if (d[0] & 0x20u) {
        // The last byte counts the padding, itself included.
        padding = d[size - 1];
        if (padding == 0 || padding > size - header)
            return fail(
                byteFault(FaultCode::RtpPaddingBeyondData, size - 1, size - header, padding));
    }
    RtpHeader h;
    h.marker = (d[1] & 0x80u) != 0;
    h.payloadType = static_cast<std::uint8_t>(d[1] & 0x7Fu);
    h.sequence = internal::loadBigEndian16(d + 2);
    h.timestamp = internal::loadBigEndian32(d + 4);
    h.ssrc = internal::loadBigEndian32(d + 8);
    h.payloadOffset = header;
    h.payloadSize = size - header - padding;
    return h;
}

void appendRtpHeader(const RtpHeader& header, std::vector<unsigned char>& out) {
    const std::size_t at = out.size();
    out.resize(at + kFixedHeader);
    unsigned char* d = out.data() + at;
    d[0] = kVersion << 6;
    d[1] = static_cast<unsigned char>((header.marker ? 0x80u : 0u) | (header.payloadType & 0x7Fu));
    internal::storeBigEndian16(d + 2, header.sequence);
    internal::storeBigEndian32(d + 4, header.timestamp);
    internal::storeBigEndian32(d + 8, header.ssrc);
}

/// Gives the faults of one RTP packet the packet's index in the open frame and keeps them with it.
class RtpDepacketiser::FrameFaults final : public FaultSink {
  public:
    explicit FrameFaults(RtpDepacketiser& owner) noexcept : owner_(owner) {}
    void report(const Fault& fault) override { owner_.report(fault); }

  private:
    RtpDepacketiser& owner_;
};

RtpDepacketiser::RtpDepacketiser(const RtpOptions& options) : options_(options) {}

void RtpDepacketiser::report(Fault fault) {
    fault.packet = static_cast<std::uint32_t>(segments_.size());
    faults_.push_back(fault);
}

void RtpDepacketiser::reportSequence(FaultCode code, std::size_t index, unsigned expected,
                                     unsigned found, bool kept) {
    faults_.push_back({.code = code,
                       .unit = FaultUnit::Packet,
                       .offset = index,
                       .packet = static_cast<std::uint32_t>(index),
                       .kept = kept,
                       .expected = expected,
                       .found = found});
}

void RtpDepacketiser::push(std::span<const unsigned char> datagram, RtpFrameSink& sink) {
    FrameFaults faults(*this);
    const auto header = readRtpHeader(datagram, &faults);
    if (!header) return;
    const std::uint16_t sequence = header->sequence;
    if (ssrc_ && header->ssrc != *ssrc_) {
        // Another synchronisation source: another sender, or the same one started again, whose
        // sequence numbers have nothing to do with those before.
        if (open_) {
            faults_.push_back({.code = FaultCode::RtpFrameUnclosed, .found = header->timestamp});
            close(false, sink);
        }
        handed_.reset();
        expected_.reset();
    }
    ssrc_ = header->ssrc;
    if (handed_) {
        const int back = distance(*handed_, sequence);
        if (back >= 0 && back <= kLateWindow)
            return reportSequence(FaultCode::RtpLatePacket, segments_.size(), *handed_, sequence);
    }
    if (open_ && header->timestamp != frame_.timestamp) {
        // The packets between the open frame's last and this one are the open frame's: a
        // frame starts behind its predecessor's marker.
        const auto next = static_cast<std::uint16_t>(highest_ + 1);
        if (distance(sequence, next) > 0)
            reportSequence(FaultCode::RtpPacketsLost, segments_.size(), next, sequence);
        faults_.push_back({.code = FaultCode::RtpFrameUnclosed, .found = header->timestamp});
        close(false, sink);
        expected_ = sequence;
    }
    const auto payload = datagram.subspan(header->payloadOffset, header->payloadSize);
    if (!open_) {
        open(*header, payload);
    } else if (distance(sequence, highest_) > 0) {
        highest_ = sequence;
    } else {
        const bool twice = std::any_of(segments_.begin(), segments_.end(),
                                       [&](const Segment& s) { return s.sequence == sequence; });
        if (twice)
            return reportSequence(FaultCode::RtpDuplicate, segments_.size(), sequence, sequence);
        reportSequence(FaultCode::RtpReordered, segments_.size(),
                       static_cast<std::uint16_t>(highest_ + 1), sequence, true);
        reordered_ = true;
    }
    detail::PacketSink packets(store_, used_);
    detail::scanRfc8331(payload, options_.convert, &faults, packets);
    const auto extended = readRfc8331Header(payload);
    segments_.push_back({sequence, extended ? extended->extendedSequenceNumber : std::uint16_t{0},
                         static_cast<std::uint32_t>(used_),
                         static_cast<std::uint32_t>(packets.used())});
    used_ = packets.used();
    if (header->marker) close(true, sink);
}

void RtpDepacketiser::open(const RtpHeader& header, std::span<const unsigned char> payload) {
    open_ = true;
    frame_.timestamp = header.timestamp;
    frame_.ssrc = header.ssrc;
    frame_.payloadType = header.payloadType;
    const auto fields = readRfc8331Header(payload);
    frame_.field = fields ? fields->field : std::uint8_t{0};
    highest_ = header.sequence;
}

void RtpDepacketiser::putInOrder() {
    // Sequence order around the first packet to arrive: up to 32,767 either side of it.
    const auto base = static_cast<std::uint16_t>(segments_.front().sequence - 0x8000u);
    std::sort(segments_.begin(), segments_.end(), [base](const Segment& a, const Segment& b) {
        return static_cast<std::uint16_t>(a.sequence - base) <
               static_cast<std::uint16_t>(b.sequence - base);
    });
    // The packets move by swaps into the spare list, which then becomes the store: no word is
    // copied, and both lists keep their elements' storage.
    if (spare_.size() < store_.size()) spare_.resize(store_.size());
    std::uint32_t at = 0;
    for (Segment& s : segments_) {
        const std::uint32_t begin = at;
        for (std::uint32_t i = s.begin; i < s.end; ++i) std::swap(spare_[at++], store_[i]);
        s.begin = begin;
        s.end = at;
    }
    std::swap(store_, spare_);
}

void RtpDepacketiser::close(bool marker, RtpFrameSink& sink) {
    if (reordered_) putInOrder();
    frame_.marker = marker;
    frame_.lost = false;
    std::optional<std::uint16_t> next = expected_;
    for (std::size_t k = 0; k < segments_.size(); ++k) {
        const Segment& s = segments_[k];
        if (next && s.sequence != *next && distance(s.sequence, *next) > 0)
            reportSequence(FaultCode::RtpPacketsLost, k, *next, s.sequence);
        next = static_cast<std::uint16_t>(s.sequence + 1);
    }
    frame_.lost = std::any_of(faults_.begin(), faults_.end(),
                              [](const Fault& f) { return f.code == FaultCode::RtpPacketsLost; });
    if (!segments_.empty()) {
        const Segment& first = segments_.front();
        frame_.sequence = std::uint32_t{first.extended} << 16 | first.sequence;
        handed_ = segments_.back().sequence;
    }
    frame_.rtpPackets = static_cast<std::uint32_t>(segments_.size());
    frame_.packets = std::span<const Packet>(store_.data(), used_);
    frame_.faults = faults_;
    if (options_.dropIncomplete && !frame_.complete())
        sink.dropped(frame_);
    else
        sink.frame(frame_);
    expected_ = std::nullopt;
    if (marker && handed_) expected_ = static_cast<std::uint16_t>(*handed_ + 1);
    open_ = false;
    reordered_ = false;
    used_ = 0;
    segments_.clear();
    faults_.clear();
    frame_ = {};
}

void RtpDepacketiser::finish(RtpFrameSink& sink) {
    if (open_) {
        faults_.push_back({.code = FaultCode::RtpFrameUnclosed, .expected = 1});
        close(false, sink);
    } else if (!faults_.empty()) {
        close(false, sink);
    }
    handed_.reset();
    expected_.reset();
    ssrc_.reset();
}

}  // namespace rdd18::host
