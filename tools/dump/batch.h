// Decoding a batch of inputs: each frame is reported and written as soon as it is decoded, and
// an input that fails doesn't stop the others.
#pragma once

#include <functional>
#include <istream>
#include <ostream>
#include <string>
#include <vector>

#include "dump/frames.h"
#include "dump/report.h"
#include "dump/writers.h"

namespace rdd18::dump {

struct BatchOptions {
    SourceOptions source;  ///< how the inputs are read
    WriteOptions write;
    bool recursive = false;  ///< folders stand for the clips and ARRIRAW folders below them
    bool summary = false;    ///< a line per input on `err` at the end: frames, timecodes, failure
    /// Sees each frame and its report as it is written (for example to draw the frames).
    std::function<void(const Frame&, const FrameReport&)> written = {};
};

/// Decodes `files` in order and writes their frames to `out` as they come. An input that can't
/// be read gets one line on `err` ("velmora-dump: <name>: <reason>"); the frames it gave before
/// the fault stay written, and the next input is decoded. CSV needs its columns first, so it
/// reads every input twice (standard input is held in memory for that). Returns 0 when every
/// input was read, 1 when one or more failed. Nothing is written when every input failed. Under
/// the forms auto and ari a folder stands for its ARRIRAW frame files in frame order (see
/// `listAriFolder`); its notes (gaps, mixed clips) are warning lines on `err`, and each of its
/// files is an input of its own. An ARRIRAW frame that isn't one (wrong magic, cut short) is
/// answered empty and gets a line on `err` saying why. With `recursive` a folder stands for
/// everything below it that the tool reads as a whole, in name order, each subfolder after the
/// files beside it: each clip (.mxf, .mp4, .mov by name) and each folder of ARRIRAW frames; a
/// folder holding neither is no error. With more than one input and a progress stream in
/// `options.source`, a line there names the input being read.
int decodeBatch(const std::vector<std::string>& files, const BatchOptions& options,
                const Reporter& reporter, std::istream& in, std::ostream& out, std::ostream& err);

}  // namespace rdd18::dump
