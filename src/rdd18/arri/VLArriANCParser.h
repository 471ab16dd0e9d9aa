// The ARRI facade: one dictionary of file header metadata per frame.
#pragma once

#include <span>

#include "rdd18/arri/arri_file_header.h"
#include "rdd18/export.h"
#include "rdd18/platform/value.h"
#include "rdd18/transport/ancillary_packet.h"
#include "rdd18/transport/fault.h"

/// Parses the ARRI ancillary metadata of one frame into a dictionary.
///
/// The frame's ARRI packets (DID 0x44, SDID 0x04) are joined into a stream of KLV items; only the
/// first item under `rdd18::arri::ArriAncMetadataKey` is used, and its first 4096 bytes are
/// translated as an `rdd18::arri::ArriFileHeader` record. Every other item, the look-up table
/// item included, is skipped.
///
/// The parser holds no state: it is default-constructible and copyable, and one parser can serve
/// any number of frames and threads at once.
///
/// Bad input never throws and never reads outside the given bytes: a frame without ARRI packets,
/// without a metadata item, with a metadata value below 4096 bytes, with a packet numbering that
/// breaks before that value is complete, or with a bad key or length field anywhere in the
/// stream (also behind a complete record) gives an empty dictionary. Only allocation failure
/// leaves a parse as an exception.
class VELMORA_RDD18_EXPORT VLArriANCParser {
  public:
    /// Parses a buffer whose packets each carry the 3-byte ancillary data flag.
    rdd18::Dictionary parseData(std::span<const unsigned char> bytes) const;
    /// Parses a buffer; `flags` says whether its packets carry the 3-byte flag.
    rdd18::Dictionary parseData(std::span<const unsigned char> bytes, bool flags) const;
    /// `parseData`, reporting the faults of the same pass to `faults`: every place the wire rules
    /// dropped data, and a closing fault when the frame holds no ARRI packet
    /// (`NoStreamPackets`), no whole record (`NoMetadataItem`, `RecordTooShort`) or the parse
    /// lost the answer (`ArriParseFailed`). The answer is the one `parseData` gives.
    rdd18::Dictionary parseData(std::span<const unsigned char> bytes, bool flags,
                                rdd18::FaultSink& faults) const;
    /// Parses the packets that `packets` hands out (for example a packet list through
    /// `rdd18::host::PacketListReader`), as the packets of a buffer are parsed, reporting to
    /// `faults` when given.
    rdd18::Dictionary parseData(rdd18::AncillaryDataReader& packets,
                                rdd18::FaultSink* faults = nullptr) const;

    /// Parses the bytes of an ARRIRAW frame file (`.ari`): its first 4096 bytes are the record,
    /// starting with the magic "ARRI", and are translated as the record of an ancillary frame
    /// is, so the answer equals `parseData`'s for the same record. Bytes behind the record (the
    /// picture) are never read and may be left out: `file` may hold the first 4096 bytes only.
    ///
    /// Bad input never throws and never reads outside `file`: bytes that don't start with
    /// "ARRI", or that end before the record does, give an empty dictionary.
    rdd18::Dictionary parseFile(std::span<const unsigned char> file) const;
    /// `parseFile`, reporting why an answer is empty to `faults`: `NotArriRawFile` when `file`
    /// doesn't start with "ARRI" (its first bytes, as many as there are up to 4, don't match),
    /// else `FileCutShort` when it holds fewer than 4096 bytes. The answer is the one `parseFile`
    /// gives.
    rdd18::Dictionary parseFile(std::span<const unsigned char> file,
                                rdd18::FaultSink& faults) const;

    /// Translates a file header record into a dictionary; `header` must point to 4096 readable
    /// bytes (a null pointer gives an empty dictionary). Every bit pattern is accepted.
    ///
    /// Always present (54 keys):
    /// - unsigned int: "rawImageWidth", "rawImageHeight", "activeImageLeft", "activeImageTop",
    ///   "activeImageWidth", "activeImageHeight", "whiteBalance", "wbAppliedInCamera", "ASA",
    ///   "blackLevel", "whiteLevel", "flip", "cameraInfoMainVoltage", "cameraInfoOnBoardVoltage";
    /// - float, as stored (NaN and infinity included): "greenTintFactor", "whiteBalanceFactorR",
    ///   "whiteBalanceFactorG", "whiteBalanceFactorB", "pixelAspectRatio", "cdlSlopeR/G/B",
    ///   "cdlOffsetR/G/B", "cdlPowerR/G/B"; "colorMatrix" is an array of 12 floats in record order;
    /// - float, thousandths divided in single precision: "shutterAngle", "sensorFps", "projectFps";
    /// - int, from BCD bytes (10 x high nibble + low nibble, nibbles above 9 not refused):
    ///   "tcHours", "tcMinutes", "tcSeconds", "tcFrames"; bool: "tcDropFrame";
    /// - string: "firmwareVersion" (unsigned decimal), "serialNumber" (signed decimal),
    ///   "cameraID", and the text fields "lookFile", "cameraModel", "recorderType", "supName",
    ///   "reelName", "sceneName", "takeName", "director", "DoP", "production", "company",
    ///   "clipNotes", "clipName";
    /// - "NDFilter": a dictionary of "type" (unsigned short) and "density" (double, thousandths).
    ///
    /// Present only with lens data (focus distance not 0 and iris word not 0xFFFFFFFF), as a group:
    /// "lensDataFocusDistance" (float, metres; infinity for 0xFFFFFFFF), "lensDataFocalLength"
    /// (double), "lensDataApertureTstop" (double; NaN for a stop index beyond the table),
    /// "lensDataApertureSecondValue" (unsigned long), "lensModel" (string).
    ///
    /// Present unless their word is 0xFFFFFFFF: "vfxInfoPan", "vfxInfoTilt", "vfxInfoRoll"
    /// (double, the low 16 bits as a signed number of tenths).
    ///
    /// Text: a text field whose first byte is 0xFF is unset and gives the empty string; otherwise
    /// its text ends at the first NUL or at the field's width. Every 8-bit character of the record
    /// (text fields and "cameraID") is decoded as ISO 8859-1 (Latin-1) into UTF-8: bytes up to
    /// 0x7F are themselves, bytes 0x80-0xFF become the Latin-1 character of that code, so nothing
    /// is dropped. "cameraID" is always exactly four characters, from the camera ID word's bytes
    /// from the most significant to the least (the reverse of their order in the record); a NUL
    /// byte among them stays in the string as the character U+0000 and does not end it.
    rdd18::Dictionary translateFileHeaderToDictionary(
        const rdd18::arri::ArriFileHeader* header) const;

  private:
    rdd18::Dictionary parseFile(std::span<const unsigned char> file,
                                rdd18::FaultSink* faults) const;
    rdd18::Dictionary parse(std::span<const unsigned char> bytes, bool flags,
                            rdd18::FaultSink* faults) const;
    rdd18::Dictionary parse(rdd18::AncillaryDataReader& packets, rdd18::FaultSink* faults) const;
};

namespace rdd18 {
/// The ARRI facade under the library's namespace.
using ArriParser = ::VLArriANCParser;
}  // namespace rdd18
