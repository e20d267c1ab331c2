#include "store/ConfigurationText.hpp"

#include "output/NearNames.hpp"
#include "output/UTF8.hpp"
#include "store/SizeValue.hpp"

#include "KestrelCore/Model/KestrelError.hpp"
#include "KestrelCore/Scanning/ExcludePattern.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <iterator>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <utility>

// Where a key should begin and none does ("[=") the parser assumes that it can't be, and goes on with anything. So what
// it assumes is looked at, in every build; RuleText.cpp and ConfigurationText.cpp must say the same.
[[noreturn]] inline void tellThatAKeyIsMissing() { throw std::invalid_argument{"a key is missing"}; }
#undef NDEBUG
#define TOML_ASSERT(expr) ((expr) ? void() : ::tellThatAKeyIsMissing())
#define TOML_ENABLE_FORMATTERS 0
#include <toml++/toml.h>

// A setting that is misspelt and passed over would be a wrong answer that nobody notices: a scan that takes in what was
// to be left out, a history that keeps less than was asked for. So whatever is not understood is told with its line.

namespace KestrelCLI {

namespace {

template <typename Value, std::size_t count>
using Names = std::array<std::pair<std::string_view, Value>, count>;

constexpr Names<SizeUnits, 2> unitNames{{{"si", SizeUnits::decimal}, {"iec", SizeUnits::binary}}};
constexpr Names<ColorChoice, 3> choiceNames{
    {{"auto", ColorChoice::automatic}, {"always", ColorChoice::always}, {"never", ColorChoice::never}}};
constexpr Names<PageColors, 4> pageColorNames{{{"usual", PageColors::usual},
                                               {"color-blind", PageColors::colorBlind},
                                               {"terminal", PageColors::terminal},
                                               {"none", PageColors::none}}};

template <typename Value, std::size_t count>
std::string_view nameIn(const Names<Value, count>& names, Value value) {
    for (const auto& [name, each] : names) {
        if (each == value) return name;
    }
    return {};
}

std::int64_t lineOf(const toml::node& node) { return node.source().begin.line; }

/// A problem on its way to the list of them.
class WrongSetting {
public:
    explicit WrongSetting(std::string message) : message_{std::move(message)} {}
    [[nodiscard]] const std::string& message() const { return message_; }

private:
    std::string message_;
};

std::string textOf(const toml::node& node, std::string_view what) {
    const auto* text = node.as_string();
    if (text == nullptr) throw WrongSetting{fmt::format("{} in quotes.", what)};
    return text->get();
}

template <typename Value, std::size_t count>
Value oneOf(const toml::node& node, std::string_view setting, const Names<Value, count>& names) {
    std::vector<std::string> all;
    for (const auto& [name, value] : names) all.emplace_back(name);
    const std::string what = fmt::format("“{}” is to be one of “{}”", setting, fmt::join(all, "”, “"));
    const std::string text = textOf(node, what + ",");
    for (const auto& [name, value] : names) {
        if (name == text) return value;
    }
    const std::string meant = didYouMean(nearNames(text, all));
    throw WrongSetting{fmt::format("{}, and not “{}”.{}{}", what, text, meant.empty() ? "" : " ", meant)};
}

/// "~" and what begins with "~/" in words of the system; `escaped` for a pattern, in which some characters of the home
/// directory's name would mean something.
enum class HomeForm : std::uint8_t { plain, escaped };
std::string withHome(const std::string& text, std::string_view home, HomeForm form) {
    if (!text.starts_with('~')) return text;
    if (text.size() > 1 && text[1] != '/') {
        if (form == HomeForm::escaped) return text;  // the name of a file, as editors leave them
        throw WrongSetting{
            fmt::format("“{}” begins with the home directory of nobody: only “~” and “~/” are known.", text)};
    }
    if (home.empty()) throw WrongSetting{"The home directory, for which “~” stands, is not known."};
    std::string result;
    for (const char c : home) {
        if (form == HomeForm::escaped && std::string_view{"*?[\\"}.find(c) != std::string_view::npos) result += '\\';
        result += c;
    }
    return result + text.substr(1);
}

std::optional<std::chrono::days> parseDays(std::string_view text) {
    std::int64_t number = 0;
    const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc{} || number < 0 || number > 100'000) return std::nullopt;
    const std::string_view unit = text.substr(static_cast<std::size_t>(rest - text.data()));
    constexpr std::array<std::pair<std::string_view, std::int64_t>, 4> units{
        {{"d", 1}, {"w", 7}, {"mo", 30}, {"y", 365}}};
    for (const auto& [name, days] : units) {
        // More than a clock could have been running for.
        if (unit == name && number * days <= 100'000) return std::chrono::days{number * days};
    }
    return std::nullopt;
}

std::chrono::days daysOf(const toml::node& node, std::string_view setting) {
    const std::string what = fmt::format("“{}” is to be a number of days, weeks, months or years such as “7d”, “2w”, "
                                         "“6mo” or “1y”",
                                         setting);
    const std::string text = textOf(node, what + ",");
    if (const auto days = parseDays(text)) return *days;
    throw WrongSetting{fmt::format("{}, and not “{}”.", what, text)};
}

std::int64_t historySizeOf(const toml::node& node, std::string_view setting) {
    // Less would hardly hold one scan, and is a unit that was forgotten.
    constexpr std::int64_t least = 1'000'000;
    const std::string what = fmt::format("“{}” is to be a size of 1 MB at least, such as “2GB” or “500MiB”", setting);
    const std::string text = textOf(node, what + ",");
    if (const auto bytes = parseSize(text); bytes && *bytes >= least) return *bytes;
    throw WrongSetting{fmt::format("{}, and not “{}”.", what, text)};
}

/// One file being read.
class Reader {
public:
    Reader(std::string_view home, Settings& settings) : home_{home}, settings_{settings} {}

    void read(const toml::table& table) { read(table, ""); }

    struct Known {
        std::string_view name;
        void (Reader::*take)(const toml::node& node, std::string_view name);
    };
    static const std::array<Known, 9> all;

private:
    void read(const toml::table& table, const std::string& above) {
        for (const auto& [key, node] : table) {
            const std::string name = above + std::string{key.str()};
            const auto known = std::ranges::find(all, name, &Known::name);
            const bool isTable =
                std::ranges::any_of(all, [&](const Known& each) { return each.name.starts_with(name + '.'); });
            if (known != all.end()) {
                try {
                    (this->*known->take)(node, name);
                } catch (const WrongSetting& wrong) {
                    tell(lineOf(node), wrong.message());
                }
            } else if (isTable && node.is_table()) {
                read(*node.as_table(), name + '.');
            } else if (isTable) {
                tell(lineOf(node), fmt::format("“{}” is the name of a table, which begins with [{}].", name, name));
            } else {
                tell(key.source().begin.line, unknown(above, key.str(), node.is_table()));
            }
        }
    }

    void tell(std::int64_t line, std::string message) {
        settings_.problems.push_back({.line = line, .message = std::move(message)});
    }

    /// That there is no such setting, and which was probably meant; `above` is its table's name with a dot, or empty.
    static std::string unknown(const std::string& above, std::string_view key, bool isTable) {
        const std::string problem = fmt::format("There is no setting “{}{}”.", above, key);
        std::vector<std::string> beside;
        std::vector<std::string> tables;
        for (const Known& each : all) {
            const std::size_t dot = each.name.find('.');
            if (dot != std::string_view::npos && above.empty()) tables.emplace_back(each.name.substr(0, dot));
            if (each.name.starts_with(above)) beside.emplace_back(each.name.substr(above.size()));
        }
        if (std::string meant = didYouMean(nearNames(key, isTable ? tables : beside)); !meant.empty())
            return problem + ' ' + meant;
        for (const Known& each : all) {
            const std::size_t dot = each.name.find('.');
            if (each.name.substr(dot + 1) != key) continue;
            if (dot == std::string_view::npos)
                return fmt::format("{} “{}” stands above the first table.", problem, key);
            return fmt::format("{} “{}” stands below [{}].", problem, key, each.name.substr(0, dot));
        }
        return fmt::format("{} There are {}.", problem, fmt::join(settingNames(), ", "));
    }

    void takeUnits(const toml::node& node, std::string_view name) {
        settings_.units.offer(oneOf(node, name, unitNames), lineOf(node));
    }
    void takeColor(const toml::node& node, std::string_view name) {
        settings_.color.offer(oneOf(node, name, choiceNames), lineOf(node));
    }
    void takePageColors(const toml::node& node, std::string_view name) {
        settings_.pageColors.offer(oneOf(node, name, pageColorNames), lineOf(node));
    }
    void takeKeepAll(const toml::node& node, std::string_view name) {
        settings_.keepAll.offer(daysOf(node, name), lineOf(node));
    }
    void takeKeepDaily(const toml::node& node, std::string_view name) {
        settings_.keepDaily.offer(daysOf(node, name), lineOf(node));
    }
    void takeKeepWeekly(const toml::node& node, std::string_view name) {
        settings_.keepWeekly.offer(daysOf(node, name), lineOf(node));
    }
    void takeMostBytes(const toml::node& node, std::string_view name) {
        settings_.mostBytes.offer(historySizeOf(node, name), lineOf(node));
    }

    void takeFolder(const toml::node& node, std::string_view name) {
        const std::string what = fmt::format("“{}” is to be a path that begins with “/” or “~”", name);
        const std::string path = withHome(textOf(node, what + ","), home_, HomeForm::plain);
        if (!path.starts_with('/') || path.find('\0') != std::string::npos) throw WrongSetting{what + '.'};
        settings_.folder.offer(path, lineOf(node));
    }

    void takeExclude(const toml::node& node, std::string_view name) {
        const toml::array* list = node.as_array();
        const std::string what =
            fmt::format("“{}” is to be a list of patterns, such as [\"node_modules\", \"*.iso\"]", name);
        if (list == nullptr) throw WrongSetting{what + '.'};
        std::vector<std::string> patterns;
        for (const toml::node& each : *list) {
            // One that can't be used says so in its own line, and the others hold.
            try {
                if (!each.is_string()) throw WrongSetting{what + '.'};
                patterns.push_back(withHome(each.as_string()->get(), home_, HomeForm::escaped));
                (void)KestrelCore::ExcludePattern::parse(patterns.back());
            } catch (const WrongSetting& wrong) {
                tell(lineOf(each), wrong.message());
            } catch (const KestrelCore::KestrelError& error) {
                patterns.pop_back();
                tell(lineOf(each), error.what());
            }
        }
        settings_.exclude.offer(std::move(patterns), lineOf(node));
    }

    std::string_view home_;
    Settings& settings_;
};

// In the order in which `kestrel config` shows them.
const std::array<Reader::Known, 9> Reader::all{{{"units", &Reader::takeUnits},
                                                {"color", &Reader::takeColor},
                                                {"folder", &Reader::takeFolder},
                                                {"exclude", &Reader::takeExclude},
                                                {"history.keep-all", &Reader::takeKeepAll},
                                                {"history.keep-daily", &Reader::takeKeepDaily},
                                                {"history.keep-weekly", &Reader::takeKeepWeekly},
                                                {"history.most-size", &Reader::takeMostBytes},
                                                {"page.colors", &Reader::takePageColors}}};

/// The line of the first bytes that are not UTF-8; empty where all are.
std::optional<std::int64_t> lineThatIsNotUTF8(std::string_view text) {
    std::int64_t line = 1;
    while (!text.empty()) {
        const UTF8Step step = firstUTF8(text);
        if (!step.scalar) return line;
        if (*step.scalar == U'\n') ++line;
        text.remove_prefix(step.length);
    }
    return std::nullopt;
}

/// Whether the parser gives up for a key that is missing.
bool lacksKey(std::string_view text) {
    try {
        (void)toml::parse(text);
    } catch (const toml::parse_error&) {
        return false;  // of another reason, such as the end of what was handed in
    } catch (const std::invalid_argument&) {
        return true;
    }
    return false;
}

/// The line of the key for which it does: the first with which it does so. The parser does not tell.
std::int64_t lineWithoutKey(std::string_view text) {
    std::vector<std::size_t> ends;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\n') ends.push_back(i + 1);
    }
    const auto first =
        std::ranges::partition_point(ends, [&](std::size_t end) { return !lacksKey(text.substr(0, end)); });
    return std::distance(ends.begin(), first) + 1;
}

}  // namespace

void readConfiguration(std::string_view text, std::string_view home, Settings& settings) {
    if (const auto line = lineThatIsNotUTF8(text)) {
        settings.problems.push_back({.line = *line, .message = "The file is to be UTF-8, which this line is not."});
        return;
    }
    try {
        Reader{home, settings}.read(toml::parse(text));
        // A table has its keys in the order of their names.
        std::ranges::stable_sort(settings.problems, {}, &SettingProblem::line);
    } catch (const toml::parse_error& error) {
        settings.problems.push_back({.line = static_cast<std::int64_t>(error.source().begin.line),
                                     .message = std::string{error.description()} + "."});
    } catch (const std::invalid_argument&) {
        settings.problems.push_back({.line = lineWithoutKey(text), .message = "A name is missing or broken here."});
    }
}

std::vector<std::string> settingNames() {
    std::vector<std::string> names;
    for (const Reader::Known& each : Reader::all) names.emplace_back(each.name);
    return names;
}

std::string_view exampleConfiguration() {
    return R"(# Settings of kestrel. What has a # before it is what holds without this file: take
# the # away and change it. An option goes before what is written here, and kestrel
# config tells what holds and where it comes from.

# Sizes in decimal units (1 kB = 1000 bytes) or in binary ones (1 KiB = 1024 bytes):
# "si", "iec". As --units.
#units = "si"

# Colours: "auto" (on a terminal; never with NO_COLOR), "always", "never". As --color.
#color = "auto"

# What kestrel scan scans where no folder is named. ~ is the home directory.
#folder = "~"

# What every scan leaves out, as --exclude does; --exclude adds to it.
# exclude = ["node_modules", "*.iso", "~/.cache"]
#exclude = []

[history]
# All scans stay as long as this, then the last of each day, then the last of each week:
# days, weeks, months, years as "7d", "2w", "6mo", "1y".
#keep-all = "7d"
#keep-daily = "31d"
#keep-weekly = "366d"
# The oldest go first where the history would have more. At least "1MB".
#most-size = "2GB"

[page]
# Colours of kestrel browse and of kestrel monitor: "usual", "color-blind" (none that
# only red and green tell apart), "terminal" (the ones your terminal is set to), "none".
#colors = "usual"
)";
}

std::string_view nameOf(SizeUnits units) { return nameIn(unitNames, units); }
std::string_view nameOf(ColorChoice choice) { return nameIn(choiceNames, choice); }
std::string_view nameOf(PageColors colors) { return nameIn(pageColorNames, colors); }

}  // namespace KestrelCLI
