#pragma once

#include "Base/SeededHash.hpp"
#include "Reclaim/NamePattern.hpp"

#include <boost/unordered/unordered_flat_map.hpp>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace KestrelCore {

/// Names and patterns of names, each with a number, to be asked about millions of names: most are turned away by a look
/// at one byte. Built by one thread, then asked by any.
class NameTable {
public:
    void add(std::string_view pattern, std::uint32_t number) {
        if (!isPattern(pattern)) {
            exact_[std::string{pattern}].push_back(number);
            exactFirst_[static_cast<unsigned char>(pattern.front())] = true;
        } else if (pattern.front() != '*' && pattern.front() != '?') {
            byFirst_[static_cast<unsigned char>(pattern.front())].push_back({std::string{pattern}, number});
        } else if (pattern.back() != '*' && pattern.back() != '?') {
            byLast_[static_cast<unsigned char>(pattern.back())].push_back({std::string{pattern}, number});
        } else {
            others_.push_back({std::string{pattern}, number});
        }
        isEmpty_ = false;
    }

    [[nodiscard]] bool isEmpty() const { return isEmpty_; }

    /// Calls `use` with the number of everything that the name fits, the same number once for each pattern.
    template <typename Use>
    void each(std::string_view name, const Use& use) const {
        if (name.empty()) return;
        const auto first = static_cast<unsigned char>(name.front());
        if (exactFirst_[first]) {
            const auto found = exact_.find(name);
            if (found != exact_.end()) {
                for (const std::uint32_t number : found->second) use(number);
            }
        }
        const auto tryAll = [&](const std::vector<Pattern>& patterns) {
            for (const Pattern& each : patterns) {
                if (fits(name, each.text)) use(each.number);
            }
        };
        tryAll(byFirst_[first]);
        tryAll(byLast_[static_cast<unsigned char>(name.back())]);
        tryAll(others_);
    }
    /// Whether the name fits anything.
    [[nodiscard]] bool holds(std::string_view name) const {
        bool isThere = false;
        each(name, [&](std::uint32_t) { isThere = true; });
        return isThere;
    }

private:
    struct Pattern {
        std::string text;
        std::uint32_t number;
    };
    /// Equal for the same bytes, whoever owns them.
    struct Equal {
        using is_transparent = void;
        bool operator()(std::string_view a, std::string_view b) const { return a == b; }
    };
    struct Hash : SeededHash {
        using is_transparent = void;
    };

    /// Most patterns are "*.part": an ending, which is compared at once.
    static bool fits(std::string_view name, std::string_view pattern) {
        const std::string_view tail = pattern.substr(pattern.find_last_of("*?") + 1);
        return name.ends_with(tail) && fitsPattern(name, pattern);
    }

    boost::unordered_flat_map<std::string, std::vector<std::uint32_t>, Hash, Equal> exact_;
    std::array<bool, 256> exactFirst_{};
    std::array<std::vector<Pattern>, 256> byFirst_;
    std::array<std::vector<Pattern>, 256> byLast_;
    std::vector<Pattern> others_;
    bool isEmpty_ = true;
};

}  // namespace KestrelCore
