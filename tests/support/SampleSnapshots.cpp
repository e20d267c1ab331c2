#include "support/SampleSnapshots.hpp"

#include <algorithm>
#include <array>
#include <random>
#include <vector>

namespace KestrelCore {

namespace {

using Random = std::mt19937_64;

UUID uuid(Random& random) {
    UUID id;
    for (auto& byte : id.bytes) byte = static_cast<std::uint8_t>(random());
    return id;
}

/// Mostly plain, now and then not; never equal to another, for the number in it.
std::string name(Random& random, std::size_t number) {
    static constexpr std::array stems{
        "report",      "IMG_",      "notes and plans", "Müller",           "cafe\u0301", "quo\"te",
        "back\\slash", "tab\there", "line\nend",       "\U0001F600 smile", "日本語",     "."};
    const std::size_t choice = random() % 40;
    return std::string{stems[choice < stems.size() ? choice : 0]} + std::to_string(number);
}

std::int64_t size(Random& random) {
    // All magnitudes are equally likely.
    return static_cast<std::int64_t>(random() >> (12 + random() % 52));
}

}  // namespace

ScanSnapshot sampleSnapshot(std::size_t records, std::uint64_t seed, double completedAt) {
    static constexpr std::array extensions{"txt", "jpg", "pdf", "", "mp4", "tar", "größe", "o"};
    Random random{seed};
    const std::string root = "/home/someone";
    std::vector<std::pair<std::string, int>> folders{{root, 0}};
    std::vector<FileRecord> list;
    list.reserve(records);
    for (std::size_t i = 0; i < records; ++i) {
        const auto [parent, depth] = folders[std::max(random() % folders.size(), random() % folders.size())];
        const bool isRoot = i == 0;
        const bool isFolder = isRoot || (depth < 8 && random() % 8 == 0);
        const std::string extension = isFolder ? "" : extensions[random() % extensions.size()];
        const std::string itemName = isRoot ? "someone" : name(random, i) + (extension.empty() ? "" : "." + extension);
        const std::string path = isRoot ? root : parent + "/" + itemName;
        const std::int64_t logical = size(random);
        const std::int64_t allocated = logical / 512 * 512;
        const auto modified = Date{static_cast<double>(random() % 800'000'000'000'000) / 1e6};
        list.emplace_back(uuid(random),
                          random() % 50 == 0
                              ? std::nullopt
                              : std::optional{FileIdentity{.device = 16777234 + random() % 2, .inode = random() >> 20}},
                          isRoot ? std::nullopt : std::optional{Text{parent}}, Text{path}, Text{itemName},
                          isFolder ? (random() % 20 == 0 ? FileKind::package : FileKind::directory)
                                   : (random() % 30 == 0 ? FileKind::symbolicLink : FileKind::file),
                          logical, allocated, isFolder ? size(random) : allocated,
                          random() % 60 == 0 ? std::nullopt : std::optional{modified}, Text{extension},
                          random() % 10 == 0, random() % 100 == 0, random() % 100 == 0,
                          static_cast<RiskLevel>(random() % 4));
        if (isFolder && !isRoot) folders.emplace_back(path, depth + 1);
    }
    const ScanIssue issue{"/home/someone/locked", "Permission denied"};
    return ScanSnapshot{
        uuid(random),  ScanScope{URL::fromPath(root, true)}, Date{completedAt - 12.5}, Date{completedAt}, list,
        {issue, issue}};
}

ScanSnapshot sampleSnapshotOfSize(std::size_t payloadBytes, std::uint64_t seed) {
    return sampleSnapshot(std::max<std::size_t>(payloadBytes / 450, 1), seed);
}

std::string contents(const ScanSnapshot& snapshot) { return snapshot.encodedJSON(); }

}  // namespace KestrelCore
