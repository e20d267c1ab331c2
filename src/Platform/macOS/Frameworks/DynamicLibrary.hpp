#pragma once

#include <dlfcn.h>

namespace KestrelCore {

/// A library of the system, loaded when it is first asked for and kept from then on: linking needs none of it, and a
/// system without it has the answer that its users give for nothing. Any thread.
class DynamicLibrary {
public:
    explicit DynamicLibrary(const char* path) : handle_{dlopen(path, RTLD_LAZY | RTLD_LOCAL)} {}

    /// The function of that name with the signature that its documentation gives; null where there is none.
    template <typename Signature>
    [[nodiscard]] Signature* function(const char* name) const {
        return handle_ == nullptr ? nullptr : reinterpret_cast<Signature*>(dlsym(handle_, name));
    }

private:
    void* handle_;
};

}  // namespace KestrelCore
