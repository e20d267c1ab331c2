#pragma once

#include "KestrelCore/JSON/CodingErrors.hpp"
#include "JSON/JSONSkipper.hpp"

#include <simdjson.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

// How the fields of a value are read from JSON: each into a `Field` that knows what became of it, then judged in the
// order of declaration, so that the first bad one decides the error. The order of the keys in the text, which is
// anybody's, decides nothing. Inline, since a large snapshot has millions. A reader of a type looks like this:
//
//     Field<std::string_view> path;
//     Field<std::int64_t> size;
//     readMembers(object, at, [&](std::string_view key, json::value value) {
//         if (key == "path") return readFirst(value, path);
//         return key == "size" && readFirst(value, size);  // false: passed over
//     });
//     Requirements wants{at};
//     wants.required("path", path).optional("size", size);
//     if (wants.error()) throw *wants.error();

namespace KestrelCore::JSONFields {

namespace json = simdjson::ondemand;

/// The text breaks the grammar of JSON at `path`, which is "" where nobody knows the place.
[[noreturn]] inline void malformed(const std::string& path, simdjson::error_code error) {
    throw DecodingError{DecodingError::Kind::dataCorrupted, path, simdjson::error_message(error)};
}

/// `mismatched` is a value of another JSON type, `corrupted` one of the right type that ours can't hold: a number out
/// of range, a string with a broken escape. The order matters: what is not above `sound` is fine for an optional field.
enum class FieldState { absent, null, sound, mismatched, corrupted };

/// What was read for one key. `value` means something only where the state is `sound`. A `string_view` lives in the
/// parser and ends with the next text that it is given.
template <typename Value>
struct Field {
    FieldState state = FieldState::absent;
    Value value{};

    [[nodiscard]] std::optional<Value> optional() const {
        return state == FieldState::sound ? std::optional{value} : std::nullopt;
    }
};

/// The value's text without the blanks behind it.
inline std::string_view token(json::value& value) {
    std::string_view text = value.raw_json_token();
    while (!text.empty() && (text.back() == ' ' || text.back() == '\n' || text.back() == '\r' || text.back() == '\t')) {
        text.remove_suffix(1);
    }
    return text;
}

/// The parts of a number, when the text is one by the grammar of JSON.
struct NumberText {
    bool isNegative = false;
    std::string digits;         ///< of the integer and the fraction, without leading zeros
    std::int64_t exponent = 0;  ///< of ten, for the last digit
};

/// Absent when the text is no number.
[[nodiscard]] std::optional<NumberText> parseNumber(std::string_view text);

/// The exact integer that a number's text denotes, in whatever spelling; empty for a fraction or one out of range.
template <typename Integer>
std::optional<Integer> exactInteger(NumberText number) {
    while (number.exponent < 0 && !number.digits.empty() && number.digits.back() == '0') {
        number.digits.pop_back();
        ++number.exponent;
    }
    if (number.digits.empty()) return Integer{0};
    if (number.exponent < 0 || number.exponent > 20 || number.digits.size() > 20) return std::nullopt;
    number.digits.append(static_cast<std::size_t>(number.exponent), '0');
    Integer result = 0;
    for (const char c : number.digits) {
        const auto digit = static_cast<Integer>(number.isNegative ? '0' - c : c - '0');
        if (number.isNegative && std::is_unsigned_v<Integer>) return std::nullopt;
        if (__builtin_mul_overflow(result, Integer{10}, &result) || __builtin_add_overflow(result, digit, &result)) {
            return std::nullopt;
        }
    }
    return result;
}

/// What kept a value from being read as the type asked for.
inline FieldState failure(json::value& value) {
    bool isNull = false;
    if (value.is_null().get(isNull) == simdjson::SUCCESS && isNull) return FieldState::null;
    return FieldState::mismatched;
}

inline void read(json::value value, Field<std::string_view>& field) {
    const auto error = value.get_string().get(field.value);
    if (error == simdjson::SUCCESS) {
        field.state = FieldState::sound;
    } else {
        field.state = error == simdjson::INCORRECT_TYPE ? failure(value) : FieldState::corrupted;
    }
}

inline void read(json::value value, Field<bool>& field) {
    field.state = value.get_bool().get(field.value) == simdjson::SUCCESS ? FieldState::sound : failure(value);
}

template <typename Integer>
void readInteger(json::value value, Field<Integer>& field) {
    simdjson::error_code error{};
    if constexpr (std::is_signed_v<Integer>) {
        error = value.get_int64().get(field.value);
    } else {
        error = value.get_uint64().get(field.value);
    }
    if (error == simdjson::SUCCESS) {
        field.state = FieldState::sound;
        return;
    }
    field.state = failure(value);
    if (field.state == FieldState::null) return;
    const auto number = parseNumber(token(value));
    if (!number) return;
    if (const auto integer = exactInteger<Integer>(*number)) {
        field.value = *integer;
        field.state = FieldState::sound;
    } else {
        field.state = FieldState::corrupted;
    }
}
inline void read(json::value value, Field<std::int64_t>& field) { readInteger(value, field); }
inline void read(json::value value, Field<std::uint64_t>& field) { readInteger(value, field); }

inline void read(json::value value, Field<double>& field) {
    if (value.get_double().get(field.value) == simdjson::SUCCESS) {
        field.state = FieldState::sound;
        if (field.value != 0) return;
        // A text that is not zero but rounds to it can't be represented.
        const auto number = parseNumber(token(value));
        if (!number || !number->digits.empty()) field.state = FieldState::corrupted;
        return;
    }
    field.state = failure(value);
}

/// The first field that keeps a value from being made, in the order in which they are required.
class Requirements {
public:
    explicit Requirements(std::string path) : path_{std::move(path)} {}

    template <typename Value>
    Requirements& required(const char* key, const Field<Value>& field) {
        return check(key, field.state, true);
    }
    template <typename Value>
    Requirements& optional(const char* key, const Field<Value>& field) {
        return check(key, field.state, false);
    }
    Requirements& holds(const char* key, bool isAllowed) {
        if (!isAllowed && !error_)
            error_ = DecodingError{DecodingError::Kind::dataCorrupted, at(key), "A value that is not allowed"};
        return *this;
    }
    [[nodiscard]] const std::optional<DecodingError>& error() const { return error_; }

private:
    Requirements& check(const char* key, FieldState state, bool isRequired) {
        if (error_) return *this;
        switch (state) {
        case FieldState::sound: break;
        case FieldState::absent:
            if (isRequired) error_ = DecodingError{DecodingError::Kind::keyNotFound, at(key), "No such key"};
            break;
        case FieldState::null:
            if (isRequired) error_ = DecodingError{DecodingError::Kind::valueNotFound, at(key), "The value is null"};
            break;
        case FieldState::mismatched:
            error_ = DecodingError{DecodingError::Kind::typeMismatch, at(key), "Another type"};
            break;
        case FieldState::corrupted:
            error_ = DecodingError{DecodingError::Kind::dataCorrupted, at(key), "Not representable"};
            break;
        }
        return *this;
    }
    [[nodiscard]] std::string at(const char* key) const { return path_.empty() ? key : path_ + "." + key; }

    std::string path_;
    std::optional<DecodingError> error_;
};

/// Passes over a value that nobody reads: only its form counts.
inline void skip(json::value value) {
    constexpr std::size_t shallowest = 3;  // the object, its array and the element enclose it at least
    json::object object;
    json::array array;
    std::string_view text;
    simdjson::error_code error = simdjson::SUCCESS;
    if (value.get_object().get(object) == simdjson::SUCCESS)
        error = object.raw_json().get(text);
    else if (value.get_array().get(array) == simdjson::SUCCESS)
        error = array.raw_json().get(text);
    else
        text = value.raw_json_token();
    if (error) malformed("", error);
    skipJSON(text, shallowest);
}

/// Calls `match` with each member of an object; it answers whether it knows the key. The first of equal keys counts.
template <typename Match>
void readMembers(json::object object, const std::string& path, Match match) {
    for (auto member : object) {
        std::string_view key;
        if (const auto error = member.unescaped_key().get(key)) malformed(path, error);
        json::value value;
        if (const auto error = member.value().get(value)) malformed(path, error);
        if (!match(key, value)) skip(value);
    }
}

/// False when an equal key has been read before.
template <typename Value>
bool readFirst(json::value value, Field<Value>& field) {
    if (field.state != FieldState::absent) return false;
    read(value, field);
    return true;
}

/// simdjson over small texts, with the padding that it wants behind them.
class TextReader {
public:
    /// `text` must be one array; calls `visit` with each element.
    template <typename Visit>
    void elements(std::string_view text, const std::string& path, Visit visit) {
        padded_.reserve(text.size() + simdjson::SIMDJSON_PADDING);
        padded_.assign(text);
        json::document document;
        if (const auto error = parser_.iterate(padded_.data(), padded_.size(), padded_.capacity()).get(document)) {
            malformed(path, error);
        }
        json::array array;
        if (const auto error = document.get_array().get(array)) malformed(path, error);
        for (auto element : array) {
            json::value value;
            if (const auto error = element.get(value)) malformed(path, error);
            visit(value);
        }
    }
    /// Calls `visit` with the one value that `text` is.
    template <typename Visit>
    void value(std::string_view text, const std::string& path, Visit visit) {
        std::size_t count = 0;
        elements("[" + std::string{text} + "]", path, [&](json::value& value) {
            if (++count == 1) visit(value);
        });
        if (count != 1) malformed(path, simdjson::TAPE_ERROR);
    }

private:
    json::parser parser_;
    std::string padded_;
};

}  // namespace KestrelCore::JSONFields
