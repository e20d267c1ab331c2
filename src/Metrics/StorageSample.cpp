#include "KestrelCore/Metrics/StorageSample.hpp"

#include "KestrelCore/JSON/CodingErrors.hpp"
#include "JSON/JSONFields.hpp"
#include "JSON/MemberWriter.hpp"
#include "JSON/WholeObject.hpp"

#include <fmt/format.h>

namespace KestrelCore {
namespace {

using namespace JSONFields;

VolumeSample readVolume(json::object object, const std::string& path) {
    Field<std::string_view> mountPoint;
    Field<std::string_view> fileSystem;
    Field<std::string_view> device;
    Field<std::int64_t> totalBytes;
    Field<std::int64_t> usedBytes;
    Field<std::int64_t> freeBytes;
    Field<std::int64_t> readRate;
    Field<std::int64_t> writtenRate;
    readMembers(object, path, [&](std::string_view key, json::value value) {
        if (key == "mountPoint") return readFirst(value, mountPoint);
        if (key == "fileSystem") return readFirst(value, fileSystem);
        if (key == "device") return readFirst(value, device);
        if (key == "totalBytes") return readFirst(value, totalBytes);
        if (key == "usedBytes") return readFirst(value, usedBytes);
        if (key == "freeBytes") return readFirst(value, freeBytes);
        if (key == "readBytesPerSecond") return readFirst(value, readRate);
        return key == "writtenBytesPerSecond" && readFirst(value, writtenRate);
    });
    Requirements wants{path};
    wants.required("mountPoint", mountPoint)
        .required("fileSystem", fileSystem)
        .required("device", device)
        .required("totalBytes", totalBytes)
        .required("usedBytes", usedBytes)
        .required("freeBytes", freeBytes)
        .optional("readBytesPerSecond", readRate)
        .optional("writtenBytesPerSecond", writtenRate);
    if (wants.error()) throw DecodingError{*wants.error()};
    return {.mountPoint = Text{mountPoint.value},
            .fileSystem = Text{fileSystem.value},
            .device = Text{device.value},
            .totalBytes = totalBytes.value,
            .usedBytes = usedBytes.value,
            .freeBytes = freeBytes.value,
            .readBytesPerSecond = readRate.optional(),
            .writtenBytesPerSecond = writtenRate.optional()};
}

DiskSample readDisk(json::object object, const std::string& path) {
    Field<std::string_view> name;
    Field<std::int64_t> readRate;
    Field<std::int64_t> writtenRate;
    readMembers(object, path, [&](std::string_view key, json::value value) {
        if (key == "name") return readFirst(value, name);
        if (key == "readBytesPerSecond") return readFirst(value, readRate);
        return key == "writtenBytesPerSecond" && readFirst(value, writtenRate);
    });
    Requirements wants{path};
    wants.required("name", name)
        .required("readBytesPerSecond", readRate)
        .required("writtenBytesPerSecond", writtenRate);
    if (wants.error()) throw DecodingError{*wants.error()};
    return {.name = Text{name.value}, .readBytesPerSecond = readRate.value, .writtenBytesPerSecond = writtenRate.value};
}

/// Reads an array of objects; false when the key was there before, so that the first of equal keys counts.
template <typename Value, typename Read>
bool readObjects(json::value value, const char* key, std::optional<std::vector<Value>>& values, Read read) {
    if (values) return false;
    values.emplace();
    const auto mismatched = [](const std::string& path) {
        return DecodingError{DecodingError::Kind::typeMismatch, path, "Another type"};
    };
    json::array array;
    if (value.get_array().get(array) != simdjson::SUCCESS) throw mismatched(key);
    for (auto element : array) {
        const std::string path = fmt::format("{}[{}]", key, values->size());
        json::value item;
        if (const auto error = element.get(item)) malformed(path, error);
        json::object object;
        if (item.get_object().get(object) != simdjson::SUCCESS) throw mismatched(path);
        values->push_back(read(object, path));
    }
    return true;
}

}  // namespace

std::string StorageSample::encodedJSON() const {
    std::string out{"{"};
    MemberWriter writer{out};
    writer.member("timestamp", timestamp.secondsSinceReferenceDate);
    writer.array("volumes", volumes, [&](const VolumeSample& volume) {
        out += '{';
        writer.member("mountPoint", volume.mountPoint.view());
        writer.member("fileSystem", volume.fileSystem.view());
        writer.member("device", volume.device.view());
        writer.member("totalBytes", volume.totalBytes);
        writer.member("usedBytes", volume.usedBytes);
        writer.member("freeBytes", volume.freeBytes);
        writer.member("readBytesPerSecond", volume.readBytesPerSecond);
        writer.member("writtenBytesPerSecond", volume.writtenBytesPerSecond);
        out += '}';
    });
    writer.array("disks", disks, [&](const DiskSample& disk) {
        out += '{';
        writer.member("name", disk.name.view());
        writer.member("readBytesPerSecond", disk.readBytesPerSecond);
        writer.member("writtenBytesPerSecond", disk.writtenBytesPerSecond);
        out += '}';
    });
    out += '}';
    return out;
}

StorageSample StorageSample::decodingJSON(std::string_view json) {
    checkWholeObject(json);
    StorageSample sample;
    TextReader{}.value(json, "", [&](json::value& value) {
        Field<double> timestamp;
        std::optional<std::vector<VolumeSample>> volumes;
        std::optional<std::vector<DiskSample>> disks;
        readMembers(value.get_object(), "", [&](std::string_view key, json::value member) {
            if (key == "timestamp") return readFirst(member, timestamp);
            if (key == "volumes") return readObjects(member, "volumes", volumes, readVolume);
            return key == "disks" && readObjects(member, "disks", disks, readDisk);
        });
        Requirements wants{""};
        wants.required("timestamp", timestamp);
        if (wants.error()) throw DecodingError{*wants.error()};
        for (const auto& [key, isThere] : {std::pair{"volumes", volumes.has_value()}, {"disks", disks.has_value()}}) {
            if (!isThere) throw DecodingError{DecodingError::Kind::keyNotFound, key, "No such key"};
        }
        sample = {.timestamp = Date{timestamp.value}, .volumes = std::move(*volumes), .disks = std::move(*disks)};
    });
    return sample;
}

}  // namespace KestrelCore
