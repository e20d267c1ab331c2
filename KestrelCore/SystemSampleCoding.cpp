#include "KestrelCore/Model/CodingError.hpp"
#include "KestrelCore/Model/JSONFormat.hpp"
#include "KestrelCore/SystemMetrics.hpp"

namespace KestrelCore {
namespace {

/// Appends members to the object that is open at the end of a text.
class MemberWriter {
public:
    explicit MemberWriter(std::string& out) : out_{out} {}

    void member(const char* key, double value) {
        appendKey(key);
        if (!JSONFormat::appendDouble(out_, value)) throw EncodingError{key};
    }
    void member(const char* key, std::int64_t value) {
        appendKey(key);
        JSONFormat::appendInteger(out_, value);
    }
    void member(const char* key, std::string_view value) {
        appendKey(key);
        JSONFormat::appendString(out_, value);
    }
    void member(const char* key, const std::optional<double>& value) {
        if (value) member(key, *value);
    }
    void member(const char* key, const std::optional<bool>& value) {
        if (!value) return;
        appendKey(key);
        out_ += *value ? "true" : "false";
    }

private:
    void appendKey(const char* key) {
        if (out_.back() != '{') out_ += ',';
        JSONFormat::appendString(out_, key);
        out_ += ':';
    }

    std::string& out_;
};

}  // namespace

std::string SystemSample::encodedJSON() const {
    std::string out{"{"};
    MemberWriter writer{out};
    writer.member("timestamp", timestamp.secondsSinceReferenceDate);
    writer.member("cpuUsedFraction", cpuUsedFraction);
    writer.member("memoryUsedBytes", memoryUsedBytes);
    writer.member("memoryTotalBytes", memoryTotalBytes);
    writer.member("swapUsedBytes", swapUsedBytes);
    writer.member("memoryPressure", memoryPressure.view());
    writer.member("batteryPercent", batteryPercent);
    writer.member("isCharging", isCharging);
    writer.member("thermalLevel", rawValue(thermalLevel));
    writer.member("networkDownBytesPerSecond", networkDownBytesPerSecond);
    writer.member("networkUpBytesPerSecond", networkUpBytesPerSecond);
    out += '}';
    return out;
}

}  // namespace KestrelCore
