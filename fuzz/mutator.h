// Structure-aware mutation for libFuzzer. A frame target's input is read back into its stream (by
// the model's packet walk), the stream bytes are mutated with libFuzzer's own mutator, the KLV
// lengths are made to fit again, and the stream is packed into fresh packets: numbered 1, 2, ...,
// of a chosen size, with or without flags, now and then with a foreign packet among them. So most
// inputs get past the packet and pack layers and exercise the item and record decoding. One
// mutation in eight is libFuzzer's plain one, and one in four keeps the lengths as mutated, so
// broken framing is still tried.
//
// VELMORA_FUZZ_FRAME_MUTATOR(kind) defines LLVMFuzzerCustomMutator for a target that reads whole
// frames; VELMORA_FUZZ_STREAM_MUTATOR() for one that reads a bare RDD 18 stream. Both expand to
// nothing in the replay build, which has no libFuzzer.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "model/rdd18_model.h"
#include "model/stream_model.h"

namespace rdd18::fuzz {

enum class FrameKind { Rdd18, Arri };

namespace mutation {

using Bytes = std::vector<unsigned char>;

/// The largest RDD 18 stream: 255 packets of 254 stream bytes.
inline constexpr std::size_t kMaxRdd18Stream = 255 * 254;

struct Random {
    std::uint32_t state;
    std::uint32_t next() {
        state ^= state << 13;
        state ^= state >> 17;
        state ^= state << 5;
        return state;
    }
    bool oneIn(std::uint32_t n) { return next() % n == 0; }
};

inline void putBigEndian(unsigned char* p, std::uint32_t v, int n) {
    for (int i = n - 1; i >= 0; --i, v >>= 8) p[i] = static_cast<unsigned char>(v);
}

/// Gives the first pack's length and each item's length values that fit the stream, and now and
/// then gives an item the tag of a row of one of the tables.
inline void repairRdd18(Bytes& s, Random& rng) {
    if (s.size() < 20 || s[0] != 0x06 || s[1] != 0x0E || s[2] != 0x2B || s[3] != 0x34) return;
    std::size_t packEnd = 20 + std::min<std::size_t>(model::bigEndian(&s[17], 3), s.size() - 20);
    std::vector<std::size_t> items;
    std::size_t at = 20;
    for (; at + 4 <= packEnd;) {
        items.push_back(at);
        const std::size_t n =
            std::min<std::size_t>(model::bigEndian(&s[at + 2], 2), packEnd - at - 4);
        putBigEndian(&s[at + 2], static_cast<std::uint32_t>(n), 2);
        at += 4 + n;
    }
    s[16] = 0x83;
    putBigEndian(&s[17], static_cast<std::uint32_t>(at - 20), 3);
    if (!items.empty() && rng.oneIn(4)) {
        const std::size_t item = items[rng.next() % items.size()];
        constexpr std::size_t kRows = std::size(model::kStandardRows) +
                                      std::size(model::kSonyRows) + std::size(model::kVaricamRows);
        std::size_t pick = rng.next() % kRows;
        const model::Row* row = nullptr;
        if (pick < std::size(model::kStandardRows)) {
            row = &model::kStandardRows[pick];
        } else if ((pick -= std::size(model::kStandardRows)) < std::size(model::kSonyRows)) {
            row = &model::kSonyRows[pick];
        } else {
            row = &model::kVaricamRows[pick - std::size(model::kSonyRows)];
        }
        s[item] = row->first;
        s[item + 1] = row->second;
    }
}

/// The ARRI items of a stream, each key, length and value back to back without the padding
/// behind them, with the 0x83 marker and each length made to fit.
inline Bytes repairArri(const Bytes& s) {
    Bytes out;
    std::size_t at = 0;
    while (at + 20 <= s.size()) {
        const std::size_t n =
            std::min<std::size_t>(model::bigEndian(&s[at + 17], 3), s.size() - at - 20);
        out.insert(out.end(), s.begin() + static_cast<std::ptrdiff_t>(at),
                   s.begin() + static_cast<std::ptrdiff_t>(at + 20 + n));
        out[out.size() - n - 4] = 0x83;
        putBigEndian(&out[out.size() - n - 3], static_cast<std::uint32_t>(n), 3);
        at += 20 + n;
    }
    return out;
}

/// Items of an ARRI stream as the KLV loop finds them (padding dropped), for mutation.
inline Bytes arriItems(const model::Stream& s) {
    Bytes out;
    std::size_t at = 0;
    while (at + 20 <= s.bytes.size()) {
        const std::size_t n =
            std::min<std::size_t>(model::bigEndian(&s.bytes[at + 17], 3), s.bytes.size() - at - 20);
        out.insert(out.end(), s.bytes.begin() + static_cast<std::ptrdiff_t>(at),
                   s.bytes.begin() + static_cast<std::ptrdiff_t>(at + 20 + n));
        at = s.restOfPacket(at + 20 + n);
    }
    return out;
}

inline void appendPacket(Bytes& out, bool flags, Random& rng, unsigned char did, unsigned char sdid,
                         const Bytes& payload) {
    if (flags) {
        static constexpr unsigned char kFlags[2][3] = {{0x00, 0xFF, 0xFF}, {0x04, 0xFB, 0xFB}};
        const auto& f = kFlags[rng.next() & 1];
        out.insert(out.end(), f, f + 3);
    }
    out.insert(out.end(), {did, sdid, static_cast<unsigned char>(payload.size())});
    out.insert(out.end(), payload.begin(), payload.end());
    out.push_back(static_cast<unsigned char>(rng.next()));  // the checksum isn't examined
}

/// A foreign packet now and then: another kind, or our own kind too short to be taken.
inline void maybeForeign(Bytes& out, bool flags, Random& rng, FrameKind kind) {
    if (!rng.oneIn(16)) return;
    const bool rdd18 = kind == FrameKind::Rdd18;
    const unsigned choice = rng.next() % 3;
    const unsigned char did = choice == 0 ? (rdd18 ? 0x44 : 0x43) : rdd18 ? 0x43 : 0x44;
    const unsigned char sdid = choice == 0   ? (rdd18 ? 0x04 : 0x05)
                               : choice == 1 ? 0x07
                               : rdd18       ? 0x05
                                             : 0x04;
    const std::size_t size = choice == 2 ? (rdd18 ? 0 : rng.next() % 3) : rng.next() % 32;
    Bytes payload(size);
    for (auto& b : payload) b = static_cast<unsigned char>(rng.next());
    appendPacket(out, flags, rng, did, sdid, payload);
}

/// The stream in numbered packets of `chunk` stream bytes (an ARRI item starts a packet).
inline Bytes pack(const Bytes& stream, FrameKind kind, bool flags, std::size_t chunk, Random& rng) {
    Bytes out;
    if (kind == FrameKind::Rdd18) {
        chunk = std::max(chunk, (stream.size() + 254) / 255);
        unsigned number = 0;
        for (std::size_t at = 0; at < stream.size() && number < 255; at += chunk) {
            Bytes payload{static_cast<unsigned char>(++number)};
            payload.insert(
                payload.end(), stream.begin() + static_cast<std::ptrdiff_t>(at),
                stream.begin() + static_cast<std::ptrdiff_t>(std::min(at + chunk, stream.size())));
            maybeForeign(out, flags, rng, kind);
            appendPacket(out, flags, rng, 0x43, 0x05, payload);
        }
        return out;
    }
    unsigned number = 0;
    const unsigned char streamId = static_cast<unsigned char>(rng.oneIn(4) ? rng.next() : 0);
    chunk = std::min<std::size_t>(chunk, 252);
    for (std::size_t at = 0; at + 20 <= stream.size();) {
        const std::size_t end = at + 20 + model::bigEndian(&stream[at + 17], 3);
        do {
            const std::size_t stop = std::min(at + chunk, end);
            ++number;
            Bytes payload{streamId, static_cast<unsigned char>(number),
                          static_cast<unsigned char>(number >> 8)};
            payload.insert(payload.end(), stream.begin() + static_cast<std::ptrdiff_t>(at),
                           stream.begin() + static_cast<std::ptrdiff_t>(stop));
            maybeForeign(out, flags, rng, kind);
            appendPacket(out, flags, rng, 0x44, 0x04, payload);
            at = stop;
        } while (at < end);
    }
    return out;
}

/// Mutates `stream` in place with libFuzzer's mutator, within `capacity` bytes.
template <class Mutate>
void mutateBytes(Bytes& stream, std::size_t capacity, Mutate mutate) {
    const std::size_t size = stream.size();
    stream.resize(std::max(capacity, size + 1));
    stream.resize(mutate(stream.data(), size, capacity));
}

template <class Mutate>
std::size_t frame(FrameKind kind, std::uint8_t* data, std::size_t size, std::size_t maxSize,
                  unsigned seed, Mutate mutate) {
    Random rng{seed | 1u};
    if (rng.oneIn(8)) return mutate(data, size, maxSize);
    const std::span<const unsigned char> input(data, size);
    const bool flagged = size >= 3 && ((data[0] == 0x00 && data[1] == 0xFF && data[2] == 0xFF) ||
                                       (data[0] == 0x04 && data[1] == 0xFB && data[2] == 0xFB));
    const bool flags = rng.oneIn(8) ? !flagged : flagged;
    const auto packets = model::walk(input, flags);
    Bytes stream;
    if (kind == FrameKind::Rdd18) {
        stream = model::rdd18Stream(packets).bytes;
        mutateBytes(stream, kMaxRdd18Stream, mutate);
        if (!rng.oneIn(4)) repairRdd18(stream, rng);
    } else {
        stream = arriItems(model::arriStream(packets));
        mutateBytes(stream, maxSize, mutate);
        stream = repairArri(stream);
    }
    const std::size_t chunk =
        rng.oneIn(2) ? (kind == FrameKind::Rdd18 ? 254 : 252) : 1 + rng.next() % 254;
    const Bytes out = pack(stream, kind, flags, chunk, rng);
    if (out.empty() || out.size() > maxSize) return mutate(data, size, maxSize);
    std::memcpy(data, out.data(), out.size());
    return out.size();
}

template <class Mutate>
std::size_t stream(std::uint8_t* data, std::size_t size, std::size_t maxSize, unsigned seed,
                   Mutate mutate) {
    Random rng{seed | 1u};
    const std::size_t n = mutate(data, size, maxSize);
    if (rng.oneIn(4)) return n;
    Bytes s(data, data + n);
    repairRdd18(s, rng);
    std::memcpy(data, s.data(), s.size());
    return s.size();
}

}  // namespace mutation
}  // namespace rdd18::fuzz

#ifdef VELMORA_FUZZ_WITH_LIBFUZZER
extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t maxSize);
#define VELMORA_FUZZ_FRAME_MUTATOR(kind)                                                          \
    extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size,          \
                                                   std::size_t maxSize, unsigned int seed) {      \
        return ::rdd18::fuzz::mutation::frame(kind, data, size, maxSize, seed, LLVMFuzzerMutate); \
    }
#define VELMORA_FUZZ_STREAM_MUTATOR()                                                        \
    extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size,     \
                                                   std::size_t maxSize, unsigned int seed) { \
        return ::rdd18::fuzz::mutation::stream(data, size, maxSize, seed, LLVMFuzzerMutate); \
    }
#else
#define VELMORA_FUZZ_FRAME_MUTATOR(kind)
#define VELMORA_FUZZ_STREAM_MUTATOR()
#endif
