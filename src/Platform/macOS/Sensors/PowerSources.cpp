#include "Platform/PowerSources.hpp"

#include "Platform/macOS/Frameworks/IOKit.hpp"
#include "Platform/macOS/Sensors/Portable/PowerSourceValues.hpp"

#include <string>

namespace KestrelCore {
namespace {

using CoreFoundation::Object;
using CoreFoundation::Owned;

class MacPowerSources final : public PowerSources {
public:
    std::optional<PowerSource> first() override {
        const Owned info = IOKit::powerSourcesInfo();
        const Owned list = IOKit::powerSourcesList(info.get());
        const Object source = CoreFoundation::arrayElement(list.get(), 0);
        const Object description = IOKit::powerSourceDescription(info.get(), source);
        if (!CoreFoundation::isDictionary(description)) return std::nullopt;
        const auto numberUnder = [description](const char* key) {
            return CoreFoundation::number(CoreFoundation::dictionaryValue(description, key));
        };
        const std::optional<std::string> state =
            CoreFoundation::string(CoreFoundation::dictionaryValue(description, PowerSourceKeys::state));
        return powerSourceOf(numberUnder(PowerSourceKeys::currentCapacity),
                             numberUnder(PowerSourceKeys::maximumCapacity), state);
    }
};

}  // namespace

std::unique_ptr<PowerSources> PowerSources::system() { return std::make_unique<MacPowerSources>(); }

}  // namespace KestrelCore
