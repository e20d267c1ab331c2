#pragma once

#include <kestrel/kestrel.h>

#include "KestrelCore/Base/CancellationToken.hpp"
#include "KestrelCore/Base/Date.hpp"
#include "KestrelCore/Base/Text.hpp"

#include <cstddef>
#include <exception>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

struct kestrel_cancellation {
    KestrelCore::CancellationToken token;
};

namespace KestrelC {

using KestrelCore::Text;

/// A failure that has its code already.
class Failure : public std::exception {
public:
    Failure(kestrel_code code, std::string message) : code_{code}, message_{std::move(message)} {}

    [[nodiscard]] kestrel_code code() const noexcept { return code_; }
    [[nodiscard]] const char* what() const noexcept override { return message_.c_str(); }

private:
    kestrel_code code_;
    std::string message_;
};

/// The one place where exceptions end: gives the code of the one that is being handled, and makes an error of it where
/// `error` is not null.
[[nodiscard]] kestrel_code codeOfCurrentException(kestrel_error** error) noexcept;

/// Runs what a function of the interface does; nothing leaves it but a code.
template <typename Work>
[[nodiscard]] kestrel_code guarded(kestrel_error** error, Work&& work) noexcept {
    if (error != nullptr) *error = nullptr;
    try {
        std::forward<Work>(work)();
        return KESTREL_OK;
    } catch (...) {
        return codeOfCurrentException(error);
    }
}

/// The same for what makes a handle: `work` gives it as a unique pointer.
template <typename Handle, typename Work>
[[nodiscard]] kestrel_code making(Handle** result, kestrel_error** error, Work&& work) noexcept {
    if (result != nullptr) *result = nullptr;
    return guarded(error, [&] {
        if (result == nullptr) throw Failure{KESTREL_INVALID_ARGUMENT, "There is no place for the result."};
        *result = std::forward<Work>(work)().release();
    });
}

/// What a pointer leads to. Throws an invalid argument that names it where it leads to nothing.
template <typename Value>
[[nodiscard]] Value& needed(Value* value, const char* name) {
    if (value == nullptr) throw Failure{KESTREL_INVALID_ARGUMENT, std::string{"“"} + name + "” is NULL."};
    return *value;
}

/// Throws an invalid argument for NULL and for what is not UTF-8: a repaired text would be another one.
[[nodiscard]] Text textOf(const char* text, const char* name);
/// The same for a path, which must be absolute: as it stands.
[[nodiscard]] Text exactPathOf(const char* path, const char* name);
/// The same in the form that records have: for looking something up, since no disk is asked what ".." stands for.
[[nodiscard]] Text pathOf(const char* path, const char* name);
/// Throws an invalid argument for NULL, for no bytes, and for bytes with a NUL among them.
[[nodiscard]] std::string_view bytesOf(const char* bytes, std::size_t length, const char* name);

/// Of one that nobody sets, for NULL.
[[nodiscard]] inline KestrelCore::CancellationToken tokenOf(const kestrel_cancellation* cancellation) {
    return cancellation == nullptr ? KestrelCore::CancellationToken{} : cancellation->token;
}
/// Throws that the operation was cancelled.
[[noreturn]] void throwCancelled();

/// Valid as long as what it views; never absent.
[[nodiscard]] inline kestrel_text viewOf(std::string_view text) noexcept {
    return {text.data() == nullptr ? "" : text.data(), text.size()};
}
[[nodiscard]] inline kestrel_text viewOf(const Text& text) noexcept { return viewOf(text.view()); }

}  // namespace KestrelC
