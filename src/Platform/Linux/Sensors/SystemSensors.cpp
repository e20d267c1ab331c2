#include "Platform/SystemSensors.hpp"

#include "Platform/Linux/Processes/ProcText.hpp"
#include "Platform/Linux/Sensors/SensorText.hpp"
#include "Platform/Linux/SystemFile.hpp"
#include "Platform/Linux/SystemReaders.hpp"

#include <fcntl.h>
#include <string_view>

namespace KestrelCore {
namespace {

/// More would fill a page and tell nobody anything; a machine may have hundreds.
constexpr std::size_t mostTemperatures = 32;

class LinuxSystemSensors final : public SystemSensors {
public:
    LinuxSystemSensors(std::string procFolder, std::string sysFolder)
        : procFolder_{std::move(procFolder)}, sysFolder_{std::move(sysFolder)} {}

    std::vector<ProcessorTicks> processors() override {
        const auto text = SystemFile::whole(AT_FDCWD, (procFolder_ + "/stat").c_str(), buffer_);
        return ProcText::eachProcessorTicks(text.value_or(std::string_view{}));
    }

    std::optional<StallPercents> stalls() override {
        const auto percent = [this](const char* name) {
            return SensorText::stallPercent(SystemFile::attribute(procFolder_ + "/pressure/" + name));
        };
        const auto processor = percent("cpu");
        const auto memory = percent("memory");
        const auto disk = percent("io");
        if (!processor && !memory && !disk) return std::nullopt;
        return StallPercents{processor.value_or(0), memory.value_or(0), disk.value_or(0)};
    }

    // Drivers say what they measure in one place; the zones that the kernel acts upon are the next best.
    std::vector<Temperature> temperatures() override {
        std::vector<Temperature> result;
        const std::string drivers = sysFolder_ + "/class/hwmon/";
        for (const std::string& device : SystemFile::names(drivers)) {
            const std::string folder = drivers + device + "/";
            const std::string name = SystemFile::attribute(folder + "name");
            for (const std::string& entry : SystemFile::names(folder)) {
                if (!entry.starts_with("temp") || !entry.ends_with("_input")) continue;
                const std::string sensor = folder + entry.substr(0, entry.size() - std::string_view{"_input"}.size());
                add(result, SystemFile::attribute(folder + entry), name, SystemFile::attribute(sensor + "_label"));
            }
        }
        if (!result.empty()) return result;
        const std::string zones = sysFolder_ + "/class/thermal/";
        for (const std::string& zone : SystemFile::names(zones)) {
            if (!zone.starts_with("thermal_zone")) continue;
            add(result, SystemFile::attribute(zones + zone + "/temp"), SystemFile::attribute(zones + zone + "/type"),
                {});
        }
        return result;
    }

private:
    static void add(std::vector<Temperature>& result, std::string_view reading, std::string_view name,
                    std::string_view label) {
        const auto celsius = SensorText::celsius(reading);
        if (celsius && result.size() < mostTemperatures)
            result.push_back({SensorText::sensorName(name, label), *celsius});
    }

    std::string procFolder_;
    std::string sysFolder_;
    std::string buffer_;
};

}  // namespace

std::unique_ptr<SystemSensors> systemSensors(const std::string& procFolder, const std::string& sysFolder) {
    return std::make_unique<LinuxSystemSensors>(procFolder, sysFolder);
}

std::unique_ptr<SystemSensors> SystemSensors::system() { return systemSensors("/proc", "/sys"); }

}  // namespace KestrelCore
