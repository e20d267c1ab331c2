#include "Applications/DesktopEntry.hpp"

#include "KestrelCore/Base/URL.hpp"

#include <algorithm>
#include <iterator>
#include <vector>

// A desktop entry is a key file: lines "key=value" in groups under a heading, and whole lines of comment.
//
//     [Desktop Entry]
//     Type=Application
//     Name=Text Editor                               the plain name
//     Name[de_DE]=Texteditor                         a localized one
//     Exec=env GDK_SCALE=2 /usr/bin/gedit %U         a command line in a value
//     [Desktop Action new-window]                    other groups are passed over
//
// Two layers of quoting lie over a command line: the escapes that every value has are undone first, then the words are
// parted by the rules of Exec. Codes such as %U stay what they are: only the program is wanted, and it comes first.

namespace KestrelCore {
namespace {

using Group = std::map<std::string, std::string, std::less<>>;

/// Without the blanks around it; a carriage return counts as one, so that files with CR LF read alike.
std::string_view trimmed(std::string_view text) {
    constexpr std::string_view blanks = " \t\r";
    const std::size_t start = text.find_first_not_of(blanks);
    if (start == std::string_view::npos) return {};
    return text.substr(start, text.find_last_not_of(blanks) - start + 1);
}

/// A key that is missing and one without a value are the same to every reader here: "".
std::string_view valueOf(const Group& group, std::string_view key) {
    const auto found = group.find(key);
    return found == group.end() ? std::string_view{} : std::string_view{found->second};
}

/// The value with its escapes undone; one that the format does not know stays as it is written.
std::string unescaped(std::string_view value) {
    std::string text;
    for (std::size_t i = 0; i < value.size(); ++i) {
        if (value[i] != '\\' || i + 1 == value.size()) {
            text.push_back(value[i]);
            continue;
        }
        switch (value[++i]) {
        case 's': text.push_back(' '); break;
        case 'n': text.push_back('\n'); break;
        case 't': text.push_back('\t'); break;
        case 'r': text.push_back('\r'); break;
        case '\\': text.push_back('\\'); break;
        default: text.append({'\\', value[i]}); break;
        }
    }
    return text;
}

/// The value of a key in the user's language: that of LANG_COUNTRY@MODIFIER, LANG_COUNTRY, LANG@MODIFIER, LANG, and
/// then the plain one. The locale's encoding plays no part.
std::string_view localizedValue(const Group& group, std::string_view key, std::string_view locale) {
    const std::size_t modifierStart = std::min(locale.find('@'), locale.size());
    const std::string modifier{locale.substr(modifierStart)};
    const std::string_view beforeEncoding = locale.substr(0, std::min(locale.find('.'), modifierStart));
    const std::size_t countryStart = std::min(beforeEncoding.find('_'), beforeEncoding.size());
    const std::string language{beforeEncoding.substr(0, countryStart)};
    const std::string country{beforeEncoding.substr(countryStart)};
    for (const std::string& name : {language + country + modifier, language + country, language + modifier, language}) {
        const auto found = group.find(std::string{key} + "[" + name + "]");
        if (!language.empty() && found != group.end()) return found->second;
    }
    return valueOf(group, key);
}

/// The words of a command line: parted by blanks, except inside double quotes, where a backslash escapes.
std::vector<std::string> commandWords(std::string_view command) {
    std::vector<std::string> words;
    bool isInWord = false;
    bool isQuoted = false;
    for (std::size_t i = 0; i < command.size(); ++i) {
        const char c = command[i];
        if (!isQuoted && (c == ' ' || c == '\t')) {
            isInWord = false;
            continue;
        }
        if (!isInWord) words.emplace_back();
        isInWord = true;
        if (c == '"') {
            isQuoted = !isQuoted;
        } else if (c == '\\' && isQuoted && i + 1 < command.size()) {
            words.back().push_back(command[++i]);
        } else {
            words.back().push_back(c);
        }
    }
    return words;
}

/// Whether env would take the word for a variable: NAME=VALUE. A "/" before the "=" makes it the path of a program.
bool isAssignment(std::string_view word) {
    const std::size_t equals = word.find('=');
    return equals != std::string_view::npos && equals > 0 && word.find('/') > equals;
}

/// Programs that start others: their own names say nothing about an application. A version at the end plays no part.
bool isInterpreter(std::string_view name) {
    constexpr std::string_view interpreters[] = {"bash",        "dash",    "dbus-launch", "dbus-run-session",
                                                 "electron",    "flatpak", "gjs",         "gksu",
                                                 "gtk-launch",  "java",    "kde-open",    "kioclient",
                                                 "mono",        "node",    "perl",        "pkexec",
                                                 "python",      "ruby",    "sh",          "sudo",
                                                 "systemd-run", "wine",    "xdg-open",    "zsh"};
    while (!name.empty() && std::string_view{"0123456789.-"}.find(name.back()) != std::string_view::npos)
        name.remove_suffix(1);
    return std::find(std::begin(interpreters), std::end(interpreters), name) != std::end(interpreters);
}

/// What really runs: env is looked through, Flatpak names the program inside the sandbox in an option of its own, and
/// an interpreter gives nothing. Its folder would be every script's: "python" is nobody's configuration.
Text executableOf(std::string_view command) {
    constexpr std::string_view commandOption = "--command=";
    const std::vector<std::string> words = commandWords(command);
    std::size_t first = 0;
    const bool hasEnv = !words.empty() && Path::lastComponent(words.front()) == "env";
    if (hasEnv) ++first;
    // What env takes before the program: assignments, options, and the value of those options that have one.
    while (first < words.size()) {
        const std::string& word = words[first];
        if (hasEnv && (word == "-u" || word == "-C")) {
            first = std::min(first + 2, words.size());
        } else if (isAssignment(word) || (hasEnv && word.starts_with('-'))) {
            ++first;
        } else {
            break;
        }
    }
    if (first == words.size()) return "";
    Text name = Path::lastComponent(words[first]);
    if (name == "flatpak") {
        for (const std::string& word : words) {
            if (word.starts_with(commandOption)) name = Path::lastComponent(word.substr(commandOption.size()));
        }
    }
    return isInterpreter(name.view()) ? Text{} : name;
}

}  // namespace

std::optional<Group> keyFileGroup(std::string_view content, std::string_view group) {
    std::optional<Group> values;
    bool isInside = false;
    for (std::size_t start = 0; start < content.size();) {
        const std::size_t end = std::min(content.find('\n', start), content.size());
        const std::string_view line = trimmed(content.substr(start, end - start));
        start = end + 1;
        if (line.empty() || line.front() == '#') continue;
        if (line.front() == '[') {
            isInside = line.back() == ']' && line.substr(1, line.size() - 2) == group;
            if (isInside && !values) values.emplace();
            continue;
        }
        const std::size_t equals = line.find('=');
        if (!isInside || equals == std::string_view::npos) continue;
        values->try_emplace(std::string{trimmed(line.substr(0, equals))}, trimmed(line.substr(equals + 1)));
    }
    return values;
}

std::optional<DesktopEntry> DesktopEntry::parse(std::string_view content, std::string_view locale) {
    const std::optional<Group> group = keyFileGroup(content, "Desktop Entry");
    if (!group) return std::nullopt;
    DesktopEntry entry;
    entry.isApplication = valueOf(*group, "Type") == "Application";
    entry.isHidden = valueOf(*group, "Hidden") == "true";
    entry.isNotDisplayed = valueOf(*group, "NoDisplay") == "true";
    entry.plainName = unescaped(valueOf(*group, "Name"));
    entry.localizedName = unescaped(localizedValue(*group, "Name", locale));
    entry.executable = executableOf(unescaped(valueOf(*group, "Exec")));
    return entry;
}

}  // namespace KestrelCore
