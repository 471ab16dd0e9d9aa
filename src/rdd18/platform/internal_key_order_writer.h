// Writing a dictionary whose keys the writer produces in ascending order. Private to the library.
#pragma once

#include <cassert>
#include <string>
#include <utility>

#include "rdd18/platform/value.h"

namespace rdd18 {

/// Appends entries to a dictionary without comparing keys, for writers whose keys are known to
/// come in strictly ascending byte order: the rows of a key-sorted table walked in order, or the
/// fixed keys of a small literal. `Dictionary::set` compares each new key with the last one to
/// find that it may append; for names that share long prefixes that comparison is a good part of
/// the cost of an answer. Debug builds check the order.
class KeyOrderWriter {
  public:
    explicit KeyOrderWriter(Dictionary& d) noexcept : d_(d) {}

    /// Appends `key`, which must sort after every key of the dictionary.
    void append(std::string&& key, Value&& value) {
        assert((d_.entries_.empty() || d_.entries_.back().first < key) && "keys in order");
        d_.entries_.emplace_back(std::move(key), std::move(value));
    }

  private:
    Dictionary& d_;
};

}  // namespace rdd18
