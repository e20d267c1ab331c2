#pragma once

#include "KestrelCore/JSON/CodingErrors.hpp"
#include "JSON/JSONFormat.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace KestrelCore {

/// Appends members to the object that is open at the end of a text, absent ones not at all. A number that is not finite
/// throws `EncodingError` with its key.
class MemberWriter {
public:
    explicit MemberWriter(std::string& out) : out_{out} {}

    void member(const char* key, double value) {
        appendKey(key);
        if (!JSONFormat::appendDouble(out_, value)) throw EncodingError{key};
    }
    void member(const char* key, std::int64_t value) {
        appendKey(key);
        JSONFormat::appendInteger(out_, value);
    }
    void member(const char* key, std::string_view value) {
        appendKey(key);
        JSONFormat::appendString(out_, value);
    }
    void member(const char* key, const std::optional<double>& value) {
        if (value) member(key, *value);
    }
    void member(const char* key, const std::optional<std::int64_t>& value) {
        if (value) member(key, *value);
    }
    void member(const char* key, const std::optional<bool>& value) {
        if (!value) return;
        appendKey(key);
        out_ += *value ? "true" : "false";
    }
    /// `appendElement` is called with the text for each of `elements`, between which commas are put.
    template <typename Elements, typename AppendElement>
    void array(const char* key, const Elements& elements, AppendElement appendElement) {
        appendKey(key);
        out_ += '[';
        bool isFirst = true;
        for (const auto& element : elements) {
            if (!isFirst) out_ += ',';
            isFirst = false;
            appendElement(element);
        }
        out_ += ']';
    }

private:
    void appendKey(const char* key) {
        if (out_.back() != '{') out_ += ',';
        JSONFormat::appendString(out_, key);
        out_ += ':';
    }

    std::string& out_;
};

}  // namespace KestrelCore
