#pragma once

#include <concepts>
#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace KestrelCLI {

/// Writes one JSON object on one line: keys in the order in which they are given, the first `"schema": 1`. The output
/// is valid UTF-8 whatever the texts hold (each ill-formed piece becomes U+FFFD), and plain on a terminal too: control,
/// bidirectional and invisible characters are written as \uXXXX. Calls must nest properly; that is the caller's part.
class JSONOutput {
public:
    /// Begins the object.
    explicit JSONOutput(std::ostream& out);
    JSONOutput(const JSONOutput&) = delete;
    JSONOutput& operator=(const JSONOutput&) = delete;
    /// One that was not finished, as after an exception, stays the broken piece that it is, on a line of its own.
    ~JSONOutput();
    /// Closes the object and ends the line.
    void finish();

    void member(std::string_view key, std::string_view text);
    void member(std::string_view key, const char* text) { member(key, std::string_view{text}); }
    void member(std::string_view key, double number);  ///< one that is not finite is left out
    void member(std::string_view key, std::same_as<bool> auto truth) {
        writeKey(key);
        writeRaw(truth ? "true" : "false");
    }
    void member(std::string_view key, std::signed_integral auto number) {
        writeKey(key);
        writeInteger(static_cast<std::int64_t>(number));
    }
    void member(std::string_view key, std::unsigned_integral auto number)
        requires(!std::same_as<decltype(number), bool>)
    {
        writeKey(key);
        writeUnsigned(number);
    }
    /// Left out when absent.
    template <typename T>
    void member(std::string_view key, const std::optional<T>& value) {
        if (value) member(key, *value);
    }
    /// `json` is written as it stands; it must be one valid JSON value.
    void memberJSON(std::string_view key, std::string_view json);

    void beginArray(std::string_view key);
    void endArray();
    void beginObject(std::string_view key);
    void beginObject();  ///< as an element of an array
    void endObject();
    void element(std::string_view text);
    void element(std::signed_integral auto number) {
        writeSeparator();
        writeInteger(static_cast<std::int64_t>(number));
    }

private:
    void writeSeparator();
    void writeKey(std::string_view key);
    void writeString(std::string_view text);
    void writeInteger(std::int64_t number);
    void writeUnsigned(std::uint64_t number);
    void writeRaw(std::string_view text);

    std::ostream& out_;
    bool isFinished_ = false;
    std::vector<bool> hasMembers_;  ///< for each open object and array
};

/// `text` as a JSON string with its quotes, by the rules above.
[[nodiscard]] std::string jsonString(std::string_view text);

}  // namespace KestrelCLI
