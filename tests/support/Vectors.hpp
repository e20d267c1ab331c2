#pragma once

#include "KestrelCore/Base/Text.hpp"

#include <filesystem>
#include <simdjson.h>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace KestrelCore::testing {

/// A file of reference vectors, read whole. Values taken from it live as long as it does.
class VectorFile {
public:
    /// Throws std::runtime_error when the file can't be read or is no JSON.
    explicit VectorFile(const std::filesystem::path& file) {
        const auto error = parser_.load(file.string()).get(root_);
        if (error != simdjson::SUCCESS) {
            throw std::runtime_error{file.string() + ": " + simdjson::error_message(error)};
        }
    }

    [[nodiscard]] simdjson::dom::element root() const { return root_; }
    /// The elements of a file that is an array of rows.
    [[nodiscard]] simdjson::dom::array rows() const { return simdjson::dom::array{root_}; }

private:
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
