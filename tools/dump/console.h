// The standard streams of the tools, the same on every platform: bytes in and out as they are
// (no text-mode line ends on Windows), no signal when a reader closes the output pipe.
#pragma once

namespace rdd18::dump {

/// Makes standard input and output binary (Windows translates "\n" to "\r\n" otherwise, which
/// would break packet buffers and JSON Lines alike) and, where there are signals for it, lets a
/// write to a closed pipe fail with an error the run ends quietly on instead of a signal that ends
/// the process in the middle of a report. Call once, first thing in main.
void prepareStandardStreams();

/// Whether standard input, or standard error, is a terminal (a console on Windows).
bool standardInputIsTerminal();
bool standardErrorIsTerminal();

}  // namespace rdd18::dump
