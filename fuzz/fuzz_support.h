// Shared pieces of the fuzz targets: the exact-size input copy, the invariant check that aborts,
// packet-buffer rewriting (flags on and off, a foreign packet put in at a packet boundary), and
// the check that an RDD 18 answer has only keys and value kinds its flavour's table allows.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "rdd18/interpret/interpret.h"
#include "rdd18/items/item_table.h"
#include "rdd18/items/rdd18_items.h"
#include "rdd18/items/varicam_items.h"
#include "rdd18/platform/value.h"
#include "rdd18/transport/ancillary_packet.h"

/// Aborts with a message when an invariant is broken; libFuzzer and the replay driver both treat
/// the abort as a finding.
#define VELMORA_FUZZ_CHECK(cond) \
    ((cond) ? (void)0 : ::rdd18::fuzz::invariantBroken(#cond, __FILE__, __LINE__))

namespace rdd18::fuzz {

using Bytes = std::vector<unsigned char>;

[[noreturn]] inline void invariantBroken(const char* what, const char* file, int line) {
    std::fprintf(stderr, "invariant broken: %s (%s:%d)\n", what, file, line);
    std::fflush(stderr);
    std::abort();
}

/// The fuzzer's bytes copied into a heap block of exactly their size, so that AddressSanitizer
/// reports a read one byte past the end (libFuzzer's own buffer may have slack behind it).
class InputCopy {
  public:
    InputCopy(const std::uint8_t* data, std::size_t size)
        : bytes_(new unsigned char[size]), size_(size) {
        if (size) std::memcpy(bytes_.get(), data, size);
    }
    const unsigned char* data() const noexcept { return bytes_.get(); }
    std::size_t size() const noexcept { return size_; }
    std::span<const unsigned char> span() const noexcept { return {bytes_.get(), size_}; }
    /// Byte `i` counted from the end, or `fallback` when the input is shorter.
    unsigned char fromEnd(std::size_t i, unsigned char fallback = 0) const noexcept {
        return i < size_ ? bytes_[size_ - 1 - i] : fallback;
    }

  private:
    std::unique_ptr<unsigned char[]> bytes_;
    std::size_t size_;
};

// --- packet buffers ------------------------------------------------------------------------------

inline constexpr unsigned char kFlagStandard[3] = {0x00, 0xFF, 0xFF};
inline constexpr unsigned char kFlagAlternate[3] = {0x04, 0xFB, 0xFB};

inline bool isFlag(const unsigned char* p) noexcept {
    return std::memcmp(p, kFlagStandard, 3) == 0 || std::memcmp(p, kFlagAlternate, 3) == 0;
}

/// Bytes a packet takes in a buffer: [flag] DID SDID DC payload checksum.
inline std::size_t packetExtent(const utils::AncillaryPacket& p, bool flags) noexcept {
    return (flags ? 3u : 0u) + 3u + p.payloadSize() + 1u;
}

/// Offset of the first byte behind the packet (its checksum included) in the buffer at `base`.
inline std::size_t packetEnd(const unsigned char* base, const utils::AncillaryPacket& p) noexcept {
    return static_cast<std::size_t>(p.payload - base) + p.payloadSize() + 1u;
}

inline void appendPacket(Bytes& out, const utils::AncillaryPacket& p, int flag) {
    if (flag == 1) out.insert(out.end(), kFlagStandard, kFlagStandard + 3);
    if (flag == 2) out.insert(out.end(), kFlagAlternate, kFlagAlternate + 3);
    out.insert(out.end(), {p.did, p.sdid, p.size});
    out.insert(out.end(), p.payload, p.payload + p.payloadSize());
    out.push_back(p.checksum);
}

/// True when the walk took every byte of the buffer into a packet: no bad flag, no tail.
inline bool walkIsExact(const std::vector<utils::AncillaryPacket>& packets, std::size_t size,
                        bool flags) noexcept {
    std::size_t total = 0;
    for (const auto& p : packets) total += packetExtent(p, flags);
    return total == size;
}

/// The same packets written again, without flags (`flagChoice` 0) or each behind a flag; with a
/// non-zero `flagChoice` its bits pick the flag pattern of each packet in turn.
inline Bytes rewritePackets(const std::vector<utils::AncillaryPacket>& packets,
                            unsigned flagChoice) {
    Bytes out;
    unsigned bits = flagChoice;
    for (const auto& p : packets) {
        const int flag = flagChoice == 0 ? 0 : 1 + static_cast<int>(bits & 1u);
        bits = (bits >> 1) | ((bits & 1u) << 7);
        appendPacket(out, p, flag);
    }
    return out;
}

/// `buffer` with `packet` put in at a place where the packet walk stands: the start of the buffer
/// or the end of one of its packets. `pick` chooses the place. The walk over the result finds the
/// same packets as before, with the new one among them.
inline Bytes insertAtPacketBoundary(std::span<const unsigned char> buffer,
                                    const std::vector<utils::AncillaryPacket>& packets,
                                    unsigned pick, const Bytes& packet) {
    std::size_t at = 0;
    const std::size_t place = pick % (packets.size() + 1);
    if (place > 0) at = packetEnd(buffer.data(), packets[place - 1]);
    Bytes out(buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(at));
    out.insert(out.end(), packet.begin(), packet.end());
    out.insert(out.end(), buffer.begin() + static_cast<std::ptrdiff_t>(at), buffer.end());
    return out;
}

/// A whole packet that a stream of (`did`, `sdid`) with payloads of at least `minPayload` bytes
/// never accepts. `selector` picks its DID and SDID among near misses and foreign kinds; its
/// payload is taken from `source`.
inline Bytes foreignPacket(std::uint8_t did, std::uint8_t sdid, std::size_t minPayload,
                           unsigned selector, std::span<const unsigned char> source, bool flags) {
    std::uint8_t d = did, s = sdid;
    std::size_t maxPayload = 255;
    switch (selector % 5) {
        case 0:
            maxPayload = minPayload - 1;
            break;  // our own kind, too short to be taken
        case 1:
            s = static_cast<std::uint8_t>(sdid + 1);
            break;
        case 2:
            d = static_cast<std::uint8_t>(did + 1);
            break;
        case 3:
            d = 0x43 + 0x44 - did;
            s = 0x05 + 0x04 - sdid;
            break;  // the other format's kind
        default:
            d = static_cast<std::uint8_t>(selector >> 3);
            s = static_cast<std::uint8_t>(selector >> 11);
            if (d == did && s == sdid) maxPayload = minPayload - 1;
            break;
    }
    const std::size_t n =
        std::min({maxPayload, source.size(), std::size_t{(selector >> 5) & 0xFF}});
    Bytes out;
    if (flags) out.insert(out.end(), kFlagAlternate, kFlagAlternate + 3);
    out.insert(out.end(), {d, s, static_cast<unsigned char>(n)});
    out.insert(out.end(), source.begin(), source.begin() + static_cast<std::ptrdiff_t>(n));
    out.push_back(static_cast<unsigned char>(selector));
    return out;
}

// --- value kinds of the RDD 18 answer
// -------------------------------------------------------------

inline bool isNumberOf(const Value& v, NumberKind kind) {
    return v.isNumber() && v.number().kind() == kind;
}

inline bool isUnsignedIntegerUpTo(const Value& v, std::uint64_t max) {
    return isNumberOf(v, NumberKind::Integer) && v.number().int64Value() >= 0 &&
           static_cast<std::uint64_t>(v.number().int64Value()) <= max;
}

inline bool hasExactly(const Dictionary& d, std::initializer_list<std::string_view> keys) {
    if (d.size() != keys.size()) return false;
    return std::all_of(keys.begin(), keys.end(), [&](std::string_view k) { return d.contains(k); });
}

/// `matches(value)`: the value has the kind that the translation of payload type `T` gives.
template <class T>
struct DemandedKind;

template <>
struct DemandedKind<Uint16> {
    static bool matches(const Value& v) { return isUnsignedIntegerUpTo(v, 0xFFFF); }
};
template <>
struct DemandedKind<unsigned char> {
    static bool matches(const Value& v) { return isUnsignedIntegerUpTo(v, 0xFF); }
};
template <>
struct DemandedKind<Int16> {
    static bool matches(const Value& v) { return isNumberOf(v, NumberKind::Short); }
};
template <>
struct DemandedKind<Uint32> {
    static bool matches(const Value& v) { return isNumberOf(v, NumberKind::UnsignedInt); }
};
template <>
struct DemandedKind<Boolean> {
    static bool matches(const Value& v) { return isNumberOf(v, NumberKind::Bool); }
};
template <>
struct DemandedKind<HalfFloatLensSerial> {
    // Every bit pattern is a finite decimal number, and this format has no sign.
    static bool matches(const Value& v) {
        return isNumberOf(v, NumberKind::Double) && std::isfinite(v.number().doubleValue()) &&
               !std::signbit(v.number().doubleValue());
    }
};
template <>
struct DemandedKind<std::string> {
    // The text ends at the first zero byte of the payload, so it never holds one.
    static bool matches(const Value& v) {
        return v.isString() && v.string().find('\0') == std::string::npos;
    }
};
template <>
struct DemandedKind<Label> {
    static bool matches(const Value& v) {
        if (!v.isDictionary() || !hasExactly(v.dictionary(), {"value0", "value1"})) return false;
        return isNumberOf(v.dictionary().at("value0"), NumberKind::UnsignedChar) &&
               isNumberOf(v.dictionary().at("value1"), NumberKind::UnsignedChar);
    }
};
template <>
struct DemandedKind<Rational> {
    static bool matches(const Value& v) {
        if (!v.isDictionary() || !hasExactly(v.dictionary(), {"den", "num"})) return false;
        return isNumberOf(v.dictionary().at("den"), NumberKind::UnsignedInt) &&
               isNumberOf(v.dictionary().at("num"), NumberKind::UnsignedInt);
    }
};
template <>
struct DemandedKind<std::vector<Rational>> {
    // The 16-bit item length bounds the count: (65535 - 8) / 8.
    static bool matches(const Value& v) {
        return v.isArray() && v.array().size() <= 8190 &&
               std::all_of(v.array().begin(), v.array().end(), DemandedKind<Rational>::matches);
    }
};
template <>
struct DemandedKind<std::vector<HalfFloat>> {
    static bool matches(const Value& v) {
        return v.isArray() && v.array().size() <= 32763 &&
               std::all_of(v.array().begin(), v.array().end(), [](const Value& e) {
                   return isNumberOf(e, NumberKind::Double) &&
                          std::isfinite(e.number().doubleValue());
               });
    }
};
template <>
struct DemandedKind<ByteVector> {
    static bool matches(const Value& v) { return v.isData() && v.data().size() <= 0xFFFF; }
};
template <>
struct DemandedKind<VaricamExtendedMetadata> {
    static bool matches(const Value& v) {
        if (!v.isDictionary()) return false;
        const Dictionary& d = v.dictionary();
        if (!hasExactly(
                d, {"clipNameValid", "cameraId", "reelCounter", "clipCounter", "filenameStyle"}))
            return false;
        const Value& style = d.at("filenameStyle");
        return isNumberOf(d.at("clipNameValid"), NumberKind::UnsignedChar) &&
               isNumberOf(d.at("cameraId"), NumberKind::UnsignedChar) &&
               isNumberOf(d.at("reelCounter"), NumberKind::UnsignedShort) &&
               isNumberOf(d.at("clipCounter"), NumberKind::UnsignedShort) && style.isString() &&
               (style.string() == "P2" || style.string() == "CINE" || style.string() == "UNKNOWN");
    }
};

using KindCheck = bool (*)(const Value&);

/// Item name -> the check of the kind its payload type demands, built from a flavour's table.
template <class Table>
struct TableKinds;
template <class... Rows>
struct TableKinds<ItemTable<Rows...>> {
    static const std::map<std::string, KindCheck, std::less<>>& byName() {
        static const std::map<std::string, KindCheck, std::less<>> kinds{
            {std::string(Rows::name()),
             &DemandedKind<typename Rows::ItemType::PayloadType>::matches}...};
        return kinds;
    }
    static bool hasTag(rdd18::tag t) {
        constexpr auto tags = ItemTable<Rows...>::tags();
        return std::find(tags.begin(), tags.end(), t) != tags.end();
    }
};

/// The key an item of an unregistered tag gets: "Unknown_0x%02x_0x%02x".
inline std::string unknownKey(rdd18::tag t) {
    char key[32];
    std::snprintf(key, sizeof key, "Unknown_0x%02x_0x%02x", t.first, t.second);
    return key;
}

/// The tag of a key of the form "Unknown_0x%02x_0x%02x" with lower-case hex digits, or nothing.
inline std::optional<rdd18::tag> tagOfUnknownKey(std::string_view key) {
    constexpr std::string_view kPrefix = "Unknown_0x";
    constexpr std::string_view kMiddle = "_0x";
    if (key.size() != kPrefix.size() + 2 + kMiddle.size() + 2) return std::nullopt;
    if (key.substr(0, kPrefix.size()) != kPrefix || key.substr(12, kMiddle.size()) != kMiddle)
        return std::nullopt;
    auto hex = [](char c) -> int {
        if (c >= '0' && c <= '9') return c - '0';
        if (c >= 'a' && c <= 'f') return c - 'a' + 10;
        return -1;
    };
    const int d[4] = {hex(key[10]), hex(key[11]), hex(key[15]), hex(key[16])};
    if (std::any_of(d, d + 4, [](int x) { return x < 0; })) return std::nullopt;
    return make_tag(static_cast<unsigned char>(d[0] * 16 + d[1]),
                    static_cast<unsigned char>(d[2] * 16 + d[3]));
}

/// Every key is an item name of the flavour's table with a value of the kind its payload type
/// demands, or the "Unknown_" key of a tag the table lacks, holding data of at most 65535 bytes.
template <class Table>
void checkRdd18Answer(const Dictionary& answer) {
    const auto& kinds = TableKinds<Table>::byName();
    for (const auto& [key, value] : answer) {
        if (const auto it = kinds.find(key); it != kinds.end()) {
            VELMORA_FUZZ_CHECK(it->second(value));
            continue;
        }
        const std::optional<rdd18::tag> t = tagOfUnknownKey(key);
        VELMORA_FUZZ_CHECK(t.has_value());
        VELMORA_FUZZ_CHECK(!TableKinds<Table>::hasTag(*t));
        VELMORA_FUZZ_CHECK(DemandedKind<ByteVector>::matches(value));
    }
}

/// `answer` with each name of `Own`'s rows replaced by the "Unknown_" key of the row's tag: what
/// a flavour without those rows gives for the same items, when their payload needs no decoding.
template <class Own>
struct RenameToUnknown;
template <class... Rows>
struct RenameToUnknown<ItemTable<Rows...>> {
    static Dictionary apply(const Dictionary& answer) {
        static const std::map<std::string, std::string, std::less<>> keys{
            {std::string(Rows::name()), unknownKey(Rows::ItemType::Tag())}...};
        Dictionary out;
        for (const auto& [key, value] : answer) {
            const auto it = keys.find(key);
            out.set(it == keys.end() ? key : it->second, value);
        }
        return out;
    }
};

/// `answer` without the entries under the names of `Own` and under the "Unknown_" keys of its tags.
template <class Own>
struct WithoutRows;
template <class... Rows>
struct WithoutRows<ItemTable<Rows...>> {
    static Dictionary apply(const Dictionary& answer) {
        Dictionary out;
        for (const auto& [key, value] : answer) {
            const bool own =
                ((key == Rows::name() || key == unknownKey(Rows::ItemType::Tag())) || ...);
            if (!own) out.set(key, value);
        }
        return out;
    }
};

/// The interpreted view of any answer: no field holds a NaN or an infinity, and the dictionary
/// form reads back to the same model.
inline void checkCameraModel(const interpret::CameraModel& model) {
    for (const auto& f : interpret::numberFields()) {
        if (const auto& v = model.*f.member) VELMORA_FUZZ_CHECK(std::isfinite(*v));
    }
    VELMORA_FUZZ_CHECK(interpret::fromDictionary(interpret::toDictionary(model)) == model);
}

}  // namespace rdd18::fuzz
