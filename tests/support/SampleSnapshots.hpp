#pragma once

#include "KestrelCore/Snapshot/ScanSnapshot.hpp"

#include <cstddef>
#include <cstdint>
#include <string>

namespace KestrelCore {

/// A made-up scan of /home/someone with exactly `records` records (at least 1), the same for the same seed. Folders are
/// nested up to eight deep, names hold blanks, accents, quotes, line ends and emoji now and then, and every field takes
/// on all of its forms. Completed at `completedAt` seconds since the reference date.
[[nodiscard]] ScanSnapshot sampleSnapshot(std::size_t records, std::uint64_t seed, double completedAt = 700'000'000);

/// Records of every shape that no scan gives, none with the path of another, beside those of a small sample.
[[nodiscard]] ScanSnapshot oddSnapshot(std::uint64_t seed);

/// A snapshot whose payload is about that many bytes, whatever is in it.
[[nodiscard]] ScanSnapshot sampleSnapshotOfSize(std::size_t payloadBytes, std::uint64_t seed);

/// Every field of a snapshot, issues and all: what two snapshots must share to be the same, where `==` compares the
/// identifier alone.
[[nodiscard]] std::string contents(const ScanSnapshot& snapshot);

}  // namespace KestrelCore
