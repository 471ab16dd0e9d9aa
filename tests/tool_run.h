// velmora-dump run in-process for the tests: its exit status, output and error lines.
#pragma once

#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "dump/dump.h"

namespace rdd18::testsupport {

struct ToolRun {
    int status;
    std::string out, err;
};

/// The tool run with `args`, `input` on its standard input (a terminal with `terminal`).
inline ToolRun tool(const std::vector<std::string>& args, const std::string& input = "",
                    bool terminal = false) {
    std::istringstream in(input);
    std::ostringstream out, err;
    const int status = rdd18::dump::run(args, in, out, err, terminal);
    return {status, out.str(), err.str()};
}

/// Each line of `text` read as JSON.
inline std::vector<nlohmann::json> lines(const std::string& text) {
    std::vector<nlohmann::json> v;
    std::istringstream in(text);
    for (std::string l; std::getline(in, l);) v.push_back(nlohmann::json::parse(l));
    return v;
}

}  // namespace rdd18::testsupport
