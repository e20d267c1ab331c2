#include "Platform/macOS/Frameworks/Foundation.hpp"

#include "Platform/macOS/Frameworks/ObjectiveC.hpp"

#include <dlfcn.h>
#include <memory>

// What is used of Foundation, by the names and types of its documentation:
//
//     NSFileManager  + defaultManager
//                    - (BOOL)trashItemAtURL:(NSURL*) resultingItemURL:(NSURL**) error:(NSError**)
//     NSURL          + fileURLWithFileSystemRepresentation:(const char*) isDirectory:(BOOL) relativeToURL:(NSURL*)
//                    - (const char*)fileSystemRepresentation
//     NSError        - domain, - (NSInteger)code, - localizedDescription, - userInfo
//     NSUnderlyingErrorKey, the key under which userInfo has the error beneath

namespace KestrelCore {

namespace {

using ObjectiveC::Object;
using ObjectiveC::send;

/// What the runtime calls BOOL is a `bool` on one processor and a `signed char` on the other, passed alike.
using Boolean = signed char;

/// An error may lie beneath an error, and nobody promises an end.
constexpr int mostErrorsBeneath = 8;

std::string textOf(Object string) {
    const auto* bytes = send<const char*>(string, "UTF8String");
    return bytes == nullptr ? std::string{} : std::string{bytes};
}

/// The constant that names the error beneath in a dictionary; null where there is none.
Object underlyingErrorKey() {
    static void* const library =
        ::dlopen("/System/Library/Frameworks/Foundation.framework/Foundation", RTLD_LAZY | RTLD_LOCAL);
    const auto* key =
        library == nullptr ? nullptr : static_cast<const Object*>(::dlsym(library, "NSUnderlyingErrorKey"));
    return key == nullptr ? nullptr : *key;
}

FoundationError errorOf(Object error, int depth = 0) {
    FoundationError result{.domain = textOf(send<Object>(error, "domain")),
                           .code = send<long>(error, "code"),
                           .description = textOf(send<Object>(error, "localizedDescription")),
                           .underlying = nullptr};
    const Object key = underlyingErrorKey();
    if (key == nullptr || depth == mostErrorsBeneath) return result;
    const Object beneath = send<Object>(send<Object>(error, "userInfo"), "objectForKey:", key);
    if (send<Boolean>(beneath, "isKindOfClass:", ObjectiveC::classNamed("NSError")) != 0)
        result.underlying = std::make_shared<const FoundationError>(errorOf(beneath, depth + 1));
    return result;
}

}  // namespace

std::optional<TrashAnswer> moveByFoundation(const std::string& path, bool isFolder) {
    const ObjectiveC::AutoreleasePool pool;
    const Object manager = send<Object>(ObjectiveC::classNamed("NSFileManager"), "defaultManager");
    const Object url = send<Object>(ObjectiveC::classNamed("NSURL"),
                                    "fileURLWithFileSystemRepresentation:isDirectory:relativeToURL:", path.c_str(),
                                    static_cast<Boolean>(isFolder ? 1 : 0), Object{nullptr});
    if (manager == nullptr || url == nullptr) return std::nullopt;

    Object place = nullptr;
    Object error = nullptr;
    TrashAnswer answer;
    if (send<Boolean>(manager, "trashItemAtURL:resultingItemURL:error:", url, &place, &error) == 0) {
        answer.error = error == nullptr ? FoundationError{} : errorOf(error);
        return answer;
    }
    const auto* bytes = send<const char*>(place, "fileSystemRepresentation");
    if (bytes != nullptr) answer.place = bytes;
    return answer;
}

}  // namespace KestrelCore
