#include "value_conversion.h"

#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace py = pybind11;

namespace velmora::python {

namespace {

// Takes over a new reference from the C API; a null one means a Python error is set.
py::object owned(PyObject* object) {
    if (object == nullptr) throw py::error_already_set();
    return py::reinterpret_steal<py::object>(object);
}

PyObject* newText(std::string_view s) {
    return PyUnicode_DecodeUTF8(s.data(), static_cast<Py_ssize_t>(s.size()), "surrogateescape");
}

/// Keys and kind names come from a small set (item, field and kind names), so each is made into
/// a Python str once and kept. The cache is bounded: beyond its size (a frame of many unknown
/// tags) keys are made anew. Only touched with the GIL held.
class KeyCache {
  public:
    /// A new reference to the str of `key`, or null with a Python error set.
    PyObject* get(std::string_view key) {
        if (const auto found = keys_.find(key); found != keys_.end()) {
            Py_INCREF(found->second);
            return found->second;
        }
        PyObject* made = newText(key);
        if (made != nullptr && keys_.size() < kMaxKeys) {
            Py_INCREF(made);  // the cache's own reference, kept for the life of the process
            keys_.emplace(std::string(key), made);
        }
        return made;
    }

  private:
    static constexpr std::size_t kMaxKeys = 4096;
    struct Hash {
        using is_transparent = void;
        std::size_t operator()(std::string_view s) const noexcept {
            return std::hash<std::string_view>{}(s);
        }
    };
    std::unordered_map<std::string, PyObject*, Hash, std::equal_to<>> keys_;
};

PyObject* keyObject(std::string_view key) {
    static KeyCache* const cache = new KeyCache;  // never destroyed: it outlives the interpreter
    return cache->get(key);
}

/// The keys of the last conversion, in the order met. Frame after frame of one source has the
/// same shape, so the key at each place is most often the one met there last time, found with
/// one comparison instead of a hash. Only touched with the GIL held.
class KeySequence {
  public:
    void restart() noexcept { next_ = 0; }

    /// A new reference to the str of `key`, or null with a Python error set.
    PyObject* get(std::string_view key) {
        if (next_ < slots_.size() && slots_[next_].first == key) {
            PyObject* same = slots_[next_++].second;
            Py_INCREF(same);
            return same;
        }
        PyObject* made = keyObject(key);
        if (made == nullptr) return nullptr;
        Py_INCREF(made);  // the slot's reference
        if (next_ < slots_.size()) {
            Py_DECREF(slots_[next_].second);
            slots_[next_] = {std::string(key), made};
        } else if (slots_.size() < kMaxSlots) {
            slots_.emplace_back(std::string(key), made);
        } else {
            Py_DECREF(made);
            return made;
        }
        ++next_;
        return made;
    }

  private:
    static constexpr std::size_t kMaxSlots = 1024;
    std::vector<std::pair<std::string, PyObject*>> slots_;
    std::size_t next_ = 0;
};

PyObject* newNumber(const rdd18::Number& n) {
    switch (n.kind()) {
        case rdd18::NumberKind::Bool:
            return PyBool_FromLong(n.boolValue());
        case rdd18::NumberKind::Float:  // float to double is exact, NaN and infinity included
        case rdd18::NumberKind::Double:
            return PyFloat_FromDouble(n.doubleValue());
        default:
            break;
    }
    if (n.isSigned()) return PyLong_FromLongLong(n.int64Value());
    return PyLong_FromUnsignedLongLong(n.uint64Value());
}

/// Builds the Python form of values through the C API: a new reference, or null with a Python
/// error set. `Leaf` makes a number, string or data value's object.
template <class Leaf>
PyObject* newObject(const rdd18::Value& value, const Leaf& leaf, KeySequence& keys);

template <class Leaf>
PyObject* newDict(const rdd18::Dictionary& dictionary, const Leaf& leaf, KeySequence& keys) {
    // Sized for its keys up front: a dict grown key by key is rebuilt several times.
    PyObject* out = _PyDict_NewPresized(static_cast<Py_ssize_t>(dictionary.size()));
    if (out == nullptr) return nullptr;
    for (const auto& [key, value] : dictionary) {
        PyObject* k = keys.get(key);
        PyObject* v = k ? newObject(value, leaf, keys) : nullptr;
        const bool set = v != nullptr && PyDict_SetItem(out, k, v) == 0;
        Py_XDECREF(k);
        Py_XDECREF(v);
        if (!set) {
            Py_DECREF(out);
            return nullptr;
        }
    }
    return out;
}

template <class Leaf>
PyObject* newObject(const rdd18::Value& value, const Leaf& leaf, KeySequence& keys) {
    if (value.isArray()) {
        const rdd18::Array& array = value.array();
        PyObject* out = PyList_New(static_cast<Py_ssize_t>(array.size()));
        if (out == nullptr) return nullptr;
        for (std::size_t i = 0; i < array.size(); ++i) {
            PyObject* element = newObject(array[i], leaf, keys);
            if (element == nullptr) {
                Py_DECREF(out);
                return nullptr;
            }
            PyList_SET_ITEM(out, static_cast<Py_ssize_t>(i), element);  // steals the reference
        }
        return out;
    }
    if (value.isDictionary()) return newDict(value.dictionary(), leaf, keys);
    return leaf(value);
}

PyObject* newValueLeaf(const rdd18::Value& value) {
    if (value.isNumber()) return newNumber(value.number());
    if (value.isString()) return newText(value.string());
    const auto& bytes = value.data().bytes;
    return PyBytes_FromStringAndSize(reinterpret_cast<const char*>(bytes.data()),
                                     static_cast<Py_ssize_t>(bytes.size()));
}

PyObject* newKindLeaf(const rdd18::Value& value) {
    if (value.isNumber()) return keyObject(rdd18::numberKindName(value.number().kind()));
    Py_RETURN_NONE;
}

// Values and kinds each have their own sequence of keys.
KeySequence& valueKeys() {
    static KeySequence* const keys = new KeySequence;
    keys->restart();
    return *keys;
}

KeySequence& kindKeys() {
    static KeySequence* const keys = new KeySequence;
    keys->restart();
    return *keys;
}

}  // namespace

py::dict toPython(const rdd18::Dictionary& dictionary) {
    return owned(newDict(dictionary, newValueLeaf, valueKeys()));
}

py::object toPython(const rdd18::Value& value) {
    return owned(newObject(value, newValueLeaf, valueKeys()));
}

py::dict kindsOf(const rdd18::Dictionary& dictionary) {
    return owned(newDict(dictionary, newKindLeaf, kindKeys()));
}

py::object kindsOf(const rdd18::Value& value) {
    return owned(newObject(value, newKindLeaf, kindKeys()));
}

py::object answerToPython(const rdd18::Dictionary& answer, bool kinds) {
    if (!kinds) return toPython(answer);
    return py::make_tuple(toPython(answer), kindsOf(answer));
}

}  // namespace velmora::python
