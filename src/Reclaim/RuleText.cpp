#include "Reclaim/RuleText.hpp"

#include "Base/TextScan.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <fmt/format.h>
#include <initializer_list>
#include <limits>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <utility>
#include <vector>

// Where a key should begin and none does ("[=") the parser assumes that it can't be, and goes on with anything. So what
// it assumes is looked at, in every build; RuleText.cpp and ConfigurationText.cpp must say the same.
[[noreturn]] inline void tellThatAKeyIsMissing() { throw std::invalid_argument{"a key is missing"}; }
#undef NDEBUG
#define TOML_ASSERT(expr) ((expr) ? void() : ::tellThatAKeyIsMissing())
#define TOML_ENABLE_FORMATTERS 0
#include <toml++/toml.h>

// A rule comes from a file that somebody wrote, and decides about what others may lose. So nothing is guessed: what is
// not understood, and what could match more than was meant, refuses the whole rule, with its line.

namespace KestrelCore {

namespace {

constexpr std::int32_t mostRank = 100;

struct Anchor {
    PlaceAnchor anchor;
    std::string_view text;
};
constexpr std::array anchors{
    Anchor{PlaceAnchor::home, "~"},
    Anchor{PlaceAnchor::cache, "$CACHE"},
    Anchor{PlaceAnchor::configuration, "$CONFIG"},
    Anchor{PlaceAnchor::data, "$DATA"},
    Anchor{PlaceAnchor::state, "$STATE"},
    Anchor{PlaceAnchor::library, "$LIBRARY"},
    Anchor{PlaceAnchor::trash, "$TRASH"},
};

std::int64_t lineOf(const toml::node& node) { return node.source().begin.line; }

[[noreturn]] void refuse(const toml::node& node, const std::string& message) { throw RuleError{lineOf(node), message}; }

/// Only wildcards: it would match everything. Names of a certain length are not everything.
bool matchesEverything(std::string_view pattern) {
    return pattern.find_first_not_of("*?") == std::string_view::npos && pattern.find('*') != std::string_view::npos;
}

bool hasControls(std::string_view text) {
    return std::ranges::any_of(text, [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; });
}

class Reader {
public:
    explicit Reader(std::string_view identifier) : identifier_{identifier} {}

    ReclaimRule rule(const toml::table& table) const {
        allow(table, {"id", "title", "systems", "certainty", "rank", "smallest-age", "why", "comes-back",
                      "owners-command", "shown-only", "match"});
        ReclaimRule rule;
        rule.identifier = identifier(table);
        rule.title = sentence(table, "title");
        rule.why = sentence(table, "why");
        rule.comesBack = sentence(table, "comes-back");
        if (table.contains("owners-command")) rule.ownersCommand = sentence(table, "owners-command");
        if (const toml::node* node = table.get("shown-only")) {
            if (!node->is_boolean()) refuse(*node, "“shown-only” is true or false.");
            rule.isShownOnly = node->as_boolean()->get();
            if (rule.isShownOnly && !rule.ownersCommand)
                refuse(*node, "What is only shown needs the owners-command that takes it away.");
        }
        rule.certainty = certainty(table);
        rule.systems = systems(table);
        if (const toml::node* node = table.get("rank")) rule.rank = rank(*node);
        if (const toml::node* node = table.get("smallest-age")) rule.smallestAge = age(*node);
        const toml::array* matches = table.get("match") ? table.get("match")->as_array() : nullptr;
        if (matches == nullptr || matches->empty()) refuse(table, "The rule has no [[match]].");
        for (const toml::node& each : *matches) {
            if (!each.is_table()) refuse(each, "A match is a table: [[match]].");
            rule.matches.push_back(match(*each.as_table()));
            if (rule.matches.back().finder == ReclaimFinder::largeOldFiles &&
                (rule.smallestAge.count() == 0 || rule.matches.back().smallestBytes == 0)) {
                refuse(each, "“large-old-files” needs a smallest-age and a smallest-size.");
            }
        }
        return rule;
    }

private:
    static void allow(const toml::table& table, std::initializer_list<std::string_view> keys) {
        for (const auto& [key, value] : table) {
            if (std::ranges::find(keys, key.str()) == keys.end())
                throw RuleError{key.source().begin.line, fmt::format("“{}” is no key that is known here.", key.str())};
        }
    }

    static Text text(const toml::node& node, std::string_view key) {
        const auto* value = node.as_string();
        if (value == nullptr) refuse(node, fmt::format("“{}” is to be a text.", key));
        if (!isWellFormedUTF8(value->get()) || hasControls(value->get()))
            refuse(node, fmt::format("“{}” is to be one line of text.", key));
        if (value->get().empty()) refuse(node, fmt::format("“{}” is empty.", key));
        return Text{value->get()};
    }

    static Text sentence(const toml::table& table, const char* key) {
        const toml::node* node = table.get(key);
        if (node == nullptr) refuse(table, fmt::format("“{}” is missing.", key));
        return text(*node, key);
    }

    [[nodiscard]] Text identifier(const toml::table& table) const {
        Text id = sentence(table, "id");
        const auto isUsual = [](char c) { return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-'; };
        if (!std::ranges::all_of(id.view(), isUsual) || id.view().front() == '-')
            refuse(*table.get("id"), "An identifier consists of a-z, 0-9 and “-”, and does not begin with “-”.");
        if (id.view() != identifier_)
            refuse(*table.get("id"), fmt::format("The identifier is not the name of the file, “{}”.", identifier_));
        return id;
    }

    static ReclaimCertainty certainty(const toml::table& table) {
        const Text value = sentence(table, "certainty");
        if (value.view() == "regenerates") return ReclaimCertainty::regenerates;
        if (value.view() == "downloads-again") return ReclaimCertainty::downloadsAgain;
        if (value.view() == "yours") return ReclaimCertainty::yours;
        refuse(*table.get("certainty"), "The certainty is “regenerates”, “downloads-again” or “yours”.");
    }

    static std::vector<Text> systems(const toml::table& table) {
        std::vector<Text> systems = texts(table, "systems");
        if (systems.empty()) refuse(table, "“systems” is missing.");
        for (const Text& each : systems) {
            if (each.view() != "linux" && each.view() != "macos")
                refuse(*table.get("systems"), fmt::format("“{}” is no system: linux, macos.", each.view()));
        }
        return systems;
    }

    static std::int32_t rank(const toml::node& node) {
        const auto value = node.value<std::int64_t>();
        if (!node.is_integer() || !value || *value < 0 || *value > mostRank)
            refuse(node, fmt::format("The rank is a number from 0 to {}.", mostRank));
        return static_cast<std::int32_t>(*value);
    }

    /// A whole number with a unit right behind it.
    static std::optional<std::pair<std::int64_t, std::string_view>> numberAndUnit(std::string_view text) {
        std::int64_t number = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
        if (error != std::errc{} || number < 0 || number > 1'000'000) return std::nullopt;
        return std::pair{number, text.substr(static_cast<std::size_t>(end - text.data()))};
    }

    static std::chrono::days age(const toml::node& node) {
        const Text value = text(node, "smallest-age");
        if (const auto parts = numberAndUnit(value.view())) {
            const auto& [number, unit] = *parts;
            constexpr std::array<std::pair<std::string_view, int>, 4> units{
                {{"d", 1}, {"w", 7}, {"m", 30}, {"y", 365}}};
            for (const auto& [name, days] : units) {
                // More than a clock could have been running for.
                if (unit == name && number * days <= 100'000) return std::chrono::days{number * days};
            }
        }
        refuse(node, "An age is a number and d, w, m or y, such as “30d”.");
    }

    static std::int64_t size(const toml::node& node) {
        const Text value = text(node, "smallest-size");
        if (const auto parts = numberAndUnit(value.view())) {
            const auto& [number, unit] = *parts;
            constexpr std::array<std::pair<std::string_view, std::int64_t>, 5> units{
                {{"B", 1}, {"kB", 1'000}, {"MB", 1'000'000}, {"GB", 1'000'000'000}, {"TB", 1'000'000'000'000}}};
            for (const auto& [name, bytes] : units) {
                if (unit == name) return number * bytes;
            }
        }
        refuse(node, "A size is a number and B, kB, MB, GB or TB, such as “100MB”.");
    }

    /// Empty where the key is not there.
    static std::vector<Text> texts(const toml::table& table, const char* key) {
        const toml::node* node = table.get(key);
        if (node == nullptr) return {};
        const toml::array* array = node->as_array();
        if (array == nullptr) refuse(*node, fmt::format("“{}” is to be a list.", key));
        if (array->empty()) refuse(*node, fmt::format("“{}” is an empty list.", key));
        std::vector<Text> result;
        for (const toml::node& each : *array) result.push_back(text(each, key));
        return result;
    }

    enum class Everything : std::uint8_t { refused, allowed };
    static std::vector<Text> names(const toml::table& table, const char* key,
                                   Everything everything = Everything::refused) {
        std::vector<Text> result = texts(table, key);
        for (std::size_t i = 0; i < result.size(); ++i) {
            const toml::node& node = (*table.get(key)->as_array())[i];
            const std::string_view name = result[i].view();
            if (name.find('/') != std::string_view::npos)
                refuse(node, fmt::format("“{}” is no name: it has a “/”.", name));
            if (name == "." || name == "..") refuse(node, fmt::format("“{}” is no name.", name));
            if (everything == Everything::refused && matchesEverything(name))
                refuse(node, fmt::format("“{}” would match everything.", name));
        }
        return result;
    }

    static std::vector<Text> places(const toml::table& table, const char* key) {
        std::vector<Text> result = texts(table, key);
        for (std::size_t i = 0; i < result.size(); ++i) checkPlace(result[i].view(), (*table.get(key)->as_array())[i]);
        return result;
    }

    static void checkPlace(std::string_view place, const toml::node& node) {
        const auto wrong = [&](std::string_view reason) { refuse(node, fmt::format("“{}” {}", place, reason)); };
        const bool isAnchored = std::ranges::any_of(anchors, [&](const Anchor& anchor) {
            return place == anchor.text || (place.starts_with(anchor.text) && place[anchor.text.size()] == '/');
        });
        if (!isAnchored && !place.starts_with('/'))
            wrong("begins with none of /, ~, $CACHE, $CONFIG, $DATA, $STATE, $LIBRARY and $TRASH.");
        std::string_view rest = placeText(place).rest;
        if (place.ends_with('/')) wrong("is to end without “/”.");
        if (rest.empty() && place.starts_with('/')) wrong("is the whole disk.");
        for (bool isFirst = true; !rest.empty(); isFirst = false) {
            const std::size_t slash = rest.find('/');
            const std::string_view component = rest.substr(0, slash);
            const bool isLast = slash == std::string_view::npos;
            rest = isLast ? std::string_view{} : rest.substr(slash + 1);
            if (component.empty() || component == ".") wrong("has an empty step.");
            if (component == "..") wrong("leads upwards.");
            if ((isFirst || isLast) && matchesEverything(component)) wrong("would match everything.");
        }
    }

    static ReclaimMatch match(const toml::table& table) {
        constexpr std::array sorts{"places", "folders", "files", "finder"};
        const auto given = std::ranges::count_if(sorts, [&](const char* key) { return table.contains(key); });
        if (given != 1) refuse(table, "A match has one of places, folders, files and finder.");
        ReclaimMatch match;
        if (table.contains("places")) readPlaces(table, match);
        if (table.contains("folders")) readFolders(table, match);
        if (table.contains("files")) {
            allow(table, {"files", "in", "smallest-size"});
            match.files = names(table, "files");
            match.inPlaces = places(table, "in");
        }
        if (table.contains("finder")) {
            allow(table, {"finder", "smallest-size"});
            match.finder = fromRawValue<ReclaimFinder>(sentence(table, "finder").view());
            if (!match.finder) refuse(*table.get("finder"), "There is no such finder.");
        }
        if (const toml::node* node = table.get("smallest-size")) match.smallestBytes = size(*node);
        return match;
    }

    static void readPlaces(const toml::table& table, ReclaimMatch& match) {
        allow(table, {"places", "take", "names", "kinds"});
        match.places = places(table, "places");
        if (const toml::node* node = table.get("take")) {
            const Text take = text(*node, "take");
            if (take.view() != "item" && take.view() != "contents") refuse(*node, "take is “item” or “contents”.");
            if (take.view() == "item") match.take = ReclaimMatch::Take::item;
        }
        const bool takesItem = match.take == ReclaimMatch::Take::item;
        if (takesItem && (table.contains("names") || table.contains("kinds")))
            refuse(table, "names and kinds go with take = \"contents\".");
        match.names = names(table, "names", Everything::allowed);
        for (std::size_t i = 0; i < match.places.size(); ++i) {
            if (match.places[i].view() == "~" && (takesItem || match.names.empty()))
                refuse((*table.get("places")->as_array())[i], "“~” is everything that somebody has.");
        }
        const std::vector<Text> kinds = texts(table, "kinds");
        if (kinds.empty()) return;
        match.takesFiles = false;
        match.takesFolders = false;
        for (const Text& kind : kinds) {
            if (kind.view() != "file" && kind.view() != "directory")
                refuse(*table.get("kinds"), fmt::format("“{}” is no kind: file, directory.", kind.view()));
            (kind.view() == "file" ? match.takesFiles : match.takesFolders) = true;
        }
    }

    static void readFolders(const toml::table& table, ReclaimMatch& match) {
        allow(table, {"folders", "beside", "holds"});
        match.folders = names(table, "folders");
        match.beside = names(table, "beside");
        match.holds = names(table, "holds");
        if (match.beside.empty() && match.holds.empty()) refuse(table, "folders needs a witness: beside or holds.");
    }

    std::string_view identifier_;
};

}  // namespace

ReclaimRule readRule(std::string_view text, std::string_view identifier) {
    try {
        return Reader{identifier}.rule(toml::parse(text));
    } catch (const toml::parse_error& error) {
        throw RuleError{static_cast<std::int64_t>(error.source().begin.line), std::string{error.description()} + "."};
    } catch (const std::invalid_argument&) {
        throw RuleError{0, "A name of a table or of a key is missing or broken."};
    }
}

PlaceText placeText(std::string_view place) {
    for (const Anchor& each : anchors) {
        if (place == each.text) return {.anchor = each.anchor, .rest = {}};
        if (place.starts_with(each.text) && place[each.text.size()] == '/')
            return {.anchor = each.anchor, .rest = place.substr(each.text.size() + 1)};
    }
    return {.anchor = PlaceAnchor::system, .rest = place.substr(1)};
}

}  // namespace KestrelCore
