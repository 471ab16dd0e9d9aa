// Faults: every place a layer of the library drops, fills or flags data on bad input, as a value.
//
// A fault is a stable code, where it happened (an offset in the unit the layer counts in, a packet
// index, a line, an item tag, a packet's identifiers) and what was expected and found. Every layer
// that meets bad input reports to one `FaultSink` when the caller passed one, and stays silent
// (and as fast) when it did not. Text is made from the value in one place, `describe`.
//
// It sits with the transport, the lowest layer that reports, so that every layer above (items,
// ARRI, the facades, the host converters) reports through it without climbing.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "rdd18/export.h"

namespace rdd18 {

/// The layer that met a fault.
enum class FaultLayer : std::uint8_t {
    PacketWalk,  ///< the walk over a buffer of ancillary packets
    Stream,      ///< the join of a stream's packets (numbering, no packets at all)
    Items,       ///< RDD 18 packs and items
    Arri,        ///< the ARRI KLV loop and record
    Host,        ///< a host converter: packet lists, 10-bit words, VANC lines, RFC 8331
    St436m,      ///< an ST 436M ANC data element
    Rtmd,        ///< a sample of an MP4/MOV timed-metadata track of RDD 18 packs
    Rtp,         ///< a flow of RTP packets carrying ancillary data
    Encode,      ///< the writer: an answer turned back into items, records and packets
};

/// What went wrong. The numbers are stable: a code keeps its number across releases, and new
/// codes get new numbers. The hundreds tell the layer. The comment of each code says what the
/// fault's fields hold (fields it doesn't name are 0).
enum class FaultCode : std::uint16_t {
    // --- packet walk: `offset` is a byte offset in the caller's buffer
    BadFlag = 100,        ///< 3 bytes (`found`: a run's length) that are no ancillary data flag;
                          ///< the walk goes on behind them
    ShortTail = 101,      ///< `found` bytes at `offset`, too few for a packet; ignored
    PacketOverrun = 102,  ///< the packet at `offset` needs `expected` payload bytes (its DC) and a
                          ///< checksum, but only `found` bytes follow its header; the rest is
                          ///< ignored

    // --- streams: `did`/`sdid` name the stream
    SequenceBroken = 200,   ///< the packet at `offset` (a byte offset, or a packet index when
                            ///< `unit` is Packet) carries `found`, not `expected`; the stream ends
                            ///< behind the packet before it
    NoStreamPackets = 201,  ///< none of the `found` packets is one of the stream's; `withoutFlags`
                            ///< when the buffer was read without flags

    // --- RDD 18 packs and items: `offset` is a stream position, `tag` the item's tag
    KeyRejected = 300,          ///< 16 bytes read as a pack key don't start with 06 0E 2B 34
                                ///< (`found`: their first 4 bytes, big-endian); passed over
    PackKeyCutOff = 301,        ///< the stream ends inside the 16-byte key of a pack
    PackLengthCutOff = 302,     ///< the stream ends inside the 4-byte length field of a pack
    ItemHeaderCutOff = 303,     ///< the stream ends inside the tag or length of an item
    PayloadTooShort = 304,      ///< the item's length field (`found`) is below its type's size
                                ///< (`expected`)
    PayloadCutOff = 305,        ///< the stream ends inside the item's `expected`-byte value
    VectorShapeRejected = 306,  ///< a counted vector of length `found` whose header isn't element
                                ///< size `expected` and a count that fills the payload
    TextCutOff = 307,           ///< the stream ends inside the item's `expected` bytes of text
    PayloadZeroFilled = 308,    ///< the stream ends inside the item's raw `expected` bytes; the
                                ///< missing bytes are given as zeros, the item is kept
    ItemsLost = 309,            ///< one of the faults above ended the parse: every item is dropped

    // --- ARRI: `offset` is a stream position
    ArriKeyCutOff = 400,     ///< the stream ends inside the 16-byte key of an item
    ArriLengthCutOff = 401,  ///< the stream ends inside the 4-byte length field of an item
    BadLengthMarker = 402,   ///< the length field starts with `found`, not 0x83
    ValueIncomplete = 403,   ///< a value of `expected` bytes ends after `found`; dropped
    ArriParseFailed = 404,   ///< one of the faults above ended the parse: the answer is empty
    NoMetadataItem = 405,    ///< no complete item under the metadata key
    RecordTooShort = 406,    ///< the first metadata item has `found` bytes, needs `expected`
    // ARRIRAW frame files (`offset` 0): the file holds the record at its start
    NotArriRawFile = 407,  ///< the file doesn't start with "ARRI" (`found`: its first bytes, up
                           ///< to 4, big-endian)
    FileCutShort = 408,    ///< the file ends after `found` bytes, inside the `expected`-byte record

    // --- host converters: `offset` in `unit`; `line`, `did`, `sdid` when known; `kept` when the
    // packet was delivered anyway
    BadParity = 500,        ///< a word whose b8 isn't the even parity of b0-b7, or b9 not b8's
                            ///< inverse
    BadChecksum = 501,      ///< a checksum word or byte that isn't the sum of the others
    HeaderCutOff = 502,     ///< the data ends inside a packet's header (flag, DID, SDID, DC)
    CountBeyondData = 503,  ///< a DC or ANC_Count promises more than the data holds
    ShortLine = 504,        ///< a VANC line holds fewer bytes than its width needs
    LengthMismatch = 505,   ///< an RFC 8331 Length field (`found`) that disagrees with the
                            ///< payload's size (`expected`)
    TooManyWords = 506,     ///< a packet of `found` user data words (more than 255) has no 8-bit
                            ///< form

    // --- ST 436M elements: `packet` is the packet's index in the element, `line` its line
    ElementCountBeyondData = 600,  ///< the packet count promises more packets than the element
                                   ///< holds; the rest is lost
    ArrayBeyondData = 601,         ///< a packet's array count runs past the end of the element
    ElementSizeNotOne = 602,       ///< element size `found`, not 1
    VbiCoding = 603,               ///< coding `found` (1-3) is a 1-bit VBI line, not ANC
    UnknownCoding = 604,           ///< coding `found` is outside 1-12
    SamplesBeyondArray = 605,      ///< the sample count needs more bytes than the array count
    PacketTooShort = 606,          ///< fewer samples than DID, SDID, DC and the DC user data words

    // --- rtmd samples: `offset` is a byte offset in the sample
    RtmdHeaderBeyondSample = 700,  ///< the header needs `expected` bytes (2 for its length field,
                                   ///< else its length), the sample has `found`; no packs
    RtmdHeaderTooShort = 701,      ///< header length `found`, below its own 2-byte field; no packs
    RtmdPackCutOff = 702,          ///< the pack at `offset` needs `expected` bytes, `found` are
                                   ///< left; the packs are read as a cut stream
    RtmdNoPacks = 703,             ///< the `found` bytes behind the header at `offset` are zeros

    // --- RTP flows: `packet` is the RTP packet's index in its frame, in arrival order; header
    // faults count bytes of the datagram (`offset` of the field), the others RTP packets (unit
    // Packet, `offset` = `packet`); sequence numbers are the RTP header's 16 bits
    RtpHeaderCutOff = 800,       ///< the datagram of `found` bytes ends inside the RTP header,
                                 ///< its CSRC list or its header extension (`expected` bytes);
                                 ///< dropped
    RtpVersionNotTwo = 801,      ///< version `found`, not 2; dropped
    RtpPaddingBeyondData = 802,  ///< a padding count (`found`) of 0 or beyond the `expected`
                                 ///< bytes behind the header; dropped
    RtpPacketsLost = 803,        ///< sequence number `expected` never came: the packet at `offset`
                                 ///< carries `found`; the frame is incomplete
    RtpDuplicate = 804,          ///< sequence number `found` arrived twice in the frame; dropped
    RtpReordered = 805,          ///< `found` came after a later packet (`expected` is one past the
                                 ///< highest then); put back in sequence order, kept
    RtpLatePacket = 806,         ///< `found` is at or before the last packet (`expected`) of a
                                 ///< frame already handed back: a duplicate or a late packet;
                                 ///< dropped
    RtpFrameUnclosed = 807,      ///< the frame ended without its marker bit: a new timestamp
                                 ///< (`found`) or the end of the flow (`found` 0, `expected` 1)
                                 ///< closed it; it may be incomplete

    // --- the writer: an answer refused (see encode_error.h); `tag` the RDD 18 item's tag where
    // the key names one
    NotAnAnswer = 900,     ///< a value of the wrong shape: an answer or dictionary value that
                           ///< isn't a dictionary, an array value that isn't an array
    UnknownKey = 901,      ///< a key the flavour or record has no place for (another flavour's
                           ///< key, a misspelt name, a known tag under an Unknown_ key)
    WrongKind = 902,       ///< a value of a kind the key can't hold (text for a number, a
                           ///< floating number for an integer item, ...)
    OutOfRange = 903,      ///< a number outside the key's wire range (`found` the value where it
                           ///< is an integer)
    NoExactCode = 904,     ///< a number no code of the wire gives back exactly
    TextTooLong = 905,     ///< text or data of `found` bytes where the item holds `expected`
    UnwritableText = 906,  ///< text the wire can't give back: a character beyond Latin-1, a NUL
                           ///< inside, a first character that marks a field unset
    KeyMissing = 907,      ///< a key the others need is missing (a field of a dictionary value,
                           ///< one of the lens keys of a record)
    StreamTooLarge = 908,  ///< a stream of `found` bytes, more than its packets carry
                           ///< (`expected`)
};

/// The unit `Fault::offset` counts in.
enum class FaultUnit : std::uint8_t {
    Byte,            ///< bytes of the caller's buffer or payload
    StreamPosition,  ///< bytes of a joined stream (`utils::Reader::position`)
    Packet,          ///< packets, from 0
    Word,            ///< 10-bit words, from 0
    Sample,          ///< samples of a VANC line, from 0
};

/// One fault. Plain data, cheap to copy; the code says which fields hold something.
struct Fault {
    FaultCode code{};
    FaultUnit unit = FaultUnit::Byte;
    std::uint64_t offset = 0;  ///< where, in `unit`
    std::uint32_t packet = 0;  ///< index of the packet (ST 436M: in the element)
    std::uint16_t line = 0;    ///< the video line, 0 when unknown
    std::uint8_t did = 0;      ///< of the packet or stream, when known
    std::uint8_t sdid = 0;
    std::uint8_t tag[2] = {0, 0};  ///< the RDD 18 item's tag bytes
    bool kept = false;             ///< host converters: the packet was delivered anyway
    bool withoutFlags = false;     ///< NoStreamPackets: the buffer was read without flags
    std::uint64_t expected = 0;
    std::uint64_t found = 0;

    /// The layer of the code.
    FaultLayer layer() const noexcept { return layerOf(code); }

    static constexpr FaultLayer layerOf(FaultCode code) noexcept {
        return static_cast<FaultLayer>(static_cast<unsigned>(code) / 100 - 1);
    }

    friend bool operator==(const Fault&, const Fault&) = default;
};

/// Where the layers report. A sink must not throw.
class VELMORA_RDD18_EXPORT FaultSink {
  public:
    virtual void report(const Fault& fault) = 0;

  protected:
    ~FaultSink() = default;
};

/// A sink that keeps the faults in the order met. Adjacent bad flags (each 3 bytes, one behind
/// the other) are kept as one fault whose `found` is the run's length, so a buffer of rubbish
/// costs one fault, not one per 3 bytes.
class VELMORA_RDD18_EXPORT FaultList final : public FaultSink {
  public:
    void report(const Fault& fault) override;

    const std::vector<Fault>& faults() const noexcept { return faults_; }
    std::vector<Fault> take() noexcept { return std::move(faults_); }
    bool empty() const noexcept { return faults_.empty(); }

  private:
    std::vector<Fault> faults_;
};

/// The unit's name in the text of a fault: "byte", "stream position", "packet", "word", "sample".
VELMORA_RDD18_EXPORT const char* unitName(FaultUnit unit) noexcept;

/// The name of a code, as written in the code ("BadFlag"); "" for a number that is no code.
VELMORA_RDD18_EXPORT std::string_view codeName(FaultCode code) noexcept;

/// One line of text for `fault`, with its numbers, e.g. "RDD 18 stream: the packet at byte 12
/// breaks the sequence (expected 2, found 3); the stream ends behind the packet before it".
VELMORA_RDD18_EXPORT std::string describe(const Fault& fault);

/// `describe` of each fault.
VELMORA_RDD18_EXPORT std::vector<std::string> describe(const std::vector<Fault>& faults);

}  // namespace rdd18
