#include "CInterface/Boundary.hpp"

#include "KestrelCore/Base/Path.hpp"
#include "KestrelCore/Base/PlatformError.hpp"
#include "KestrelCore/Exchange/ExchangeFormat.hpp"
#include "KestrelCore/JSON/CodingErrors.hpp"
#include "KestrelCore/KestrelCore.hpp"
#include "KestrelCore/Model/KestrelError.hpp"

#include <algorithm>
#include <new>
#include <system_error>

using namespace KestrelCore;

struct kestrel_error {
    kestrel_code code = KESTREL_INTERNAL;
    int systemCode = 0;
    std::string message;
};

namespace KestrelC {

namespace {

/// Made before it is needed, since then there is no room for it. Its text is short enough to need none of its own.
kestrel_error& outOfMemory() {
    static kestrel_error error{.code = KESTREL_OUT_OF_MEMORY, .systemCode = 0, .message = "Out of memory."};
    return error;
}

kestrel_code codeOf(KestrelError::Case errorCase) {
    switch (errorCase) {
    case KestrelError::Case::unavailable: return KESTREL_UNAVAILABLE;
    case KestrelError::Case::accessDenied: return KESTREL_ACCESS_DENIED;
    case KestrelError::Case::safetyViolation: return KESTREL_SAFETY_VIOLATION;
    case KestrelError::Case::staleItem: return KESTREL_STALE_ITEM;
    }
    return KESTREL_INTERNAL;
}

/// The first POSIX error from the outside in.
int systemCodeOf(const PlatformError& error) {
    for (const PlatformError* each = &error; each != nullptr; each = each->underlying()) {
        if (each->domain() == PlatformError::Domain::posix) return each->code();
    }
    return 0;
}

kestrel_error describedCurrentException() {
    const auto described = [](kestrel_code code, const char* message, int systemCode = 0) {
        return kestrel_error{.code = code, .systemCode = systemCode, .message = message};
    };
    try {
        throw;
    } catch (const Failure& failure) {
        return described(failure.code(), failure.what());
    } catch (const KestrelError& error) {
        return described(codeOf(error.errorCase()), error.what());
    } catch (const PlatformError& error) {
        return described(KESTREL_SYSTEM, error.what(), systemCodeOf(error));
    } catch (const std::system_error& error) {
        return described(KESTREL_SYSTEM, error.what(), error.code().value());
    } catch (const DecodingError& error) {
        return described(KESTREL_DAMAGED, error.what());
    } catch (const EncodingError& error) {
        return described(KESTREL_DAMAGED, error.what());
    } catch (const ImportError& error) {
        return described(KESTREL_DAMAGED, error.what());
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception& error) {
        return described(KESTREL_INTERNAL, error.what());
    } catch (...) {
        return described(KESTREL_INTERNAL, "Something unknown went wrong.");
    }
}

}  // namespace

kestrel_code codeOfCurrentException(kestrel_error** error) noexcept {
    try {
        kestrel_error described = describedCurrentException();
        const kestrel_code code = described.code;
        if (error != nullptr) *error = new kestrel_error{std::move(described)};
        return code;
    } catch (...) {
        // There is no room: not for what was asked, or not for saying why that failed.
        if (error != nullptr) *error = &outOfMemory();
        return KESTREL_OUT_OF_MEMORY;
    }
}

Text textOf(const char* text, const char* name) {
    const std::string_view bytes{&needed(text, name)};
    Text result{bytes};
    if (result.view() != bytes) throw Failure{KESTREL_INVALID_ARGUMENT, std::string{"“"} + name + "” is not UTF-8."};
    return result;
}

Text exactPathOf(const char* path, const char* name) {
    Text result = textOf(path, name);
    if (!result.view().starts_with('/'))
        throw Failure{KESTREL_INVALID_ARGUMENT, std::string{"“"} + name + "” is no absolute path."};
    return result;
}

Text pathOf(const char* path, const char* name) { return Path::standardized(exactPathOf(path, name)); }

std::string_view bytesOf(const char* bytes, std::size_t length, const char* name) {
    const std::string_view result{&needed(bytes, name), length};
    if (result.empty() || result.find('\0') != std::string_view::npos)
        throw Failure{KESTREL_INVALID_ARGUMENT, std::string{"“"} + name + "” is empty or holds a NUL."};
    return result;
}

void throwCancelled() { throw Failure{KESTREL_CANCELLED, "The operation was cancelled."}; }

}  // namespace KestrelC

using namespace KestrelC;

const char* kestrel_version(void) noexcept { return reinterpret_cast<const char*>(KestrelCoreVersionString); }

kestrel_code kestrel_error_code(const kestrel_error* error) noexcept {
    return error == nullptr ? KESTREL_OK : error->code;
}

const char* kestrel_error_message(const kestrel_error* error) noexcept {
    return error == nullptr ? "" : error->message.c_str();
}

int kestrel_error_system_code(const kestrel_error* error) noexcept { return error == nullptr ? 0 : error->systemCode; }

void kestrel_error_free(kestrel_error* error) noexcept {
    if (error != &outOfMemory()) delete error;
}

const char* kestrel_code_name(kestrel_code code) noexcept {
    switch (code) {
    case KESTREL_OK: return "KESTREL_OK";
    case KESTREL_INVALID_ARGUMENT: return "KESTREL_INVALID_ARGUMENT";
    case KESTREL_OUT_OF_MEMORY: return "KESTREL_OUT_OF_MEMORY";
    case KESTREL_CANCELLED: return "KESTREL_CANCELLED";
    case KESTREL_NOT_FOUND: return "KESTREL_NOT_FOUND";
    case KESTREL_UNAVAILABLE: return "KESTREL_UNAVAILABLE";
    case KESTREL_ACCESS_DENIED: return "KESTREL_ACCESS_DENIED";
    case KESTREL_SAFETY_VIOLATION: return "KESTREL_SAFETY_VIOLATION";
    case KESTREL_STALE_ITEM: return "KESTREL_STALE_ITEM";
    case KESTREL_SYSTEM: return "KESTREL_SYSTEM";
    case KESTREL_DAMAGED: return "KESTREL_DAMAGED";
    case KESTREL_INTERNAL: return "KESTREL_INTERNAL";
    default: return "KESTREL_UNKNOWN";
    }
}

kestrel_code kestrel_cancellation_new(kestrel_cancellation** cancellation, kestrel_error** error) noexcept {
    return making(cancellation, error, [] { return std::make_unique<kestrel_cancellation>(); });
}

void kestrel_cancellation_cancel(const kestrel_cancellation* cancellation) noexcept {
    if (cancellation != nullptr) cancellation->token.cancel();
}

bool kestrel_cancellation_is_cancelled(const kestrel_cancellation* cancellation) noexcept {
    return cancellation != nullptr && cancellation->token.isCancelled();
}

void kestrel_cancellation_free(kestrel_cancellation* cancellation) noexcept { delete cancellation; }
