// A receiver of OTrk datagrams from one sender, as render engines read them: it checks each
// datagram, drops a repeat of the previous sequence number and puts segments back together.
#pragma once

#include <optional>
#include <span>
#include <vector>

#include "rdd18/transport/otrk.h"

namespace rdd18::testsupport {

enum class OtrkOutcome {
    Accepted,   ///< a whole sample is complete: `sample()` holds it
    Buffered,   ///< a segment that isn't the last one, kept
    Rejected,   ///< a bad identifier, length or checksum, or a segment that follows nothing
    Duplicate,  ///< the same sequence number as the datagram before
    Discarded,  ///< a segment that doesn't continue the kept ones: they are thrown away
    Ignored,    ///< a vendor's encoding (0x80 and up)
};

class OtrkReader {
  public:
    OtrkOutcome read(std::span<const unsigned char> datagram) {
        const auto header = otrk::readHeader(datagram);
        if (!header || !otrk::checksumOk(datagram)) return OtrkOutcome::Rejected;
        if (previous_ == header->sequence) return OtrkOutcome::Duplicate;
        previous_ = header->sequence;
        if (header->encoding >= 0x80) return OtrkOutcome::Ignored;
        const auto segment = datagram.subspan(otrk::kHeaderSize);
        if (header->offset == 0) {
            buffer_.emplace(segment.begin(), segment.end());
            encoding_ = header->encoding;
        } else if (buffer_ && header->offset == buffer_->size() && header->encoding == encoding_) {
            buffer_->insert(buffer_->end(), segment.begin(), segment.end());
        } else {
            const bool lost = buffer_.has_value();
            buffer_.reset();
            return lost ? OtrkOutcome::Discarded : OtrkOutcome::Rejected;
        }
        if (!header->last) return OtrkOutcome::Buffered;
        sample_ = std::move(*buffer_);
        buffer_.reset();
        return OtrkOutcome::Accepted;
    }
    /// The sample of the last `Accepted` datagram and its encoding byte.
    const std::vector<unsigned char>& sample() const { return sample_; }
    std::uint8_t encoding() const { return encoding_; }

  private:
    std::optional<std::uint16_t> previous_;
    std::optional<std::vector<unsigned char>> buffer_;  // the segments kept so far
    std::vector<unsigned char> sample_;
    std::uint8_t encoding_ = 0;
};

}  // namespace rdd18::testsupport
