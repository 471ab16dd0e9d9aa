// The command line of both programs: CLI11 parses, and help, version and mistakes end the run
// the same way in each.
#pragma once

#include <CLI/CLI.hpp>
#include <cstddef>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace rdd18::tools {

/// The largest --element-size either program takes: 16 MiB, far beyond any frame's metadata.
inline constexpr std::size_t kLargestElementSize = std::size_t{1} << 24;

/// Parses `args` (without the program name) into `app`. Gives the exit status when the run ends
/// here: 0 after --help or --version (written to `out`), `badArguments` after a mistake (one line
/// on `err` that points to --help); nothing when the run goes on.
inline std::optional<int> parseArguments(CLI::App& app, const std::vector<std::string>& args,
                                         std::ostream& out, std::ostream& err, int badArguments) {
    std::vector<const char*> argv{app.get_name().c_str()};
    for (const auto& a : args) argv.push_back(a.c_str());
    try {
        app.parse(static_cast<int>(argv.size()), argv.data());
    } catch (const CLI::CallForHelp&) {
        out << app.help();
        return 0;
    } catch (const CLI::CallForVersion& e) {
        out << e.what() << '\n';
        return 0;
    } catch (const CLI::ParseError& e) {
        err << app.get_name() << ": " << e.what() << " (see " << app.get_name() << " --help)\n";
        return badArguments;
    }
    return std::nullopt;
}

}  // namespace rdd18::tools
