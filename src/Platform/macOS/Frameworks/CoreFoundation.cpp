#include "Platform/macOS/Frameworks/CoreFoundation.hpp"

#include "Platform/macOS/Frameworks/DynamicLibrary.hpp"

namespace KestrelCore::CoreFoundation {
namespace {

// The framework's own words for the types and constants below.
using TypeIdentifier = unsigned long;  // CFTypeID
using Index = long;                    // CFIndex
using Boolean = unsigned char;
constexpr Index doubleType = 13;            // kCFNumberDoubleType
constexpr std::uint32_t utf8 = 0x08000100;  // kCFStringEncodingUTF8

struct Functions {
    DynamicLibrary library{"/System/Library/Frameworks/CoreFoundation.framework/CoreFoundation"};

    void (*release)(Object) = library.function<void(Object)>("CFRelease");
    TypeIdentifier (*typeOf)(Object) = library.function<TypeIdentifier(Object)>("CFGetTypeID");
    TypeIdentifier (*arrayType)() = library.function<TypeIdentifier()>("CFArrayGetTypeID");
    TypeIdentifier (*dictionaryType)() = library.function<TypeIdentifier()>("CFDictionaryGetTypeID");
    TypeIdentifier (*numberType)() = library.function<TypeIdentifier()>("CFNumberGetTypeID");
    TypeIdentifier (*stringType)() = library.function<TypeIdentifier()>("CFStringGetTypeID");
    Index (*arrayCount)(Object) = library.function<Index(Object)>("CFArrayGetCount");
    Object (*arrayElement)(Object, Index) = library.function<Object(Object, Index)>("CFArrayGetValueAtIndex");
    Object (*dictionaryValue)(Object, Object) = library.function<Object(Object, Object)>("CFDictionaryGetValue");
    Boolean (*numberValue)(Object, Index, void*) = library.function<Boolean(Object, Index, void*)>("CFNumberGetValue");
    Object (*makeString)(Object, const char*, std::uint32_t) =
        library.function<Object(Object, const char*, std::uint32_t)>("CFStringCreateWithCString");
    Index (*stringLength)(Object) = library.function<Index(Object)>("CFStringGetLength");
    Index (*mostStringBytes)(Index, std::uint32_t) =
        library.function<Index(Index, std::uint32_t)>("CFStringGetMaximumSizeForEncoding");
    Boolean (*stringBytes)(Object, char*, Index, std::uint32_t) =
        library.function<Boolean(Object, char*, Index, std::uint32_t)>("CFStringGetCString");

    Object (*languages)() = library.function<Object()>("CFLocaleCopyPreferredLanguages");

    [[nodiscard]] bool areComplete() const {
        return release != nullptr && typeOf != nullptr && arrayType != nullptr && dictionaryType != nullptr &&
               numberType != nullptr && stringType != nullptr && arrayCount != nullptr && arrayElement != nullptr &&
               dictionaryValue != nullptr && numberValue != nullptr && makeString != nullptr &&
               stringLength != nullptr && mostStringBytes != nullptr && stringBytes != nullptr;
    }
};

/// Null where one of them is missing: then none is used.
const Functions* functions() {
    static const Functions all;
    static const bool areComplete = all.areComplete();
    return areComplete ? &all : nullptr;
}

bool isOf(Object object, TypeIdentifier (*Functions::*type)()) {
    const Functions* const cf = functions();
    return cf != nullptr && object != nullptr && cf->typeOf(object) == (cf->*type)();
}

}  // namespace

bool isThere() { return functions() != nullptr; }

void Release::operator()(Object object) const {
    if (const Functions* const cf = functions()) cf->release(object);
}

std::size_t arrayCount(Object array) {
    return isOf(array, &Functions::arrayType) ? static_cast<std::size_t>(functions()->arrayCount(array)) : 0;
}

Object arrayElement(Object array, std::size_t index) {
    return index < arrayCount(array) ? functions()->arrayElement(array, static_cast<Index>(index)) : nullptr;
}

bool isDictionary(Object object) { return isOf(object, &Functions::dictionaryType); }

Object dictionaryValue(Object dictionary, const char* key) {
    if (!isDictionary(dictionary)) return nullptr;
    const Owned name{functions()->makeString(nullptr, key, utf8)};
    return name ? functions()->dictionaryValue(dictionary, name.get()) : nullptr;
}

Owned preferredLanguages() {
    if (functions() == nullptr || functions()->languages == nullptr) return nullptr;
    return Owned{functions()->languages()};
}

std::optional<double> number(Object object) {
    double value = 0;
    // It is false as well for a conversion that loses something, whose value is set all the same.
    if (!isOf(object, &Functions::numberType)) return std::nullopt;
    (void)functions()->numberValue(object, doubleType, &value);
    return value;
}

std::optional<std::string> string(Object object) {
    if (!isOf(object, &Functions::stringType)) return std::nullopt;
    const Index most = functions()->mostStringBytes(functions()->stringLength(object), utf8);
    if (most < 0) return std::nullopt;
    std::string bytes(static_cast<std::size_t>(most) + 1, '\0');
    if (functions()->stringBytes(object, bytes.data(), most + 1, utf8) == 0) return std::nullopt;
    bytes.resize(bytes.find('\0'));
    return bytes;
}

}  // namespace KestrelCore::CoreFoundation
