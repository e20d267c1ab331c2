#include "output/JSONOutput.hpp"

#include "output/TerminalText.hpp"
#include "output/UTF8.hpp"

#include <fmt/format.h>

#include <cmath>
#include <cstdint>
#include <iterator>

// Everything is written as it comes, nothing is collected: a list of a million results takes no more memory than one of
// ten. Not through the library's own JSON, whose form is that of stored snapshots; this one is for programs that read
// along and for people who look at it on a terminal.

namespace KestrelCLI {

namespace {

/// The escape of any character; one beyond the basic plane takes a surrogate pair.
void appendEscape(std::string& out, char32_t scalar) {
    const auto number = static_cast<std::uint32_t>(scalar);
    if (number < 0x10000) {
        fmt::format_to(std::back_inserter(out), "\\u{:04x}", number);
    } else {
        // 0xD7C0 is where high surrogates begin, 0xD800, less the 0x10000 that a pair does not count.
        fmt::format_to(std::back_inserter(out), "\\u{:04x}\\u{:04x}", 0xD7C0 + (number >> 10U),
                       0xDC00 + (number & 0x3FFU));
    }
}

}  // namespace

std::string jsonString(std::string_view text) {
    std::string out;
    out.reserve(text.size() + 2);
    out += '"';
    while (!text.empty()) {
        const UTF8Step step = firstUTF8(text);
        const char32_t scalar = step.scalar.value_or(0xFFFD);
        // U+FFFD: what is not UTF-8 may not stand in JSON, and an escape of a byte would be read as a character.
        if (!step.scalar) {
            out += "\xEF\xBF\xBD";
        } else if (scalar == U'"' || scalar == U'\\') {
            out += '\\';
            out += static_cast<char>(scalar);
        } else if (scalar == U'\n') {
            out += "\\n";
        } else if (scalar == U'\t') {
            out += "\\t";
        } else if (scalar == U'\r') {
            out += "\\r";
        } else if (TerminalText::isHidden(scalar)) {
            appendEscape(out, scalar);
        } else {
            out += text.substr(0, step.length);
        }
        text.remove_prefix(step.length);
    }
    out += '"';
    return out;
}

JSONOutput::JSONOutput(std::ostream& out) : out_{out}, hasMembers_{false} {
    writeRaw("{");
    member("schema", 1);
}

// The one newline: a line is an object, so that readers can take a stream of them apart.
void JSONOutput::finish() {
    writeRaw("}\n");
    isFinished_ = true;
}

JSONOutput::~JSONOutput() {
    if (!isFinished_) writeRaw("\n");
}

void JSONOutput::member(std::string_view key, std::string_view text) {
    writeKey(key);
    writeString(text);
}

void JSONOutput::member(std::string_view key, double number) {
    // JSON has no word for these; what is absent is left out.
    if (!std::isfinite(number)) return;
    writeKey(key);
    // The fewest digits that read back as the same number.
    writeRaw(fmt::format("{}", number));
}

// For what the library has encoded already, a sample for instance; it must be whole and on one line.
void JSONOutput::memberJSON(std::string_view key, std::string_view json) {
    writeKey(key);
    writeRaw(json);
}

void JSONOutput::beginArray(std::string_view key) {
    writeKey(key);
    writeRaw("[");
    hasMembers_.push_back(false);
}

void JSONOutput::endArray() {
    hasMembers_.pop_back();
    writeRaw("]");
}

void JSONOutput::beginObject(std::string_view key) {
    writeKey(key);
    writeRaw("{");
    hasMembers_.push_back(false);
}

void JSONOutput::beginObject() {
    writeSeparator();
    writeRaw("{");
    hasMembers_.push_back(false);
}

void JSONOutput::endObject() {
    hasMembers_.pop_back();
    writeRaw("}");
}

void JSONOutput::element(std::string_view text) {
    writeSeparator();
    writeString(text);
}

/// Each open object or array knows whether something stands in it already: then a comma comes first.
void JSONOutput::writeSeparator() {
    if (hasMembers_.back()) writeRaw(", ");
    hasMembers_.back() = true;
}

void JSONOutput::writeKey(std::string_view key) {
    writeSeparator();
    writeString(key);
    writeRaw(": ");
}

void JSONOutput::writeString(std::string_view text) { writeRaw(jsonString(text)); }

void JSONOutput::writeInteger(std::int64_t number) { writeRaw(fmt::format_int{number}.c_str()); }

void JSONOutput::writeUnsigned(std::uint64_t number) { writeRaw(fmt::format_int{number}.c_str()); }

void JSONOutput::writeRaw(std::string_view text) { out_.write(text.data(), static_cast<std::streamsize>(text.size())); }

}  // namespace KestrelCLI
