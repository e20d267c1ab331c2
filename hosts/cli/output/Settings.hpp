#pragma once

#include "output/ByteFormat.hpp"

#include "KestrelCore/Storage/Generation.hpp"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace KestrelCLI {

enum class ColorChoice : std::uint8_t { automatic, always, never };

/// What full-screen pages are drawn in, as far as the terminal has colours.
enum class PageColors : std::uint8_t {
    usual,       ///< all that the terminal has
    colorBlind,  ///< those that are told apart by who can't tell red from green
    terminal,    ///< only those that the terminal's owner has set
    none
};

/// Where what holds comes from; a later one goes before an earlier one.
enum class SettingSource : std::uint8_t { builtIn, file, environment, option };

/// A value and where it comes from.
template <typename Value>
struct Setting {
    Value value{};
    SettingSource source = SettingSource::builtIn;
    std::int64_t line = 0;  ///< in the file, counted from 1
    std::string by = {};    ///< the option or the variable

    /// Takes another one, unless what holds goes before it.
    void offer(SettingSource from, Value other, std::string name) {
        if (from < source) return;
        *this = {.value = std::move(other), .source = from, .line = 0, .by = std::move(name)};
    }
    /// The same of the file's.
    void offer(Value other, std::int64_t where) {
        if (source > SettingSource::file) return;
        *this = {.value = std::move(other), .source = SettingSource::file, .line = where, .by = {}};
    }
};

/// What is wrong with a configuration file.
struct SettingProblem {
    std::int64_t line = 0;  ///< counted from 1; 0 where no line is to blame
    std::string message;    ///< a finished sentence

    bool operator==(const SettingProblem&) const = default;
};

/// What somebody may choose for good. Read from the configuration file, if there is one, and overruled by the
/// environment and by options.
struct Settings {
    Setting<SizeUnits> units;
    Setting<ColorChoice> color;
    Setting<std::optional<std::string>> folder;  ///< what is scanned where none is named; absent: the home directory
    Setting<std::vector<std::string>> exclude;   ///< patterns, each one that `ExcludePattern` takes
    Setting<PageColors> pageColors;
    /// How long the history keeps what; the parts of a `ThinningPolicy`.
    Setting<std::chrono::days> keepAll{KestrelCore::ThinningPolicy{}.allWithin};
    Setting<std::chrono::days> keepDaily{KestrelCore::ThinningPolicy{}.dailyWithin};
    Setting<std::chrono::days> keepWeekly{KestrelCore::ThinningPolicy{}.weeklyWithin};
    Setting<std::int64_t> mostBytes{KestrelCore::ThinningPolicy{}.mostBytes};

    /// What the history keeps.
    [[nodiscard]] KestrelCore::ThinningPolicy thinning() const {
        return {.allWithin = keepAll.value,
                .dailyWithin = keepDaily.value,
                .weeklyWithin = keepWeekly.value,
                .mostBytes = mostBytes.value};
    }

    std::string file = {};                      ///< the configuration file's path; empty where none is looked for
    bool hasFile = false;                       ///< something is there
    std::vector<SettingProblem> problems = {};  ///< of the file; what they are about is as without it
};

}  // namespace KestrelCLI
