// ARRIRAW frame files (`.ari`): each starts with the camera's 4096-byte file header record, then
// tens of megabytes of picture. The frame source reads the record only, and reads a folder of such
// files as a clip, in the frame order of their names.
#pragma once

#include <cstdint>
#include <istream>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "dump/frames.h"

namespace rdd18::dump {

/// Whether `name` ends in ".ari" (in any case).
bool hasAriName(std::string_view name) noexcept;

/// Whether the regular file `path` starts with the ARRIRAW magic; false for anything else (standard
/// input, a pipe, a file that can't be read), which is left unread.
bool startsWithAriMagic(const std::string& path);

/// The frame number in an ARRIRAW file name: the decimal digits right before ".ari"
/// ("A001C003_250922_R1ZA.0000123.ari" gives 123); nothing without such digits (or more than 18).
std::optional<std::int64_t> ariFrameNumber(std::string_view name);

/// A folder of ARRIRAW frames, as the frame source reads it.
struct AriFolder {
    std::vector<std::string> files;  ///< paths of its `.ari` files, in frame order
    std::vector<std::string> notes;  ///< one line per gap in the frame numbers, one for mixed clips
};

/// The `.ari` files of the folder `path` (not of its subfolders), by frame number and then by
/// name; files without a number come last, by name. Notes name the frames missing between two
/// numbered files and, when the names before the numbers differ, the clips. Throws `InputError`
/// when the folder can't be listed or holds no `.ari` file.
AriFolder listAriFolder(const std::string& path);

/// The frame of the ARRIRAW file `name` (`in` for "-"): at most its first 4096 bytes, the record
/// (form Ari), and its number from the name. Nothing behind the record is read. Throws
/// `InputError` when the file can't be opened or read.
Frame ariFrame(const std::string& name, std::istream& in);

}  // namespace rdd18::dump
