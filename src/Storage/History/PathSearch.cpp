#include "Storage/History/PathSearch.hpp"

#include "Base/SeededHash.hpp"
#include "Base/TextScan.hpp"

#include <boost/unordered/unordered_flat_map.hpp>

#include <algorithm>
#include <deque>
#include <optional>
#include <string>
#include <string_view>

// The paths are put together to a tree of names in normal form, and that tree is laid over the generation's. A step
// down may lead to several folders, since two that are spelled in other code points have one path.

namespace KestrelCore {

namespace {

class Search {
public:
    Search(const FolderTable& table, const GenerationRows& rows) : table_{table}, rows_{rows} {
        wanted_.emplace_back();
    }

    /// `path` is absolute; the answer goes to that position.
    void add(std::string_view path, std::size_t answer) {
        std::size_t node = 0;
        for (std::size_t start = 1; start <= path.size();) {
            const std::size_t end = std::min(path.find('/', start), path.size());
            node = child(node, path.substr(start, end - start));
            start = end + 1;
        }
        wanted_[node].answers.push_back(answer);
    }

    void run(std::vector<PathPlaces>& answers) {
        if (table_.size() == 0) return;
        // Steps that were taken, each after the one that led to it; paths may be too deep to call for each.
        steps_.push_back({.wanted = 0, .before = 0, .folders = {0}});
        for (std::size_t step = 0; step < steps_.size(); ++step) take(step, answers);
        // One after the other as they stand, so that each chunk is read once.
        std::ranges::sort(wantedFiles_, {}, &WantedFiles::folder);
        RowReader reader{rows_.files(), 0, true};
        for (const WantedFiles& wanted : wantedFiles_) lookAtFiles(wanted, reader, answers);
    }

private:
    struct Wanted {
        boost::unordered_flat_map<std::string_view, std::size_t, SeededHash> inside;  ///< by normal form
        std::vector<std::size_t> answers;
    };
    struct Step {
        std::size_t wanted;
        std::size_t before;                  ///< the step that led here
        std::vector<std::uint32_t> folders;  ///< where it led
    };
    /// Files in a folder that have the names inside of `wanted_[node]`.
    struct WantedFiles {
        std::uint32_t folder;
        std::size_t node;
    };
    using Found = boost::unordered_flat_map<std::size_t, std::vector<std::uint32_t>>;

    std::size_t child(std::size_t node, std::string_view name) {
        if (const auto known = inside(node, name)) return *known;
        names_.push_back(normalizedUTF8(name));
        wanted_.emplace_back();
        wanted_[node].inside.emplace(names_.back(), wanted_.size() - 1);
        return wanted_.size() - 1;
    }

    [[nodiscard]] std::optional<std::size_t> inside(std::size_t node, std::string_view name) const {
        const auto& names = wanted_[node].inside;
        const auto found =
            isASCII(name) || isNormalizedUTF8(name) ? names.find(name) : names.find(normalizedUTF8(name));
        return found == names.end() ? std::nullopt : std::optional{found->second};
    }

    void take(std::size_t step, std::vector<PathPlaces>& answers) {
        const std::size_t node = steps_[step].wanted;
        Found folders;
        bool wantsFiles = false;
        for (const auto& [name, wanted] : wanted_[node].inside) wantsFiles |= !wanted_[wanted].answers.empty();
        for (const std::uint32_t folder : steps_[step].folders) {
            for (std::uint32_t i = folder + 1; i < table_.end(folder); i = table_.end(i)) {
                if (const auto found = inside(node, table_.name(i))) folders[*found].push_back(i);
            }
            if (wantsFiles && table_.fileCount(folder) > 0) wantedFiles_.push_back({folder, node});
        }
        for (const auto& [name, wanted] : wanted_[node].inside) {
            for (const std::size_t answer : wanted_[wanted].answers) {
                answers[answer] = {.folders = folders[wanted], .files = {}, .above = foldersAt(step)};
            }
            if (wanted_[wanted].inside.empty() || folders[wanted].empty()) continue;
            steps_.push_back({.wanted = wanted, .before = step, .folders = folders[wanted]});
        }
    }

    /// All folders that were gone through up to this step.
    [[nodiscard]] std::vector<std::uint32_t> foldersAt(std::size_t step) const {
        std::vector<std::uint32_t> result;
        for (;; step = steps_[step].before) {
            result.insert(result.end(), steps_[step].folders.begin(), steps_[step].folders.end());
            if (step == 0) return result;
        }
    }

    void lookAtFiles(const WantedFiles& wanted, RowReader& reader, std::vector<PathPlaces>& answers) const {
        const std::uint32_t end = table_.firstFile(wanted.folder) + table_.fileCount(wanted.folder);
        for (std::uint32_t file = table_.firstFile(wanted.folder); file < end;) {
            const RowReader::Rows piece = reader.at(file);
            const std::uint32_t count = std::min(piece.count, end - file);
            for (std::uint32_t i = 0; i < count; ++i) {
                const auto found = inside(wanted.node, piece.name(i));
                if (!found) continue;
                for (const std::size_t answer : wanted_[*found].answers) answers[answer].files.push_back(file + i);
            }
            file += count;
        }
    }

    const FolderTable& table_;
    const GenerationRows& rows_;
    std::deque<std::string> names_;  ///< those of `wanted_` point here
    std::vector<Wanted> wanted_;     ///< the first is "/"
    std::vector<Step> steps_;
    std::vector<WantedFiles> wantedFiles_;
};

}  // namespace

std::vector<PathPlaces> placesOf(const std::vector<Text>& paths, const FolderTable& table, const GenerationRows& rows) {
    std::vector<PathPlaces> answers(paths.size());
    Search search{table, rows};
    for (std::size_t i = 0; i < paths.size(); ++i) {
        if (paths[i].view().starts_with('/')) search.add(paths[i].view(), i);
    }
    search.run(answers);
    return answers;
}

}  // namespace KestrelCore
