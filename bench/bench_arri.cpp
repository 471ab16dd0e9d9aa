// The ARRI side: a typical frame through VLArriANCParser, the file header translation alone, the
// same answer built directly (the floor), the ARRI stream join beside memcpy, and metadata items
// of 4 KiB to 4 MiB.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "bench_support.h"
#include "frame_builder.h"
#include "rdd18/arri/VLArriANCParser.h"
#include "rdd18/arri/arri_encoder.h"
#include "rdd18/arri/arri_file_header.h"
#include "rdd18/arri/arri_stream_reader.h"
#include "rdd18/transport/ancillary_packet.h"

namespace velmora::bench {
namespace {

using rdd18::Array;
using rdd18::Data;
using rdd18::Dictionary;
using rdd18::Value;
using rdd18::arri::ArriFileHeader;
using namespace rdd18::testsupport;
namespace fh = rdd18::arri::file_header;

/// A record as a camera writes it on an ordinary take: image and colour values, CDL, timecode,
/// names, lens data and the three VFX values.
Bytes typicalRecord() {
    ArriHeaderBuilder h;
    h.u32(fh::kRawImageWidth.offset, 4448).u32(fh::kRawImageHeight.offset, 3096);
    h.u32(fh::kActiveImageLeft.offset, 0).u32(fh::kActiveImageTop.offset, 0);
    h.u32(fh::kActiveImageWidth.offset, 4448).u32(fh::kActiveImageHeight.offset, 3096);
    h.u32(fh::kWhiteBalance.offset, 5600).f32(fh::kGreenTintFactor.offset, 1.0f);
    h.f32(fh::kWhiteBalanceFactorR.offset, 1.91f).f32(fh::kWhiteBalanceFactorG.offset, 1.0f);
    h.f32(fh::kWhiteBalanceFactorB.offset, 1.47f).u32(fh::kWbAppliedInCamera.offset, 1);
    h.u32(fh::kAsa.offset, 800).u32(fh::kBlackLevel.offset, 256).u32(fh::kWhiteLevel.offset, 4095);
    const float matrix[12] = {1.48f,  -0.35f, -0.13f, 0.0f,   -0.23f, 1.42f,
                              -0.19f, 0.0f,   0.02f,  -0.38f, 1.36f,  0.0f};
    for (std::size_t i = 0; i < 12; ++i) h.f32(fh::kColorMatrix.elementOffset(i), matrix[i]);
    h.f32(fh::kPixelAspectRatio.offset, 1.0f).u32(fh::kFlip.offset, 0);
    h.textField(fh::kLookFile.offset, fh::kLookFile.width, "ARRI_LogC4_to_Rec709");
    const fh::F32 cdl[] = {fh::kCdlSlopeR,  fh::kCdlSlopeG,  fh::kCdlSlopeB,
                           fh::kCdlOffsetR, fh::kCdlOffsetG, fh::kCdlOffsetB,
                           fh::kCdlPowerR,  fh::kCdlPowerG,  fh::kCdlPowerB};
    const float cdlValues[] = {1.02f, 1.0f, 0.97f, 0.01f, 0.0f, -0.01f, 1.0f, 1.0f, 1.05f};
    for (std::size_t i = 0; i < 9; ++i) h.f32(cdl[i].offset, cdlValues[i]);
    h.u32(fh::kFirmwareVersion.offset, 70200).u32(fh::kSerialNumber.offset, 22155);
    h.u32(fh::kCameraId.offset, 0x41424344);
    h.u32(fh::kShutterAngle.offset, 172800).u32(fh::kSensorFps.offset, 24000);
    h.u32(fh::kProjectFps.offset, 23976).u32(fh::kTimecode.offset, 0x14305911);
    h.u32(fh::kTimecodeFlags.offset, 0);
    h.textField(fh::kCameraModel.offset, fh::kCameraModel.width, "ALEXA35");
    h.textField(fh::kRecorderType.offset, fh::kRecorderType.width, "Codex Compact Drive 2TB");
    h.textField(fh::kSupName.offset, fh::kSupName.width, "SUP 1.2.3");
    h.u32(fh::kFocusDistanceUnit.offset, 1).u32(fh::kFocusDistance.offset, 3250);
    h.u32(fh::kFocalLength.offset, 50000).u32(fh::kIris.offset, 4300);
    h.u16(fh::kNdFilterType.offset, 1).u16(fh::kNdFilterDensity.offset, 600);
    h.textField(fh::kLensModel.offset, fh::kLensModel.width, "Signature Prime 47mm");
    h.u32(fh::kVfxPan.offset, 125).u32(fh::kVfxTilt.offset, 0xFFE2).u32(fh::kVfxRoll.offset, 3);
    h.textField(fh::kReelName.offset, fh::kReelName.width, "A001");
    h.textField(fh::kSceneName.offset, fh::kSceneName.width, "42B");
    h.textField(fh::kTakeName.offset, fh::kTakeName.width, "3");
    h.textField(fh::kDirector.offset, fh::kDirector.width, "J. Doe");
    h.textField(fh::kDoP.offset, fh::kDoP.width, "R. Roe");
    h.textField(fh::kProduction.offset, fh::kProduction.width, "Northern Lights");
    h.textField(fh::kCompany.offset, fh::kCompany.width, "Example Pictures");
    h.textField(fh::kClipNotes.offset, fh::kClipNotes.width, "night exterior, rain towers");
    h.textField(fh::kClipName.offset, fh::kClipName.width, "A001C003_230612_R1AB");
    h.u32(fh::kCameraInfoMainVoltage.offset, 24100).u32(fh::kCameraInfoOnBoardVoltage.offset, 0);
    return h.bytes();
}

/// A frame (packets with flags) holding one metadata item of `value`, in packets of 252 stream
/// bytes, the last one padded.
Bytes metadataFrame(const Bytes& value) {
    return FrameBuilder(Flags::Standard).arriStream(arriItem(kArriMetadataKey, value)).bytes();
}

/// A fresh value of the same kind and contents, made with the value model's constructors.
Value rebuild(const Value& v) {
    if (v.isNumber()) return v.number();
    if (v.isString()) return std::string(v.string());
    if (v.isData()) return Data(v.data().bytes.data(), v.data().size());
    if (v.isArray()) {
        Array a;
        a.reserve(v.array().size());
        for (const Value& e : v.array()) a.push_back(rebuild(e));
        return a;
    }
    Dictionary d;
    d.reserve(v.dictionary().size());
    for (const auto& [key, value] : v.dictionary()) d.set(key, rebuild(value));
    return d;
}

const ArriFileHeader* asRecord(const Bytes& record) {
    return reinterpret_cast<const ArriFileHeader*>(record.data());
}

void BM_ArriParse(benchmark::State& state) {
    const Bytes record = typicalRecord();
    const Bytes frame = metadataFrame(record);
    const VLArriANCParser parser;
    const Dictionary expected = parser.translateFileHeaderToDictionary(asRecord(record));
    if (expected.empty() || parser.parseData(frame) != expected) {
        state.SkipWithError("the parse differs from the translation of the record");
        return;
    }
    AllocationTally allocations;
    for (auto _ : state) {
        allocations.begin();
        {
            Dictionary answer = parser.parseData(frame);
            benchmark::DoNotOptimize(answer);
        }
        allocations.end();
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * frame.size()));
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * expected.size()));
    state.counters["keys"] = static_cast<double>(expected.size());
    allocations.report(state);
}
BENCHMARK(BM_ArriParse)->Name("BM_ArriParse/typical");

// The writer beside the parse: the answer of the same frame back into the record, the KLV item
// and its packets.
void BM_ArriEncode(benchmark::State& state) {
    const Bytes frame = metadataFrame(typicalRecord());
    const VLArriANCParser parser;
    const Dictionary answer = parser.parseData(frame);
    if (answer.empty() || parser.parseData(rdd18::arri::encodeArri(answer)) != answer) {
        state.SkipWithError("the written frame doesn't give the answer back");
        return;
    }
    AllocationTally allocations;
    for (auto _ : state) {
        allocations.begin();
        {
            std::vector<unsigned char> written = rdd18::arri::encodeArri(answer);
            benchmark::DoNotOptimize(written.data());
        }
        allocations.end();
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * frame.size()));
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * answer.size()));
    allocations.report(state);
}
BENCHMARK(BM_ArriEncode)->Name("BM_ArriEncode/typical");

void BM_ArriTranslate(benchmark::State& state) {
    const Bytes record = typicalRecord();
    const VLArriANCParser parser;
    AllocationTally allocations;
    std::size_t keys = 0;
    for (auto _ : state) {
        allocations.begin();
        {
            Dictionary answer = parser.translateFileHeaderToDictionary(asRecord(record));
            keys = answer.size();
            benchmark::DoNotOptimize(answer);
        }
        allocations.end();
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * keys));
    allocations.report(state);
}
BENCHMARK(BM_ArriTranslate)->Name("BM_ArriTranslate/typical");

// The floor: the same answer made from its known values with the value model's constructors,
// keys in ascending order (the cheapest order for a dictionary that keeps its keys sorted).
void BM_ArriAnswer(benchmark::State& state) {
    const Bytes record = typicalRecord();
    const Dictionary known = VLArriANCParser().translateFileHeaderToDictionary(asRecord(record));
    AllocationTally allocations;
    for (auto _ : state) {
        allocations.begin();
        {
            Dictionary answer;
            answer.reserve(known.size());
            for (const auto& [key, value] : known) answer.set(key, rebuild(value));
            benchmark::DoNotOptimize(answer);
        }
        allocations.end();
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * known.size()));
    allocations.report(state);
}
BENCHMARK(BM_ArriAnswer)->Name("BM_ArriAnswer/typical");

// The same with the keys set in the order of the record's fields, as a translation that walks the
// record meets them: what the order of insertion costs the value model.
constexpr const char* kRecordOrder[] = {"rawImageWidth",
                                        "rawImageHeight",
                                        "activeImageLeft",
                                        "activeImageTop",
                                        "activeImageWidth",
                                        "activeImageHeight",
                                        "whiteBalance",
                                        "wbAppliedInCamera",
                                        "ASA",
                                        "blackLevel",
                                        "whiteLevel",
                                        "flip",
                                        "cameraInfoMainVoltage",
                                        "cameraInfoOnBoardVoltage",
                                        "greenTintFactor",
                                        "whiteBalanceFactorR",
                                        "whiteBalanceFactorG",
                                        "whiteBalanceFactorB",
                                        "pixelAspectRatio",
                                        "cdlSlopeR",
                                        "cdlSlopeG",
                                        "cdlSlopeB",
                                        "cdlOffsetR",
                                        "cdlOffsetG",
                                        "cdlOffsetB",
                                        "cdlPowerR",
                                        "cdlPowerG",
                                        "cdlPowerB",
                                        "shutterAngle",
                                        "sensorFps",
                                        "projectFps",
                                        "lookFile",
                                        "cameraModel",
                                        "recorderType",
                                        "supName",
                                        "reelName",
                                        "sceneName",
                                        "takeName",
                                        "director",
                                        "DoP",
                                        "production",
                                        "company",
                                        "clipNotes",
                                        "clipName",
                                        "colorMatrix",
                                        "firmwareVersion",
                                        "serialNumber",
                                        "cameraID",
                                        "tcHours",
                                        "tcMinutes",
                                        "tcSeconds",
                                        "tcFrames",
                                        "tcDropFrame",
                                        "NDFilter",
                                        "lensDataFocusDistance",
                                        "lensDataFocalLength",
                                        "lensDataApertureTstop",
                                        "lensDataApertureSecondValue",
                                        "lensModel",
                                        "vfxInfoPan",
                                        "vfxInfoTilt",
                                        "vfxInfoRoll"};

void BM_ArriAnswerRecordOrder(benchmark::State& state) {
    const Bytes record = typicalRecord();
    const Dictionary known = VLArriANCParser().translateFileHeaderToDictionary(asRecord(record));
    std::vector<std::pair<const char*, const Value*>> entries;
    for (const char* key : kRecordOrder) {
        if (const Value* v = known.find(key)) entries.emplace_back(key, v);
    }
    if (entries.size() != known.size()) {
        state.SkipWithError("the record order misses keys of the answer");
        return;
    }
    AllocationTally allocations;
    for (auto _ : state) {
        allocations.begin();
        {
            Dictionary answer;
            answer.reserve(entries.size());
            for (const auto& [key, value] : entries) answer.set(key, rebuild(*value));
            benchmark::DoNotOptimize(answer);
        }
        allocations.end();
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * entries.size()));
    allocations.report(state);
}
BENCHMARK(BM_ArriAnswerRecordOrder)->Name("BM_ArriAnswerRecordOrder/typical");

// Metadata items of 4 KiB to 4 MiB: the value is read into its blob, the record translated from
// its first 4096 bytes. The cost per value byte should stay the same.
void BM_ArriScaling(benchmark::State& state) {
    const auto size = static_cast<std::size_t>(state.range(0));
    Bytes value = typicalRecord();
    value.resize(size, 0x5A);
    const Bytes frame = metadataFrame(value);
    const VLArriANCParser parser;
    if (parser.parseData(frame).empty()) {
        state.SkipWithError("the frame gave no answer");
        return;
    }
    AllocationTally allocations;
    for (auto _ : state) {
        allocations.begin();
        {
            Dictionary answer = parser.parseData(frame);
            benchmark::DoNotOptimize(answer);
        }
        allocations.end();
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * size));
    allocations.report(state);
}
BENCHMARK(BM_ArriScaling)
    ->ArgName("bytes")
    ->Arg(4 << 10)
    ->Arg(64 << 10)
    ->Arg(1 << 20)
    ->Arg(4 << 20)
    ->Unit(benchmark::kMicrosecond);

// The ARRI stream join: 64 KiB of stream bytes in packets of 252 (the most a packet carries
// behind its 3-byte header), read through the ARRI stream reader in one call, beside memcpy.
struct ArriStream {
    Bytes frame;
    Bytes stream;
};

ArriStream arriStream() {
    ArriStream out;
    out.stream.resize(260 * 252);  // 65,520 bytes
    for (std::size_t i = 0; i < out.stream.size(); ++i) {
        out.stream[i] = static_cast<unsigned char>(i * 13);
    }
    out.frame = FrameBuilder(Flags::Standard).arriStream(out.stream, 252, false).bytes();
    return out;
}

std::size_t joinArriStream(const ArriStream& input, unsigned char* destination) {
    rdd18::AncillaryDataBufferReader packets(input.frame.data(), input.frame.size(),
                                             rdd18::AncillaryDataBufferWithFlags);
    rdd18::arri::ArriAncillaryDataStreamReader stream(packets);
    return stream.read(destination, input.stream.size());
}

void BM_ArriStreamJoin(benchmark::State& state) {
    const ArriStream input = arriStream();
    std::vector<unsigned char> destination(input.stream.size());
    if (joinArriStream(input, destination.data()) != input.stream.size() ||
        destination != input.stream) {
        state.SkipWithError("the joined stream differs from the stream bytes");
        return;
    }
    AllocationTally allocations;
    for (auto _ : state) {
        allocations.begin();
        benchmark::DoNotOptimize(joinArriStream(input, destination.data()));
        benchmark::ClobberMemory();
        allocations.end();
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * input.stream.size()));
    allocations.requireNone(state, "the ARRI stream read");
}
BENCHMARK(BM_ArriStreamJoin)->Name("BM_ArriStreamJoin/payload:255");

void BM_ArriStreamMemcpy(benchmark::State& state) {
    const ArriStream input = arriStream();
    std::vector<unsigned char> destination(input.stream.size());
    for (auto _ : state) {
        benchmark::DoNotOptimize(destination.data());
        std::memcpy(destination.data(), input.stream.data(), input.stream.size());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * input.stream.size()));
}
BENCHMARK(BM_ArriStreamMemcpy)->Name("BM_ArriStreamMemcpy/payload:255");

// The join and the memcpy in alternating batches: their ratio, free of the machine's drift.
void BM_ArriStreamJoinPaired(benchmark::State& state) {
    const ArriStream input = arriStream();
    std::vector<unsigned char> destination(input.stream.size());
    pairedCost(
        state,
        [&] {
            benchmark::DoNotOptimize(joinArriStream(input, destination.data()));
            benchmark::ClobberMemory();
        },
        [&] {
            benchmark::DoNotOptimize(destination.data());
            std::memcpy(destination.data(), input.stream.data(), input.stream.size());
            benchmark::ClobberMemory();
        });
}
BENCHMARK(BM_ArriStreamJoinPaired)->Name("BM_ArriStreamJoinPaired/payload:255");

}  // namespace
}  // namespace velmora::bench
