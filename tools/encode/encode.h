// The command line of velmora-encode: answers (as velmora-dump writes them) in, frames out.
#pragma once

#include <istream>
#include <nlohmann/json.hpp>
#include <ostream>
#include <string>
#include <vector>

#include "rdd18/platform/value.h"

namespace rdd18::encode {

/// Exit status of a run.
enum ExitStatus : int {
    kExitOk = 0,            ///< every frame was written
    kExitBadInput = 1,      ///< the input isn't JSON, or a frame was refused (the others written)
    kExitBadArguments = 2,  ///< the command line is wrong
    kExitWriteFailed = 3,   ///< the output couldn't be written
};

/// The value of `json` as velmora-dump writes values: {"$kind": k, "$value": n} a number of kind
/// k, {"$number": "NaN"} (and the infinities) a double, {"$data": hex} data, plain numbers an
/// integer (or an unsigned long beyond it) or a double, strings, bools, arrays and objects as
/// themselves. Throws `EncodeError` (`NotAnAnswer`) naming `key` for anything else (null, a
/// number its kind can't hold, malformed hex, an unknown kind).
Value valueFromJson(const nlohmann::json& json, const std::string& key);

/// Runs the tool with `args` (without the program name): reads the reports of `in` (or of the
/// named file), writes the frames to `out` (or to -o FILE). A frame that can't be written is one
/// line on `err` naming the frame and the key, and nothing of it is written; the other frames
/// are. Returns an `ExitStatus`.
int run(const std::vector<std::string>& args, std::istream& in, std::ostream& out,
        std::ostream& err);

}  // namespace rdd18::encode
