#include "Platform/ThermalState.hpp"

#include "Platform/Linux/Sensors/SensorText.hpp"
#include "Platform/Linux/SystemFile.hpp"
#include "Platform/Linux/SystemReaders.hpp"

#include <deque>
#include <string>
#include <vector>

namespace KestrelCore {
namespace {

constexpr std::string_view zonePrefix = "thermal_zone";
constexpr std::string_view tripPrefix = "trip_point_";
constexpr std::string_view tripSuffix = "_type";

class LinuxThermalState final : public ThermalState {
public:
    explicit LinuxThermalState(const std::string& sysFolder) : folder_{sysFolder + "/class/thermal"} {}

    std::optional<int> level() override {
        std::deque<std::string> texts;  // what the views in the zones point to; never moved
        const auto read = [&texts](const std::string& path) -> std::string_view {
            return texts.emplace_back(SystemFile::attribute(path));
        };
        std::vector<SensorText::ThermalZone> zones;
        for (const std::string& name : SystemFile::names(folder_)) {
            if (!name.starts_with(zonePrefix)) continue;
            const std::string zoneFolder = folder_ + "/" + name + "/";
            // A zone that vanishes meanwhile gives empty texts, which the rules take for no reading.
            SensorText::ThermalZone& zone = zones.emplace_back();
            zone.temperature = read(zoneFolder + "temp");
            for (const std::string& entry : SystemFile::names(zoneFolder)) {
                if (!entry.starts_with(tripPrefix) || !entry.ends_with(tripSuffix)) continue;
                const std::string point = zoneFolder + entry.substr(0, entry.size() - tripSuffix.size());
                zone.tripPoints.push_back({read(point + "_type"), read(point + "_temp")});
            }
        }
        return SensorText::thermalLevel(zones);
    }

private:
    std::string folder_;
};

}  // namespace

std::unique_ptr<ThermalState> thermalState(const std::string& sysFolder) {
    return std::make_unique<LinuxThermalState>(sysFolder);
}

std::unique_ptr<ThermalState> ThermalState::system() { return thermalState("/sys"); }

}  // namespace KestrelCore
