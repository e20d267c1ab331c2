#include "Platform/macOS/Frameworks/IORegistry.hpp"

#include "Platform/macOS/Frameworks/DynamicLibrary.hpp"

namespace KestrelCore::IOKit {
namespace {

using CoreFoundation::Object;
using CoreFoundation::Owned;

// The framework's own words: an object is a name in the system's table of ports, and 0 is none; the port to ask at is
// the usual one, which 0 stands for; what is not 0 in an answer is an error.
using Name = std::uint32_t;
using Answer = int;
using Boolean = unsigned;
constexpr Name usualPort = 0;
constexpr const char* plane = "IOService";  // where drivers hang on devices
constexpr std::uint32_t utf8 = 0x08000100;  // kCFStringEncodingUTF8

struct Functions {
    DynamicLibrary library{"/System/Library/Frameworks/IOKit.framework/IOKit"};
    DynamicLibrary strings{"/System/Library/Frameworks/CoreFoundation.framework/CoreFoundation"};

    Object (*matching)(const char*) = library.function<Object(const char*)>("IOServiceMatching");
    Object (*diskMatching)(Name, std::uint32_t, const char*) =
        library.function<Object(Name, std::uint32_t, const char*)>("IOBSDNameMatching");
    Answer (*allMatching)(Name, Object,
                          Name*) = library.function<Answer(Name, Object, Name*)>("IOServiceGetMatchingServices");
    Name (*next)(Name) = library.function<Name(Name)>("IOIteratorNext");
    Answer (*release)(Name) = library.function<Answer(Name)>("IOObjectRelease");
    Boolean (*conformsTo)(Name, const char*) = library.function<Boolean(Name, const char*)>("IOObjectConformsTo");
    Answer (*parent)(Name, const char*,
                     Name*) = library.function<Answer(Name, const char*, Name*)>("IORegistryEntryGetParentEntry");
    Object (*property)(Name, const char*, Object, Object, std::uint32_t) =
        library.function<Object(Name, const char*, Object, Object, std::uint32_t)>("IORegistryEntrySearchCFProperty");
    Object (*makeString)(Object, const char*, std::uint32_t) =
        strings.function<Object(Object, const char*, std::uint32_t)>("CFStringCreateWithCString");

    [[nodiscard]] bool areComplete() const {
        return matching != nullptr && diskMatching != nullptr && allMatching != nullptr && next != nullptr &&
               release != nullptr && conformsTo != nullptr && parent != nullptr && property != nullptr &&
               makeString != nullptr && CoreFoundation::isThere();
    }
};

/// Null where one of them is missing: then none is used.
const Functions* functions() {
    static const Functions all;
    static const bool areComplete = all.areComplete();
    return areComplete ? &all : nullptr;
}

/// What a description matches, which is given away with the question.
std::vector<Entry> matched(const Functions& kit, Object description) {
    std::vector<Entry> found;
    Name iterator = 0;
    if (description == nullptr || kit.allMatching(usualPort, description, &iterator) != 0) return found;
    const Entry list{iterator};
    while (const Name object = kit.next(iterator)) found.emplace_back(object);
    return found;
}

}  // namespace

Entry::~Entry() {
    if (object_ != 0) functions()->release(object_);
}

bool Entry::isOf(const char* className) const {
    return object_ != 0 && functions()->conformsTo(object_, className) != 0;
}

Entry Entry::parent() const {
    Name above = 0;
    if (object_ == 0 || functions()->parent(object_, plane, &above) != 0) return {};
    return Entry{above};
}

Owned Entry::property(const char* name, Place place) const {
    if (object_ == 0) return nullptr;
    const Functions& kit = *functions();
    const Owned key{kit.makeString(nullptr, name, utf8)};
    if (key == nullptr) return nullptr;
    return Owned{kit.property(object_, plane, key.get(), nullptr, static_cast<std::uint32_t>(place))};
}

std::vector<Entry> entriesOf(const char* className) {
    const Functions* const kit = functions();
    return kit == nullptr ? std::vector<Entry>{} : matched(*kit, kit->matching(className));
}

Entry diskCalled(const char* name) {
    const Functions* const kit = functions();
    if (kit == nullptr) return {};
    std::vector<Entry> found = matched(*kit, kit->diskMatching(usualPort, 0, name));
    return found.empty() ? Entry{} : std::move(found.front());
}

}  // namespace KestrelCore::IOKit
