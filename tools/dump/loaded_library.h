// Libraries the tool loads when an input first needs them (libav for clips, libpcap for
// captures), so that a run over packet files doesn't map them, nor the libraries behind them.
#pragma once

#include <dlfcn.h>

#include <initializer_list>
#include <string>
#include <type_traits>

#include "dump/input.h"

namespace rdd18::dump {

/// A library opened by the first of its sonames that loads. It stays loaded for the life of the
/// process: the functions bound from it are kept in statics.
class LoadedLibrary {
  public:
    /// Throws `InputError` with `missing` (and the loader's reason) when no soname loads.
    LoadedLibrary(std::initializer_list<const char*> sonames, const std::string& missing) {
        for (const char* soname : sonames) {
            if ((handle_ = dlopen(soname, RTLD_NOW | RTLD_LOCAL)) != nullptr) {
                name_ = soname;
                return;
            }
        }
        const char* why = dlerror();
        throw InputError(missing + " (" + (why ? why : "not found") + ")");
    }

    /// Sets `function` to the library's function `name`; throws `InputError` where it has none.
    template <class Function>
    void bind(Function*& function, const char* name) const {
        void* symbol = dlsym(handle_, name);
        if (!symbol) throw InputError(name_ + " has no function " + name);
        function = reinterpret_cast<Function*>(symbol);
    }

  private:
    void* handle_ = nullptr;
    std::string name_;
};

}  // namespace rdd18::dump
