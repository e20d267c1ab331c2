#include "terminal/browse/BrowseKeys.hpp"

#include "terminal/browse/TextPane.hpp"

#include <array>

namespace KestrelCLI {

namespace {

struct KeyHelp {
    const char* keys;
    const char* what;
};

constexpr std::array moving{
    KeyHelp{"arrows  j k", "up and down, right and left; also PgUp, PgDn, Home, End, gg, G, and the wheel"},
    KeyHelp{"Enter  l", "into the folder; of a file, everything about it"},
    KeyHelp{"Backspace  h", "to the folder above"},
    KeyHelp{"click", "chooses, a second click opens"},
};
constexpr std::array looking{
    KeyHelp{"s n c m g", "sort by size, name, number of items, date, growth; again turns it around"},
    KeyHelp{"a", "what items take on the disk, or how long contents are"},
    KeyHelp{".", "with or without hidden items"},
    KeyHelp{"/", "find below this folder, in the language of kestrel search"},
    KeyHelp{"f", "the largest files below this folder"},
    KeyHelp{"p", "the folder as a picture, and back; there Tab chooses what colours tell"},
    KeyHelp{"e  o", "files below this folder by type, by age; Tab also by extension, depth, size"},
    KeyHelp{"w", "what can go below this folder, why, and how it comes back"},
    KeyHelp{"i", "everything about the item"},
    KeyHelp{"y", "copy its path"},
    KeyHelp{"r", "scan again"},
    KeyHelp{"E", "write this folder as a page for browsers, or for ncdu, into the current directory"},
};
constexpr std::array acting{
    KeyHelp{"Space", "mark the item, or not; * all of the folder, u none"},
    KeyHelp{"t  Del", "move what is marked, or else the item, to the Trash: shows first what would happen"},
    KeyHelp{"D", "the same for good; asks for a word"},
    KeyHelp{"z", "put back what was moved to the Trash last"},
    KeyHelp{"!", "a shell in this folder"},
};
constexpr std::array ending{
    KeyHelp{"?", "this page"},
    KeyHelp{"q", "quit; from a list of what was found, and from texts, back"},
    KeyHelp{"Ctrl-C", "end, and stop what is being done; Ctrl-Z puts the page aside until fg"},
};

}  // namespace

std::vector<ScreenLine> browseKeys(std::size_t columns, const std::string& whyReadOnly) {
    std::vector<ScreenLine> lines;
    const auto add = [&](const auto& keys) {
        for (const KeyHelp& key : keys) addFact(lines, key.keys, key.what, columns);
        lines.emplace_back();
    };
    add(moving);
    add(looking);
    if (whyReadOnly.empty()) {
        add(acting);
    } else {
        addFact(lines, "t  D  z  !", whyReadOnly, columns);
        lines.emplace_back();
    }
    add(ending);
    addFact(lines, "+", "behind a size: the scan may still find more there", columns);
    addFact(lines, "/  @", "behind a name: a folder or package, a symbolic link", columns);
    return lines;
}

}  // namespace KestrelCLI
