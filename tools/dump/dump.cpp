#include "dump/dump.h"

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>
#include <map>
#include <set>

#include "dump/arguments.h"
#include "dump/batch.h"
#include "dump/console.h"
#include "dump/frames.h"
#include "dump/opentrackio_out.h"
#include "dump/plot.h"
#include "dump/report.h"
#include "dump/writers.h"

namespace rdd18::dump {

namespace {

constexpr const char* kProgram = "velmora-dump";

constexpr const char* kDescription =
    "Decodes the camera metadata in the ancillary data of video frames: RDD 18 acquisition\n"
    "metadata (standard, Sony or Varicam items) and ARRI file header metadata. Each input is\n"
    "one frame's ancillary packets (DID, SDID, DC, payload, checksum), in 8-bit bytes, each\n"
    "packet preceded by the 3-byte flag 00 FF FF or 04 FB FB unless --no-flags is given.\n"
    "Clips give one answer per frame: MXF files of an ST 436M ANC track, MP4 and MOV files of\n"
    "an rtmd metadata track (the packs of each sample, read as Sony items unless --flavour "
    "says).\n"
    "ARRIRAW frame files (.ari) and folders of them are read for their file header record.\n";

constexpr const char* kFooter = R"(Examples:
  velmora-dump frame.anc                       both parsers, JSON
  velmora-dump --flavour sony -f table a.anc   Sony items, as a table for reading
  velmora-dump --parser arri --packets -f table frame.anc
  xclip -o | velmora-dump --hex --explain      hex text copied from an analyser
  velmora-dump -f jsonl captures/*.anc | jq .rdd18.CameraISOSensitivityItem
  velmora-dump --units=only -f table --plot lens.svg take3/*.anc   values in units
  velmora-dump -f jsonl clip.mxf               one line per frame of a clip's ST 436M ANC track
  velmora-dump -f csv --frames 0:250 clip.mxf  the first 250 frames as a spreadsheet
  velmora-dump -f csv A001C003_250922_R1ZA/    one row per .ari frame of a folder, in frame order
  velmora-dump -f csv --units=only clip.mp4    per-frame lens and camera of an rtmd track
  velmora-dump -r --summary -f jsonl archive/  every clip and .ari folder below archive/
  velmora-dump -f opentrackio clip.mxf --send  OpenTrackIO samples, printed and sent to the
                                               group 239.135.1.1, port 55555
  velmora-dump -f jsonl --packets capture.pcap one line per frame of each ST 2110-40 flow
  velmora-dump -f jsonl --listen udp://239.1.1.1:5000 --interface eth1   a live flow

Output: one report per input, in input order, with "file" (the name as given, "-" for
standard input) and one entry per section: "rdd18" and "arri" (each parser's answer; an
empty dictionary when the frame holds nothing that parser can read), "units" (--units),
"packets" (--packets), "faults" (--explain). Dictionary keys are listed in ascending order.

Numbers are exact in every format: integers in full; a float is the shortest text that reads
back to the same float, a double the same for doubles (so 23.976 for the float 23.976);
negative zero stays -0. In JSON, NaN and the infinities are {"$number": "NaN"},
{"$number": "Infinity"} and {"$number": "-Infinity"}, and data is {"$data": "<hex>"} with
two lower-case hexadecimal digits per byte. With --types each number becomes
{"$kind": "<kind>", "$value": <number>}. In the plist, data is base64 and the reals without
digits are nan, +infinity and -infinity. The table shows data as <hex> and quotes strings.

Frames are written as they are decoded. Exit status: 0 when every input was read (whatever
the parsers found in it), 1 when an input can't be read or isn't hexadecimal text under --hex
(its error line is written and the other inputs are still decoded), 2 for a bad command line
(or none, with standard input a terminal), 3 when the output can't be written. A reader that
stops reading early (as head does) ends the run quietly.
More in docs/cli.md.
)";

// Everything but the check of the output stream: see `run`.
int runCommand(const std::vector<std::string>& args, std::istream& in, std::ostream& out,
               std::ostream& err, bool inputIsTerminal) {
    CLI::App app(kDescription, kProgram);
    // Options are --long or -s on every platform: on Windows, "/name" is a path (from an MSYS
    // shell or Wine), not an option.
    app.allow_windows_style_options(false);
    app.footer(kFooter);
    app.set_version_flag("--version", std::string(kProgram) + " " VELMORA_VERSION);

    std::vector<std::string> files;
    bool hex = false;
    bool noFlags = false;
    std::string flavour = "standard";
    std::string parser = "both";
    std::string format = "json";
    ReportOptions report;
    SourceOptions source;
    std::string form = "auto";
    WriteOptions write;
    std::set<std::string> flavours;  // the library's names, listed sorted in the help
    for (const Flavour f : {Flavour::Standard, Flavour::Sony, Flavour::Varicam})
        flavours.emplace(flavourName(f));
    const std::map<std::string, Format> formats{
        {"json", Format::Json},   {"jsonl", Format::JsonLines},
        {"plist", Format::Plist}, {"table", Format::Table},
        {"csv", Format::Csv},     {"opentrackio", Format::OpenTrackIO}};
    std::string frames;

    app.add_option("files", files,
                   "Frames to decode, one packet buffer per file, or ARRIRAW frame files (.ari) "
                   "and folders of them; none or \"-\" reads standard input")
        ->type_name("FILE");
    auto* hexFlag = app.add_flag(
        "--hex", hex,
        "Inputs are hexadecimal text: two digits per byte (words10: up to 4 per word), white "
        "space or commas between, 0x prefixes, # comments and xxd dumps accepted");
    app.add_option("--input", form,
                   "Form of each input: packets (8-bit packet buffer), words10 (10-bit words: "
                   "hex words, or 16-bit little-endian values), v210 or uyvy (VANC lines, see "
                   "--width), rfc8331 (an RFC 8331 / ST 2110-40 RTP payload), st436m (ST 436M "
                   "ANC elements back to back, one per frame, as an MXF track's raw values), "
                   "rtmd (rtmd samples back to back, one per frame, as an MP4 rtmd track's raw "
                   "values), clip (an MXF file with an ST 436M ANC track, or an MP4 or MOV file "
                   "with an rtmd track; needs libavformat), ari (an ARRIRAW frame file: only its "
                   "4096-byte header record is read), pcap (a pcap or pcapng capture of ST 2110-40 "
                   "flows; needs libpcap), rtp (a live ST 2110-40 flow, see --listen) or auto "
                   "(pcap for names ending in .pcap and .pcapng, clip for .mxf, .mp4 or .mov or a "
                   "file that starts as one, ari for .ari or files starting with \"ARRI\", else "
                   "packets; a folder is read as its .ari files in frame order)")
        ->transform(CLI::IsMember(inputForms(), CLI::ignore_case))
        ->default_str("auto");
    std::string listen;
    auto* listenOption =
        app.add_option("--listen", listen,
                       "Receive the ST 2110-40 flow sent to this address (IPv4, or IPv6 in "
                       "brackets) and port (a "
                       "multicast group is joined) and write each frame as it completes, until "
                       "--frames are written or SIGINT; implies --input rtp")
            ->type_name("udp://ADDR:PORT");
    app.add_option("--interface", source.interface,
                   "The network interface on which --listen joins a multicast group")
        ->type_name("NAME")
        ->needs(listenOption);
    app.add_option("--flow", source.flow,
                   "pcap: read the flow to this destination only (else every UDP flow that "
                   "carries RFC 8331 payloads)")
        ->type_name("ADDR:PORT");
    listenOption->excludes("files");
    app.add_option("--width", source.width,
                   "Pixels per VANC line (v210, uyvy); HD placement "
                   "(luma, then chroma) from 1280 up")
        ->check(CLI::Range(1u, 65535u))
        ->default_str("1920");
    app.add_option("--element-size", source.elementSize,
                   "st436m: every element is this many bytes, zero-padded (as velmora-encode "
                   "--element-size writes them)")
        ->check(CLI::Range(std::size_t{2}, tools::kLargestElementSize))
        ->type_name("BYTES");
    auto* framePerLine = app.add_flag(
        "--frame-per-line", source.framePerLine,
        "Hex text holds one frame per line; answers come one per frame (JSON Lines unless -f)");
    app.add_flag("--keep-damaged", source.keepDamaged,
                 "Keep packets with a bad parity or checksum (words10, v210, uyvy, rfc8331)");
    app.add_flag("--no-flags", noFlags,
                 "Packets carry no 3-byte ancillary data flag: each starts with its DID");
    app.add_option("--flavour,--flavor", flavour,
                   "RDD 18 item set: standard (37 items), sony (standard + 16 Sony items) or "
                   "varicam (standard + 4 clip items); items the flavour doesn't know show as "
                   "Unknown_0x.._0x.. with their bytes. rtmd samples are read as sony unless "
                   "given")
        ->transform(CLI::IsMember(flavours, CLI::ignore_case))
        ->default_str("standard");
    app.add_option("--parser", parser, "Parsers to run: rdd18, arri or both, side by side")
        ->transform(CLI::IsMember({"rdd18", "arri", "both"}, CLI::ignore_case))
        ->default_str("both");
    app.add_flag("--packets", report.packets,
                 "Add the packet walk: offset, DID, SDID, DC, checksum (and whether it is the one "
                 "a sender computes: (DID + SDID + DC + payload bytes) mod 256), kind (rdd18, arri "
                 "or other) and sequence number");
    app.add_flag("--explain", report.explain,
                 "Add the faults that made a parser drop data (bad flags, sequence breaks, "
                 "truncated packs, rejected payloads), one line each");
    framePerLine->needs(hexFlag);
    app.add_option("--frames", frames,
                   "Frames of clips, element runs and flows to report: A:B (A to B-1), A:, :B or "
                   "A; frames count from 0 (in each flow; ARRIRAW files: the number in the name); "
                   "a live flow ends after B-1")
        ->type_name("A:B");
    auto* formatOption =
        app.add_option(
               "-f,--format", format,
               "Output format: json (pretty), jsonl (one frame a line), plist (XML property "
               "list), table (aligned, for people), csv (one row per frame, one column per "
               "key) or opentrackio (one OpenTrackIO sample per frame and line)")
            ->transform(CLI::IsMember(formats, CLI::ignore_case))
            ->default_str("json");
    std::string units = "off";
    std::string plotFile;
    const std::map<std::string, UnitsView> unitsViews{
        {"off", UnitsView::Off}, {"beside", UnitsView::Beside}, {"only", UnitsView::Only}};
    app.add_flag("--units{beside}", units,
                 "Add the values in units (\"units\": focal length in mm, F2.8, 180 deg, ...) "
                 "beside the raw answers; --units=only shows them instead of the raw answers")
        ->transform(CLI::IsMember(unitsViews, CLI::ignore_case));
    app.add_option("--plot", plotFile,
                   "Also draw focus distance, focal length and T/F-number over the frames, in "
                   "input order, to this SVG file")
        ->type_name("FILE.svg");
    std::string sendUrl;
    std::string encoding = "json";
    SampleOptions samples;
    auto* sendOption =
        app.add_option("--send", sendUrl,
                       "Send each frame's OpenTrackIO sample as OTrk datagrams to udp://HOST:PORT "
                       "(port 55555 if left out); alone, to the multicast group 239.135.1.N of "
                       "--source-number N, port 55555")
            ->expected(0, 1)
            ->type_name("[udp://HOST:PORT]");
    app.add_option("--encoding", encoding, "Payload of the datagrams: json or cbor")
        ->transform(CLI::IsMember({"json", "cbor"}, CLI::ignore_case))
        ->default_str("json");
    app.add_option("--source-number", samples.sourceNumber,
                   "The samples' sourceNumber (default 1); 1 to 200 picks the default group")
        ->check(CLI::Range(0u, 4294967295u));
    app.add_option("--segment-size", samples.segmentSize,
                   "Most sample bytes per datagram (default 1484: 1500-byte datagrams)")
        ->check(CLI::Range(std::size_t{1}, otrk::kMaxSegment));
    app.add_flag("--realtime", samples.realtime,
                 "Pace the OpenTrackIO samples at their sample rate (files are read faster)");
    bool recursive = false, summary = false;
    app.add_flag("-r,--recursive", recursive,
                 "A folder stands for every clip (.mxf, .mp4, .mov) and folder of ARRIRAW frames "
                 "below it, in name order; a file that can't be read gets one line and the rest "
                 "are read");
    app.add_flag("--summary", summary,
                 "At the end, write one line per input (clip or folder of frames) on standard "
                 "error: its frames, first and last timecode, and whether it failed");
    app.add_flag("--types", write.types,
                 "Show the kind of every number (integer, short, unsigned int, float, double, "
                 "bool, ...)");

    if (const auto status = tools::parseArguments(app, args, out, err, kExitBadArguments))
        return *status;

    // The checks above have turned each choice into its listed spelling.
    report.flavour = *flavourFromName(flavour);
    if (app.count("--flavour") > 0) report.rtmdFlavour = report.flavour;
    write.format = formats.at(format);
    if (source.framePerLine && formatOption->count() == 0) write.format = Format::JsonLines;
    source.form = inputForms().at(form);
    source.hex = hex;
    source.flags = !noFlags;
    report.rdd18 = parser != "arri";
    report.arri = parser != "rdd18";
    report.units = unitsViews.at(units);
    report.camera = !plotFile.empty();
    if (!listen.empty() || source.form == InputForm::Rtp) {
        if (listen.empty()) {
            err << kProgram << ": --input rtp needs --listen udp://ADDR:PORT\n";
            return kExitBadArguments;
        }
        if (write.format == Format::Csv) {
            err << kProgram << ": a live flow can't be written as CSV, whose columns come first\n";
            return kExitBadArguments;
        }
        source.form = InputForm::Rtp;
        files.push_back(listen);
    }
    if (files.empty()) {
        if (inputIsTerminal) {
            err << kProgram << ": no input: name frame files, or pipe a frame in (see " << kProgram
                << " --help)\n";
            return kExitBadArguments;
        }
        files.push_back("-");
    }

    if (!frames.empty()) {
        const auto range = parseFrameRange(frames);
        if (!range) {
            err << kProgram << ": --frames: " << frames
                << " is not A:B, A:, :B or A (frame numbers from 0, B not below A)\n";
            return kExitBadArguments;
        }
        source.frames = *range;
    }
    if (&err == &std::cerr && standardErrorIsTerminal()) source.progress = &err;
    BatchOptions batch{source, write};
    batch.recursive = recursive;
    batch.summary = summary;
    LensPlot plot;
    samples.print = write.format == Format::OpenTrackIO;
    if (sendOption->count() > 0) {
        samples.send = parseSendTarget(sendUrl, samples.sourceNumber);
        if (!samples.send) {
            if (sendUrl.empty())
                err << kProgram << ": --send: the default group needs --source-number 1 to 200\n";
            else
                err << kProgram << ": --send: " << sendUrl
                    << " is not udp://HOST[:PORT] (--send alone goes after the files, or before "
                       "--)\n";
            return kExitBadArguments;
        }
        samples.encoding = encoding == "cbor" ? otrk::Encoding::Cbor : otrk::Encoding::Json;
    }
    std::optional<SampleOutput> sampleOutput;
    try {
        if (samples.print || samples.send) sampleOutput.emplace(samples, out, err);
    } catch (const SendError& e) {
        err << kProgram << ": --send: " << e.what() << '\n';
        return kExitBadArguments;
    }
    report.camera = report.camera || sampleOutput;
    if (report.camera) {
        batch.written = [&](const Frame& f, const FrameReport& r) {
            const auto model = r.camera.value_or(interpret::CameraModel{});
            if (!plotFile.empty()) plot.add(f.number, f.time, model);
            if (sampleOutput) sampleOutput->frame(f, model);
        };
    }
    const int status = decodeBatch(files, batch, Reporter(report), in, out, err);
    if (!plotFile.empty() && !writeLensPlot(plotFile, plot)) {
        err << kProgram << ": can't write the plot to " << plotFile << '\n';
        return kExitBadInput;
    }
    return status;
}

}  // namespace

int run(const std::vector<std::string>& args, std::istream& in, std::ostream& out,
        std::ostream& err, bool inputIsTerminal) {
    errno = 0;
    int status = runCommand(args, in, out, err, inputIsTerminal);
    // Every write goes through `out`, whose stream state keeps the first failure; the errno of
    // the failed write is still the last one set.
    out.flush();
    if (!out) {
        const int error = errno;
        // A reader that closed the pipe wants no more output, and no message either.
        if (error == EPIPE) return status;
        err << kProgram << ": can't write the output";
        if (error != 0) err << ": " << std::strerror(error);
        err << '\n';
        status = kExitWriteFailed;
    }
    return status;
}

}  // namespace rdd18::dump
