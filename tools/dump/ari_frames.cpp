#include "dump/ari_frames.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <tuple>

#include "dump/input.h"
#include "rdd18/arri/arri_file_header.h"

namespace rdd18::dump {

namespace {

namespace fs = std::filesystem;
using rdd18::arri::ArriFileHeader;

constexpr std::string_view kExtension = ".ari";
constexpr std::size_t kMaxDigits = 18;  // every 18-digit number fits an int64

bool isDigit(char c) noexcept {
    return c >= '0' && c <= '9';
}

// The name without ".ari": the clip's name, then the frame number.
std::string_view stem(std::string_view name) noexcept {
    return name.substr(0, name.size() - kExtension.size());
}

// The clip part of a numbered frame file's name: what stands before the number, without the
// separator ("A001C003_250922_R1ZA.0000123.ari" gives "A001C003_250922_R1ZA").
std::string clipOf(std::string_view fileName) {
    std::string_view s = stem(fileName);
    while (!s.empty() && isDigit(s.back())) s.remove_suffix(1);
    while (!s.empty() && (s.back() == '.' || s.back() == '_' || s.back() == '-'))
        s.remove_suffix(1);
    return std::string(s);
}

// At most the first `size` bytes of `in`, with one read per block: an unbuffered file stream
// asks the system for these bytes and no more.
std::vector<unsigned char> readHead(std::istream& in, std::size_t size, const std::string& name) {
    std::vector<unsigned char> bytes(size);
    in.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(size));
    if (in.bad()) throw InputError(name + ": cannot read: " + std::strerror(errno));
    bytes.resize(static_cast<std::size_t>(in.gcount()));
    return bytes;
}

struct Entry {
    std::optional<std::int64_t> number;
    std::string name;
    bool operator<(const Entry& o) const {
        // Numbered files first, by number; then by name.
        return std::tuple(!number, number.value_or(0), name) <
               std::tuple(!o.number, o.number.value_or(0), o.name);
    }
};

std::string gapNote(const std::string& folder, std::int64_t after, std::int64_t before) {
    const std::int64_t first = after + 1, last = before - 1;
    return folder + ": " +
           (first == last
                ? "frame " + std::to_string(first) + " is"
                : "frames " + std::to_string(first) + " to " + std::to_string(last) + " are") +
           " missing";
}

}  // namespace

bool hasAriName(std::string_view name) noexcept {
    return name.size() > kExtension.size() && hasExtension(name, kExtension);
}

bool startsWithAriMagic(const std::string& path) {
    // Only a regular file is looked into: the bytes of a pipe, once read, are gone.
    std::error_code ec;
    if (!fs::is_regular_file(path, ec)) return false;
    std::ifstream file;
    file.rdbuf()->pubsetbuf(nullptr, 0);  // the magic alone, not a buffer's worth of picture
    file.open(path, std::ios::binary);
    char head[arri::file_header::kFileMagic.size()] = {};
    file.read(head, sizeof head);
    return file.gcount() == sizeof head &&
           arri::file_header::startsWithFileMagic(
               {reinterpret_cast<const unsigned char*>(head), sizeof head});
}

std::optional<std::int64_t> ariFrameNumber(std::string_view name) {
    if (!hasAriName(name)) return std::nullopt;
    const std::string_view s = stem(name);
    std::size_t digits = 0;
    while (digits < s.size() && isDigit(s[s.size() - 1 - digits])) ++digits;
    if (digits == 0 || digits > kMaxDigits) return std::nullopt;
    std::int64_t n = 0;
    std::from_chars(s.data() + s.size() - digits, s.data() + s.size(), n);
    return n;
}

AriFolder listAriFolder(const std::string& path) {
    std::vector<Entry> entries;
    std::error_code ec;
    for (fs::directory_iterator it(path, ec), end; !ec && it != end; it.increment(ec)) {
        const std::string name = it->path().filename().string();
        std::error_code typeError;
        if (hasAriName(name) && !it->is_directory(typeError))
            entries.push_back({ariFrameNumber(name), name});
    }
    if (ec) throw InputError(path + ": cannot list the folder: " + ec.message());
    if (entries.empty()) throw InputError(path + ": no .ari frame file in the folder");
    std::sort(entries.begin(), entries.end());

    AriFolder folder;
    std::set<std::string> clips;
    const Entry* previous = nullptr;
    for (const Entry& e : entries) {
        folder.files.push_back((fs::path(path) / e.name).generic_string());
        if (!e.number) continue;
        clips.insert(clipOf(e.name));
        if (previous && *e.number > *previous->number + 1)
            folder.notes.push_back(gapNote(path, *previous->number, *e.number));
        previous = &e;
    }
    if (clips.size() > 1) {
        std::string note = path + ": frames of " + std::to_string(clips.size()) + " clips (";
        for (const auto& clip : clips) note += (clip == *clips.begin() ? "" : ", ") + clip;
        folder.notes.push_back(note + "), read in frame-number order");
    }
    return folder;
}

Frame ariFrame(const std::string& name, std::istream& in) {
    Frame frame;
    frame.name = name;
    frame.form = InputForm::Ari;
    frame.number = ariFrameNumber(fs::path(name).filename().string());
    if (name == "-") {
        frame.bytes = readHead(in, ArriFileHeader::kSize, name);
        return frame;
    }
    std::error_code ec;
    if (fs::is_directory(name, ec)) throw InputError(name + ": is a directory");
    std::ifstream file;
    file.rdbuf()->pubsetbuf(nullptr, 0);  // no read-ahead into the picture
    file.open(name, std::ios::binary);
    if (!file) throw InputError(name + ": cannot open: " + std::strerror(errno));
    frame.bytes = readHead(file, ArriFileHeader::kSize, name);
    return frame;
}

}  // namespace rdd18::dump
