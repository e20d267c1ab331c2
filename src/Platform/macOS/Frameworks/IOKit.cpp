#include "Platform/macOS/Frameworks/IOKit.hpp"

#include "Platform/macOS/Frameworks/DynamicLibrary.hpp"

namespace KestrelCore::IOKit {
namespace {

using CoreFoundation::Object;
using CoreFoundation::Owned;

struct Functions {
    DynamicLibrary library{"/System/Library/Frameworks/IOKit.framework/IOKit"};

    Object (*copyInfo)() = library.function<Object()>("IOPSCopyPowerSourcesInfo");
    Object (*copyList)(Object) = library.function<Object(Object)>("IOPSCopyPowerSourcesList");
    Object (*description)(Object, Object) = library.function<Object(Object, Object)>("IOPSGetPowerSourceDescription");
};

const Functions& functions() {
    static const Functions all;
    return all;
}

}  // namespace

Owned powerSourcesInfo() {
    // What can't be released is not made.
    if (!CoreFoundation::isThere() || functions().copyInfo == nullptr) return nullptr;
    return Owned{functions().copyInfo()};
}

Owned powerSourcesList(Object info) {
    if (info == nullptr || functions().copyList == nullptr) return nullptr;
    return Owned{functions().copyList(info)};
}

Object powerSourceDescription(Object info, Object powerSource) {
    if (info == nullptr || powerSource == nullptr || functions().description == nullptr) return nullptr;
    return functions().description(info, powerSource);
}

}  // namespace KestrelCore::IOKit
