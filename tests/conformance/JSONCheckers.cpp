#include "KestrelCore/JSON/CodingErrors.hpp"
#include "KestrelCore/Snapshot/ScanSnapshot.hpp"
#include "conformance/Checkers.hpp"
#include "JSON/JSONFormat.hpp"

#include <bit>
#include <charconv>
#include <optional>

namespace KestrelCore::conformance {

namespace {

using simdjson::dom::element;
using simdjson::dom::element_type;

bool isNumber(element value) {
    const element_type type = value.type();
    return type == element_type::INT64 || type == element_type::UINT64 || type == element_type::DOUBLE;
}

/// Equal as values: key order does not matter, numbers compare as integers where both are and as doubles otherwise.
bool areEqual(element a, element b) {
    if (isNumber(a) && isNumber(b)) {
        std::uint64_t unsignedA = 0;
        std::uint64_t unsignedB = 0;
        if (!a.get_uint64().get(unsignedA) && !b.get_uint64().get(unsignedB)) return unsignedA == unsignedB;
        std::int64_t signedA = 0;
        std::int64_t signedB = 0;
        if (!a.get_int64().get(signedA) && !b.get_int64().get(signedB)) return signedA == signedB;
        return double{a} == double{b};
    }
    if (a.type() != b.type()) return false;
    switch (a.type()) {
    case element_type::STRING: return std::string_view{a} == std::string_view{b};
    case element_type::BOOL: return bool{a} == bool{b};
    case element_type::ARRAY: {
        const simdjson::dom::array arrayA{a};
        const simdjson::dom::array arrayB{b};
        if (arrayA.size() != arrayB.size()) return false;
        auto other = arrayB.begin();
        for (const element value : arrayA) {
            if (!areEqual(value, *other)) return false;
            ++other;
        }
        return true;
    }
    case element_type::OBJECT: {
        const simdjson::dom::object objectA{a};
        const simdjson::dom::object objectB{b};
        if (objectA.size() != objectB.size()) return false;
        for (const auto field : objectA) {
            element other;
            if (objectB.at_key(field.key).get(other) || !areEqual(field.value, other)) return false;
        }
        return true;
    }
    default: return true;
    }
}

std::string payloadOf(element row) {
    std::string_view text;
    if (!row["input"].get_string().get(text)) return std::string{text};
    std::string bytes;
    for (const element byte : simdjson::dom::array{row["bytes"]}) {
        bytes += static_cast<char>(static_cast<unsigned char>(std::uint64_t{byte}));
    }
    return bytes;
}

struct Outcome {
    std::optional<ScanSnapshot> snapshot;
    std::string description;
};

Outcome decode(const std::string& payload) {
    try {
        return {ScanSnapshot::decodingJSON(payload), ""};
    } catch (const DecodingError& error) {
        return {std::nullopt, error.what()};
    }
}

}  // namespace

void checkJSONDoubles(element root, Report& report) {
    for (const element row : simdjson::dom::array{root}) {
        const std::string_view digits{row["bits"]};
        std::uint64_t bits = 0;
        std::from_chars(digits.data(), digits.data() + digits.size(), bits, 16);
        std::string text;
        const bool isFinite = JSONFormat::appendDouble(text, std::bit_cast<double>(bits));
        report.expect(isFinite && text == std::string_view{row["json"]}, std::string{digits},
                      std::string_view{row["json"]}, text);
    }
}

void checkJSONStrings(element root, Report& report) {
    for (const element row : simdjson::dom::array{root}) {
        std::string text;
        JSONFormat::appendString(text, std::string_view{row["input"]});
        report.expectEqual(std::string_view{row["json"]}, text, std::string{std::string_view{row["input"]}});
    }
}

void checkJSONPayloads(element root, Report& report) {
    std::size_t index = 0;
    for (const element row : simdjson::dom::array{root}) {
        const std::string what = "row " + std::to_string(index++) + ": " + payloadOf(row);
        const Outcome outcome = decode(payloadOf(row));
        element ignored;
        const bool isOpen = !row["open"].get(ignored);
        if (!isOpen)
            report.expectEqual(bool{row["ok"]}, outcome.snapshot.has_value(), what + " (" + outcome.description + ")");
        std::string_view description;
        if (!outcome.snapshot && !row["description"].get_string().get(description)) {
            report.expectEqual(description, outcome.description, what);
        }
        element value;
        if (outcome.snapshot && !row["value"].get(value)) {
            const std::string written = outcome.snapshot->encodedJSON();
            simdjson::dom::parser parser;
            element reread;
            const bool isJSON = !parser.parse(written).get(reread);
            report.expect(isJSON && areEqual(value, reread), what, simdjson::minify(value), written);
        }
    }
}

}  // namespace KestrelCore::conformance
