#include "Platform/PowerSources.hpp"

#include "Platform/Linux/Sensors/SensorText.hpp"
#include "Platform/Linux/SystemFile.hpp"
#include "Platform/Linux/SystemReaders.hpp"

#include <array>
#include <string>
#include <vector>

namespace KestrelCore {
namespace {

/// The attributes in the order of the members of `SensorText::PowerSupply`.
constexpr std::array attributeNames{"type",       "scope",       "present",    "status",      "online",
                                    "energy_now", "energy_full", "charge_now", "charge_full", "capacity"};
using Attributes = std::array<std::string, attributeNames.size()>;

class LinuxPowerSources final : public PowerSources {
public:
    // Listed at each call: a battery can be taken out, and a charger with a battery of its own be plugged in.
    explicit LinuxPowerSources(const std::string& sysFolder) : folder_{sysFolder + "/class/power_supply"} {}

    std::optional<PowerSource> first() override {
        // Attribute by attribute: the one file that holds all of them fails as a whole when one of them does.
        std::vector<Attributes> read;
        for (const std::string& name : SystemFile::names(folder_)) {
            Attributes& attributes = read.emplace_back();
            for (std::size_t index = 0; index < attributes.size(); ++index) {
                attributes[index] = SystemFile::attribute(folder_ + "/" + name + "/" + attributeNames[index]);
            }
        }
        std::vector<SensorText::PowerSupply> supplies;
        for (const Attributes& a : read) {
            supplies.push_back({a[0], a[1], a[2], a[3], a[4], a[5], a[6], a[7], a[8], a[9]});
        }
        return SensorText::firstPowerSource(supplies);
    }

private:
    std::string folder_;
};

}  // namespace

std::unique_ptr<PowerSources> powerSources(const std::string& sysFolder) {
    return std::make_unique<LinuxPowerSources>(sysFolder);
}

std::unique_ptr<PowerSources> PowerSources::system() { return powerSources("/sys"); }

}  // namespace KestrelCore
