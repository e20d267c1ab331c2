#pragma once

#include "KestrelCore/Base/Text.hpp"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <simdjson.h>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

namespace KestrelCore::testing {

/// A file of reference vectors, read whole. Values taken from it live as long as it does.
class VectorFile {
public:
    /// Throws std::runtime_error when the file can't be read or is no JSON.
    explicit VectorFile(const std::filesystem::path& file) {
        std::ifstream stream{file, std::ios::binary};
        const std::string text{std::istreambuf_iterator<char>{stream}, {}};
        const auto error = parser_.parse(withHugeIntegersAsDecimals(text)).get(root_);
        if (error != simdjson::SUCCESS) {
            throw std::runtime_error{file.string() + ": " + simdjson::error_message(error)};
        }
    }

    [[nodiscard]] simdjson::dom::element root() const { return root_; }
    /// The elements of a file that is an array of rows.
    [[nodiscard]] simdjson::dom::array rows() const { return simdjson::dom::array{root_}; }

private:
    /// The parser refuses an integer that fits neither 64-bit type, which a vector may hold as the value of a double.
    static std::string withHugeIntegersAsDecimals(std::string_view text) {
        std::string result;
        bool isInString = false;
        for (std::size_t i = 0; i < text.size();) {
            const char c = text[i];
            if (isInString || (c != '-' && (c < '0' || c > '9'))) {
                if (isInString && c == '\\')
                    result += text[i++];
                else if (c == '"')
                    isInString = !isInString;
                if (i < text.size()) result += text[i++];
                continue;
            }
            const std::size_t end = std::min(text.find_first_not_of("-+.eE0123456789", i), text.size());
            const std::string_view number = text.substr(i, end - i);
            std::int64_t ignoredSigned = 0;
            std::uint64_t ignored = 0;
            const bool isInteger = number.find_first_of(".eE") == std::string_view::npos;
            const bool fits =
                std::from_chars(number.data(), number.data() + number.size(), ignoredSigned).ec == std::errc{} ||
                std::from_chars(number.data(), number.data() + number.size(), ignored).ec == std::errc{};
            result += number;
            if (isInteger && !fits) result += ".0";
            i = end;
        }
        return result;
    }

    simdjson::dom::parser parser_;
    simdjson::dom::element root_;
};

[[nodiscard]] inline Text textOf(simdjson::dom::element value) { return Text{std::string_view{value}}; }

[[nodiscard]] inline std::vector<Text> textsOf(simdjson::dom::element array) {
    std::vector<Text> texts;
    for (const simdjson::dom::element value : simdjson::dom::array{array}) texts.push_back(textOf(value));
    return texts;
}

/// Pairs of indices, as the relations of texts are written.
[[nodiscard]] inline std::vector<std::pair<std::size_t, std::size_t>> pairsOf(simdjson::dom::element array) {
    std::vector<std::pair<std::size_t, std::size_t>> pairs;
    for (const simdjson::dom::element value : simdjson::dom::array{array}) {
        const simdjson::dom::array pair{value};
        pairs.emplace_back(std::uint64_t{pair.at(0)}, std::uint64_t{pair.at(1)});
    }
    return pairs;
}

}  // namespace KestrelCore::testing
