// read_clip, clip_rows and clip_table: whole clips through the tool's own frame source and
// reporter. A clip is read and reported on a thread of its own, without the GIL, and its reports
// are handed over through a short queue, so memory holds a few frames whatever the clip's length.
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <condition_variable>
#include <deque>
#include <exception>
#include <filesystem>
#include <limits>
#include <map>
#include <mutex>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <variant>
#include <vector>

#include "bindings.h"
#include "dump/ari_frames.h"
#include "dump/frames.h"
#include "dump/input.h"
#include "dump/report.h"
#include "dump/value_text.h"
#include "dump/writers.h"
#include "value_conversion.h"

namespace py = pybind11;
using namespace pybind11::literals;
namespace dump = rdd18::dump;

namespace velmora::python {

namespace {

// Reports read ahead of the consumer: enough to keep the reader busy while Python converts one.
constexpr std::size_t kQueueDepth = 32;

// The clip error class, made at import.
PyObject* clipError = nullptr;

// Raises ClipError with the tool's line for an input.
[[noreturn]] void raiseClipError(const char* message) {
    PyErr_SetString(clipError, message);
    throw py::error_already_set();
}

// Text as Python str; bytes that aren't UTF-8 (a file name) become lone surrogates, as in
// os.fsdecode.
py::str text(const std::string& s) {
    PyObject* made =
        PyUnicode_DecodeUTF8(s.data(), static_cast<Py_ssize_t>(s.size()), "surrogateescape");
    if (!made) throw py::error_already_set();
    return py::reinterpret_steal<py::str>(made);
}

// The file system's bytes of a path given as str, bytes or os.PathLike (os.fsencode).
std::string pathOf(const py::object& path) {
    return py::module_::import("os").attr("fsencode")(path).cast<std::string>();
}

// What one clip is read with.
struct ClipRequest {
    std::vector<std::string> files;  // a clip, or the frame files of a folder in frame order
    dump::SourceOptions source;
    dump::ReportOptions report;
};

// Reads the files of a request on its own thread and hands their reports over one at a time.
class ClipStream {
  public:
    explicit ClipStream(ClipRequest request)
        : request_(std::move(request)), thread_([this] { run(); }) {}
    ~ClipStream() {
        {
            const std::lock_guard lock(mutex_);
            stop_ = true;
        }
        changed_.notify_all();
        thread_.join();
    }
    ClipStream(const ClipStream&) = delete;
    ClipStream& operator=(const ClipStream&) = delete;

    // The next report; nothing after the last. A read error is thrown once the reports before it
    // are taken. Blocks: call it without the GIL.
    std::optional<dump::FrameReport> next() {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return !queue_.empty() || done_; });
        if (queue_.empty()) {
            if (error_) std::rethrow_exception(std::exchange(error_, nullptr));
            return std::nullopt;
        }
        dump::FrameReport r = std::move(queue_.front());
        queue_.pop_front();
        changed_.notify_all();
        return r;
    }

  private:
    struct Stopped {};  // unwinds the reader when the consumer goes away

    void run() {
        std::exception_ptr error;
        try {
            const dump::Reporter reporter(request_.report);
            std::istringstream noInput;
            for (const auto& file : request_.files) {
                dump::readFrames(file, request_.source, noInput, [&](const dump::Frame& frame) {
                    dump::FrameReport r = reporter.report(frame);
                    std::unique_lock lock(mutex_);
                    changed_.wait(lock, [this] { return queue_.size() < kQueueDepth || stop_; });
                    if (stop_) throw Stopped{};
                    queue_.push_back(std::move(r));
                    changed_.notify_all();
                });
            }
        } catch (const Stopped&) {
        } catch (...) {
            error = std::current_exception();
        }
        const std::lock_guard lock(mutex_);
        error_ = error;
        done_ = true;
        changed_.notify_all();
    }

    ClipRequest request_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<dump::FrameReport> queue_;
    bool done_ = false, stop_ = false;
    std::exception_ptr error_;
    std::thread thread_;  // last: it starts once everything above is made
};

// The next report of `stream`, waited for without the GIL; a read error becomes ClipError.
std::optional<dump::FrameReport> nextReport(ClipStream& stream) {
    try {
        py::gil_scoped_release unlocked;
        return stream.next();
    } catch (const dump::InputError& e) {
        raiseClipError(e.what());
    }
}

// "A:B", "A:", ":B", "A" as the tool's --frames, or a range of step 1.
dump::FrameRange frameRange(const py::object& frames) {
    if (frames.is_none()) return {};
    if (py::isinstance<py::str>(frames)) {
        const std::string text = frames.cast<std::string>();
        if (const auto range = dump::parseFrameRange(text)) return *range;
        throw py::value_error("frames: '" + text +
                              "' is not A:B, A:, :B or A (frame numbers from 0, B not below A)");
    }
    if (py::isinstance(frames, py::module_::import("builtins").attr("range"))) {
        const auto start = frames.attr("start").cast<std::int64_t>();
        const auto stop = frames.attr("stop").cast<std::int64_t>();
        if (frames.attr("step").cast<std::int64_t>() != 1 || start < 0)
            throw py::value_error("frames: a range from 0 or more, of step 1");
        return {start, std::max(start, stop)};
    }
    throw py::type_error("frames: a text 'A:B' or a range");
}

// The request of `path` read as the tool reads it: a folder as its ARRIRAW frame files (its notes
// of gaps and mixed clips become warnings), anything else as its form says.
ClipRequest makeRequest(const py::object& given, const py::object& flavour, dump::UnitsView units,
                        const py::object& frames) {
    const std::string path = pathOf(given);
    ClipRequest request;
    request.source.frames = frameRange(frames);
    request.report.units = units;
    if (!flavour.is_none()) {
        const auto f = rdd18::flavourFromName(flavour.cast<std::string>());
        if (!f) throw py::value_error("unknown flavour: use 'standard', 'sony' or 'varicam'");
        request.report.flavour = request.report.rtmdFlavour = *f;
    }
    if (path == "-") raiseClipError("-: a clip is read from a file, not standard input");
    std::error_code ec;
    if (!std::filesystem::is_directory(path, ec)) {
        request.files = {path};
        return request;
    }
    try {
        dump::AriFolder folder = dump::listAriFolder(path);
        request.files = std::move(folder.files);
        for (const auto& note : folder.notes) {
            if (PyErr_WarnEx(PyExc_UserWarning, note.c_str(), 1) < 0)
                throw py::error_already_set();  // warnings turned into errors
        }
    } catch (const dump::InputError& e) {
        raiseClipError(e.what());
    }
    return request;
}

// The record of a report as the tool's JSON Lines hold it: "file", then the sections in order.
py::dict record(const dump::FrameReport& r) {
    py::dict d;
    d["file"] = text(r.source);
    for (const auto& s : r.sections) d[text(s.name)] = toPython(s.value);
    return d;
}

// A generator of the records of one clip.
class ClipReader {
  public:
    explicit ClipReader(ClipRequest request)
        : stream_(std::make_unique<ClipStream>(std::move(request))) {}

    py::dict next() {
        std::optional<dump::FrameReport> r;
        if (stream_) r = nextReport(*stream_);
        if (!r) {
            close();
            throw py::stop_iteration();
        }
        return record(*r);
    }
    void close() { stream_.reset(); }

  private:
    std::unique_ptr<ClipStream> stream_;
};

// --- Tables ------------------------------------------------------------------------------------

// A cell as the tool's CSV has it: every number with its value (a float as the double of its
// shortest text, the CSV's digits), strings and data (as hex) as text.
using Cell = std::variant<std::int64_t, std::uint64_t, double, bool, std::string>;

std::optional<Cell> cellOf(const rdd18::Value& v) {
    if (v.isString()) return dump::validUtf8(v.string());
    if (v.isData()) return dump::hexText(v.data());
    if (!v.isNumber()) return std::nullopt;  // an empty dictionary or array: no column, as in CSV
    const rdd18::Number& n = v.number();
    if (n.kind() == rdd18::NumberKind::Bool) return n.boolValue();
    if (n.kind() == rdd18::NumberKind::Float) return std::stod(dump::numberText(n));
    if (n.kind() == rdd18::NumberKind::Double) return n.doubleValue();
    if (n.isUnsigned()) return n.uint64Value();
    return n.int64Value();
}

py::object cellObject(const Cell& c) {
    if (const auto* s = std::get_if<std::string>(&c)) return text(*s);
    return std::visit([](const auto& v) -> py::object { return py::cast(v); }, c);
}

// A column's cells: (frame's row, cell), in row order.
using Column = std::vector<std::pair<std::size_t, Cell>>;

// The cells of a clip's frames by column, and the columns in the CSV's order.
struct Table {
    std::map<std::string, std::size_t> index;  // name -> place in `cells`
    std::vector<Column> cells;                 // by place
    dump::CsvColumns columns;
    std::size_t rows = 0;

    void add(const dump::FrameReport& r) {
        columns.add(r);
        put("file", r.source);
        for (const auto& s : r.sections) {
            if (s.name == dump::kPacketsSection) continue;
            dump::flatten(s.name, s.value, [&](const std::string& key, const rdd18::Value& v) {
                if (auto c = cellOf(v)) put(key, std::move(*c));
            });
        }
        ++rows;
    }
    void put(const std::string& key, Cell cell) {
        const auto [at, added] = index.try_emplace(key, cells.size());
        if (added) cells.emplace_back();
        cells[at->second].emplace_back(rows, std::move(cell));
    }
};

// The pandas dtype of a column: nullable integers and booleans, so that a frame without the key
// doesn't turn the column into floats; float64 with NaN for floats; objects otherwise.
const char* dtypeOf(const Column& column) {
    bool ints = true, uints = true, floats = true, bools = true;
    for (const auto& [row, cell] : column) {
        const auto* i = std::get_if<std::int64_t>(&cell);
        const auto* u = std::get_if<std::uint64_t>(&cell);
        ints = ints && (i || (u && *u <= std::uint64_t{std::numeric_limits<std::int64_t>::max()}));
        uints = uints && (u || (i && *i >= 0));
        floats = floats && std::holds_alternative<double>(cell);
        bools = bools && std::holds_alternative<bool>(cell);
    }
    return ints ? "Int64" : uints ? "UInt64" : floats ? "float64" : bools ? "boolean" : "object";
}

// The numbers of a column filled into a NumPy array in place, and the mask of its frames without
// one: the parts of pandas' masked arrays, made without a Python object per cell.
template <class T>
std::pair<py::array_t<T>, py::array_t<bool>> filled(const Column& column, std::size_t rows,
                                                    T none) {
    py::array_t<T> values(static_cast<py::ssize_t>(rows));
    py::array_t<bool> mask(static_cast<py::ssize_t>(rows));
    T* v = values.mutable_data();
    bool* m = mask.mutable_data();
    std::fill(v, v + rows, none);
    std::fill(m, m + rows, true);
    for (const auto& [row, cell] : column) {
        v[row] = std::visit(
            [](const auto& x) -> T {
                if constexpr (std::is_arithmetic_v<std::decay_t<decltype(x)>>)
                    return static_cast<T>(x);
                return T{};  // text never stands in a numeric column
            },
            cell);
        m[row] = false;
    }
    return {std::move(values), std::move(mask)};
}

// The pandas array of the column `name`, of the dtype its cells allow (see `dtypeOf`).
py::object columnArray(const py::object& pandas, const Table& table, const std::string& name) {
    const Column& column = table.cells[table.index.at(name)];
    const std::string dtype = dtypeOf(column);
    const py::object arrays = pandas.attr("arrays");
    if (dtype == "Int64") {
        auto [v, m] = filled<std::int64_t>(column, table.rows, 0);
        return arrays.attr("IntegerArray")(v, m);
    }
    if (dtype == "UInt64") {
        auto [v, m] = filled<std::uint64_t>(column, table.rows, 0);
        return arrays.attr("IntegerArray")(v, m);
    }
    if (dtype == "boolean") {
        auto [v, m] = filled<bool>(column, table.rows, false);
        return arrays.attr("BooleanArray")(v, m);
    }
    if (dtype == "float64")
        return filled<double>(column, table.rows, std::numeric_limits<double>::quiet_NaN()).first;
    py::list values(table.rows);
    for (std::size_t i = 0; i < table.rows; ++i) values[i] = py::none();
    for (const auto& [row, cell] : column) values[row] = cellObject(cell);
    return pandas.attr("array")(values, "dtype"_a = "object");
}

Table readTable(ClipRequest request) {
    ClipStream stream(std::move(request));
    Table table;
    while (auto r = stream.next()) table.add(*r);
    return table;
}

py::object clipTable(const py::object& path, bool units, const py::object& flavour,
                     const py::object& frames) {
    ClipRequest request =
        makeRequest(path, flavour, units ? dump::UnitsView::Beside : dump::UnitsView::Off, frames);
    Table table;
    try {
        py::gil_scoped_release unlocked;
        table = readTable(std::move(request));
    } catch (const dump::InputError& e) {
        raiseClipError(e.what());
    }
    const std::vector<std::string> order = table.columns.columns();
    py::object pandas;
    try {
        pandas = py::module_::import("pandas");
    } catch (const py::error_already_set&) {
        std::vector<py::dict> rows(table.rows);
        for (const auto& name : order) {
            const py::str key = text(name);
            for (const auto& [row, cell] : table.cells[table.index.at(name)])
                rows[row][key] = cellObject(cell);
        }
        py::list list;
        for (auto& row : rows) list.append(std::move(row));
        return list;
    }
    py::dict data;
    for (const auto& name : order) data[text(name)] = columnArray(pandas, table, name);
    py::list names;
    for (const auto& name : order) names.append(text(name));
    return pandas.attr("DataFrame")(data, "columns"_a = names);
}

}  // namespace

void bindClips(py::module_& m) {
    clipError = PyErr_NewExceptionWithDoc(
        "velmora_rdd18.ClipError",
        "A clip (or folder of frames) that can't be opened or read; the message is the line the "
        "command-line tool writes for it. An OSError and a ValueError.",
        py::make_tuple(py::handle(PyExc_OSError), py::handle(PyExc_ValueError)).ptr(), nullptr);
    if (!clipError) throw py::error_already_set();
    m.attr("ClipError") = py::handle(clipError);
#ifdef VELMORA_HAVE_CLIPS
    m.attr("clips_supported") = true;
#else
    m.attr("clips_supported") = false;
#endif

    py::class_<ClipReader>(m, "ClipReader",
                           "The records of one clip, read ahead on a thread of its own.")
        .def("__iter__", [](py::object self) { return self; })
        .def("__next__", &ClipReader::next)
        .def("close", &ClipReader::close, "Stops reading; the rest of the clip is not read.")
        .def("__enter__", [](py::object self) { return self; })
        .def("__exit__", [](ClipReader& r, const py::args&) { r.close(); });

    m.def(
        "read_clip",
        [](const py::object& path, const py::object& flavour, bool units,
           const py::object& frames) {
            return ClipReader(makeRequest(
                path, flavour, units ? dump::UnitsView::Beside : dump::UnitsView::Off, frames));
        },
        "path"_a, py::kw_only(), "flavour"_a = py::none(), py::arg("units").noconvert() = false,
        "frames"_a = py::none(),
        R"(Reads a clip and yields one dict per frame: the records velmora-dump -f jsonl writes.

path (str, bytes or os.PathLike): an MXF clip (ST 436M ANC track), an MP4 or MOV clip (rtmd track), a folder of ARRIRAW
frames (.ari, in frame order; gaps and mixed clips give a UserWarning), or any single frame file
the tool reads. Each record has 'file', then where known 'frame', 'time', 'timecode', then
'rdd18' and 'arri' (the parsers' answers, as parse_rdd18 gives them) and, with units=True,
'units'. flavour: None reads ANC with 'standard' and rtmd samples with 'sony', as the tool does;
a name reads both with it. frames: 'A:B', 'A:', ':B', 'A' or range(A, B), frames from 0.
The clip is read ahead on a thread of its own, without the GIL, a few frames at a time, so
memory stays flat. A file that can't be opened or read raises ClipError with the tool's message
(frames read before a read error are yielded first). Without libavformat (clips_supported is
False) every MXF, MP4 or MOV raises ClipError saying so.)");

    m.def("clip_table", &clipTable, "path"_a, py::arg("units").noconvert() = true, py::kw_only(),
          "flavour"_a = py::none(), "frames"_a = py::none(),
          R"(Reads a clip (as read_clip) into a table of one row per frame.

Columns are the tool's CSV columns, in its order: 'file', 'frame', 'time', 'timecode', then
each section's keys flattened ('rdd18.LensZoom35mmStillCameraEquivalent',
'units.rdd18.focalLengthMm', 'rdd18.CameraColorMatrixItem[0].num'). Cells hold what the CSV
holds, typed: int, bool, float (a single-precision number as the double of its shortest text,
the CSV's digits), str, and data as lower-case hex. Returns a pandas.DataFrame (nullable Int64
and boolean columns, float64, object) when pandas imports, else a list of dicts, one per frame,
with the keys that frame has. units adds the 'units' columns. Raises ClipError as read_clip.)");
}

}  // namespace velmora::python
