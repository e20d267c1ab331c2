#include "commands/Suggestion.hpp"

#include "output/NearNames.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <initializer_list>

namespace KestrelCLI {

namespace {

bool isOneOf(std::string_view word, std::initializer_list<std::string_view> words) {
    return std::ranges::find(words, word) != words.end();
}

struct Habit {
    std::string_view words;  ///< with a blank between two
    std::string_view sentence;

    [[nodiscard]] constexpr bool has(std::string_view word) const {
        if (word.empty() || word.find(' ') != std::string_view::npos) return false;
        for (std::size_t begin = 0; begin < words.size();) {
            const std::size_t end = std::min(words.find(' ', begin), words.size());
            if (words.substr(begin, end - begin) == word) return true;
            begin = end + 1;
        }
        return false;
    }
};

}  // namespace

std::string lowercasedASCII(std::string_view text) {
    std::string result{text};
    std::ranges::transform(result, result.begin(),
                           [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return result;
}

std::string didYouMeanOneOf(std::string_view word, const std::vector<std::string>& known) {
    // Far longer than any word of ours: nothing to compare, and a hostile argument costs no time.
    constexpr std::size_t longest = 64;
    if (word.size() > longest) return {};
    const std::string typed = lowercasedASCII(word);
    const auto begins = [&](const std::string& each) { return lowercasedASCII(each).starts_with(typed); };
    if (typed.size() > 1 && std::ranges::count_if(known, begins) == 1)
        return didYouMean({*std::ranges::find_if(known, begins)});
    return didYouMean(nearNames(word, known));
}

std::optional<std::string> sentenceForCommand(std::string_view word) {
    static constexpr std::array habits{
        Habit{"rm del delete unlink rmdir erase",
              "kestrel trash moves items to the Trash, from where kestrel restore brings them back; kestrel remove "
              "removes them for good."},
        Habit{"du ncdu gdu dust dua df size usage tree", "kestrel scan shows what takes the space in a folder."},
        Habit{"ls dir cd show", "kestrel list shows a folder as it was scanned."},
        Habit{"types kinds extensions breakdown distribution",
              "kestrel summary shows what the files of a folder are: by type, extension, age, depth or size."},
        Habit{"find fd locate grep where", "kestrel search finds items by words and filters."},
        Habit{"top htop btop stat stats", "kestrel monitor shows the load of the system."},
        Habit{"ps proc tasks", "kestrel processes lists the processes."},
        Habit{"kill pkill killall stop", "kestrel quit asks processes to quit."},
        Habit{"undo untrash undelete recover", "kestrel restore puts back what kestrel trash moved to the Trash."},
        Habit{"uninstall applications programs", "kestrel apps lists the applications and what they left behind."},
        Habit{"diff compare changes", "kestrel growth shows what grew and shrank between two scans."},
        Habit{"html page web treemap chart", "kestrel report writes a folder as a page for any browser."},
        Habit{"log scans snapshots", "kestrel history lists the saved scans."},
        Habit{"photos images videos pictures", "kestrel media shows the photos and videos."},
        Habit{"version", "kestrel --version tells the version."},
    };
    const std::string typed = lowercasedASCII(word);
    for (const Habit& habit : habits) {
        if (habit.has(typed)) return std::string{habit.sentence};
    }
    // As the tools take it that scan when they are given a folder.
    if (word.find('/') != std::string_view::npos || word == "." || word == ".." || word == "~") {
        return fmt::format("kestrel scan {} shows what takes the space there.", word);
    }
    return std::nullopt;
}

std::optional<std::string> sentenceForOption(std::string_view option, std::string_view command) {
    static constexpr std::array habits{
        Habit{"-v --verbose", "What is done is told without it; -V is the version."},
        Habit{"-q --quiet", "What is told besides the results goes to standard error."},
        Habit{"-b -k -m -B --block-size",
              "--bytes shows sizes to the byte, --iec in KiB, MiB and GiB, --si in kB, MB and GB."},
        Habit{"--apparent-size -A",
              "Sizes are what items take on the disk; kestrel scan --apparent-size shows lengths, and "
              "with --json each item has its logicalBytes, too."},
        Habit{"--human-readable -H", "Sizes are for people; --bytes shows them to the byte."},
        Habit{"-L -P --dereference --follow", "Links are never followed, but for the path given to a scan."},
    };
    if (isOneOf(command, {"trash", "remove"}) &&
        isOneOf(option, {"-r", "-R", "-f", "-rf", "-fr", "-Rf", "-d", "--recursive", "--force"})) {
        return "Folders go with all that is in them, after a question.";
    }
    if (isOneOf(command, {"scan", "growth", "list"})) {
        if (option.starts_with("--max-depth")) return "--depth N says how many levels of folders are shown.";
        if (isOneOf(option, {"-s", "--summarize"})) return "The total stands first; scan --depth 0 shows little else.";
    }
    for (const Habit& habit : habits) {
        if (habit.has(option)) return std::string{habit.sentence};
    }
    return std::nullopt;
}

}  // namespace KestrelCLI
