#pragma once

#include "KestrelCore/Reclaim/SuggestionSettings.hpp"
#include "Storage/History/OpenGeneration.hpp"

#include <cstdint>
#include <optional>
#include <vector>

namespace KestrelCore {

/// What of a generation's folders decides whether they may be suggested: columns of them, read once, and sums along
/// their order, in which all that lies below a folder follows it. Read-only; any thread.
class FolderFacts {
public:
    /// The generation must outlive this. Throws what reading throws.
    FolderFacts(const OpenGeneration& generation, const SuggestionSettings& settings);

    [[nodiscard]] const FolderTable& table() const { return table_; }
    [[nodiscard]] const FolderContents& contents() const { return contents_; }

    /// Whether it lies below what was asked for, or is that; and not in somebody else's home directory.
    [[nodiscard]] bool isLookedAt(std::uint32_t folder) const { return (flags_[folder] & lookedAt) != 0; }
    /// Whether it is one of the person's own places, or lies below one.
    [[nodiscard]] bool isOwn(std::uint32_t folder) const { return (flags_[folder] & own) != 0; }
    /// Whether it, or a folder on the way to it from the person's own place, is hidden.
    [[nodiscard]] bool isHidden(std::uint32_t folder) const { return (flags_[folder] & hidden) != 0; }
    /// Whether it is or lies in a package, in a hidden folder that lies right in the person's own place, or in what the
    /// system made in the home directory for programs: what is in these is a program's, and part of it. Hidden folders
    /// of projects are the project's.
    [[nodiscard]] bool isOfProgram(std::uint32_t folder) const { return (flags_[folder] & ofProgram) != 0; }
    /// Whether it has a record, as a folder that is no place of its own.
    [[nodiscard]] bool mayGo(std::uint32_t folder) const { return (flags_[folder] & going) != 0; }

    /// Whether all that lies in it is known, and on the device that the folder above it is on.
    [[nodiscard]] bool isWhole(std::uint32_t folder) const {
        return obstacles_[table_.end(folder)] == obstacles_[folder];
    }
    /// Whether a folder in it is what a version control keeps its things in.
    [[nodiscard]] bool holdsVersions(std::uint32_t folder) const {
        return versions_[table_.end(folder)] != versions_[folder + std::size_t{1}];
    }
    /// Whether it, or a folder in it, is where a Git repository without a working copy keeps its things, under whatever
    /// name: `objects`, `refs` and `HEAD`.
    [[nodiscard]] bool holdsBareRepository(std::uint32_t folder) const {
        return bare_[table_.end(folder)] != bare_[folder];
    }
    /// When something in it, or it itself, was changed last, as `HistoryField::seconds`; 0 where nothing tells.
    [[nodiscard]] std::uint64_t newest(std::uint32_t folder) const { return newest_[folder]; }
    /// What the files right in it have allocated.
    [[nodiscard]] std::uint64_t inFiles(std::uint32_t folder) const { return contents_.inFiles(folder); }

    /// Whether a name is what a version control keeps its things in, or the file that points there.
    [[nodiscard]] static bool isOfVersionControl(std::string_view name) {
        return name == ".git" || name == ".hg" || name == ".svn" || name == ".jj";
    }

private:
    static constexpr std::uint8_t lookedAt = 1;
    static constexpr std::uint8_t own = 2;
    static constexpr std::uint8_t ofProgram = 4;
    static constexpr std::uint8_t going = 8;
    static constexpr std::uint8_t hidden = 16;

    void readColumns(const GenerationRows& rows);
    void findPlaces(const SuggestionSettings& settings);
    void mark(std::uint32_t folder, std::uint8_t flag);
    void forbid(std::uint32_t folder);
    void leaveOutOtherHomes(const Text& home);
    void findBareRepositories(const GenerationRows& rows);
    void findObstacles(const OpenGeneration& generation);

    const FolderTable& table_;
    FolderContents contents_;
    std::vector<std::uint8_t> flags_;
    std::vector<std::uint64_t> newest_;
    std::vector<std::uint32_t> obstacles_;  ///< of all folders before; one more at the end
    std::vector<std::uint32_t> versions_;   ///< the same
    std::vector<std::uint32_t> bare_;       ///< the same
};

/// A time as columns have it, for comparing; what no clock shows is at the end that it lies at.
[[nodiscard]] std::uint64_t storedSeconds(double secondsSinceReferenceDate);

}  // namespace KestrelCore
