#include "Platform/macOS/Frameworks/ObjectiveC.hpp"

#include "Platform/macOS/Frameworks/DynamicLibrary.hpp"

namespace KestrelCore::ObjectiveC {
namespace {

struct Functions {
    DynamicLibrary library{"/usr/lib/libobjc.A.dylib"};
    // Its classes are known to the runtime once it is loaded.
    DynamicLibrary foundation{"/System/Library/Frameworks/Foundation.framework/Foundation"};

    Object (*classNamed)(const char*) = library.function<Object(const char*)>("objc_getClass");
    Selector (*selectorNamed)(const char*) = library.function<Selector(const char*)>("sel_registerName");
    void (*message)() = library.function<void()>("objc_msgSend");
    void* (*pushPool)() = library.function<void*()>("objc_autoreleasePoolPush");
    void (*popPool)(void*) = library.function<void(void*)>("objc_autoreleasePoolPop");

    [[nodiscard]] bool areComplete() const {
        return classNamed != nullptr && selectorNamed != nullptr && message != nullptr && pushPool != nullptr &&
               popPool != nullptr;
    }
};

/// Null where one of them is missing: then none is used.
const Functions* functions() {
    static const Functions all;
    static const bool areComplete = all.areComplete();
    return areComplete ? &all : nullptr;
}

}  // namespace

bool isThere() { return functions() != nullptr; }

Object classNamed(const char* name) { return functions() == nullptr ? nullptr : functions()->classNamed(name); }

Selector selectorNamed(const char* name) { return functions() == nullptr ? nullptr : functions()->selectorNamed(name); }

void (*messageFunction())() { return functions() == nullptr ? nullptr : functions()->message; }

AutoreleasePool::AutoreleasePool() : pool_{functions() == nullptr ? nullptr : functions()->pushPool()} {}

AutoreleasePool::~AutoreleasePool() {
    if (functions() != nullptr && pool_ != nullptr) functions()->popPool(pool_);
}

}  // namespace KestrelCore::ObjectiveC
