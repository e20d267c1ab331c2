#include "fleet/ServerWords.hpp"

#include <curl/curl.h>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>

namespace KestrelCLI {

namespace {

/// As much as a person reads of what a server says.
constexpr std::size_t mostBytes = 400;

// The server's numbers for what happens to somebody who did nothing wrong.
constexpr std::array refusals{164, 192, 193, 194, 497, 516};
constexpr int noSpace = 243;
constexpr int noSuchTable = 60;
constexpr int noSuchDatabase = 81;

/// On one line, without the end that most sentences have, and not too long.
std::string tidied(std::string_view text) {
    std::string result;
    for (const char c : text) {
        const bool isSpace = c == ' ' || c == '\n' || c == '\r' || c == '\t';
        if (!isSpace) {
            result += c;
        } else if (!result.empty() && result.back() != ' ') {
            result += ' ';
        }
    }
    while (!result.empty() && (result.back() == ' ' || result.back() == '.')) result.pop_back();
    if (result.size() <= mostBytes) return result;
    std::size_t end = mostBytes;
    while (end > 0 && (static_cast<unsigned char>(result[end]) & 0xC0U) == 0x80U) --end;
    return result.substr(0, end) + "…";
}

/// "Code: 60, e.displayText() = DB::Exception: WORDS, e.what() = DB::Exception" of old releases, "Code: 60.
/// DB::Exception: WORDS. (UNKNOWN_TABLE) (version 23.8)" of new ones. The number is 0 of what is neither.
ServerWords::Failure said(std::string_view body) {
    constexpr std::string_view begin = "Code: ";
    constexpr std::string_view before = "DB::Exception: ";
    const std::size_t at = body.find(begin);
    if (at == std::string_view::npos) return {};
    body.remove_prefix(at + begin.size());
    int code = 0;
    std::from_chars(body.data(), body.data() + body.size(), code);
    if (const std::size_t words = body.find(before); words != std::string_view::npos)
        body.remove_prefix(words + before.size());
    // Of several servers each adds its own beginning.
    while (true) {
        const std::size_t again = body.substr(0, mostBytes).find(before);
        if (again == std::string_view::npos || body.substr(0, again).find("Received from") == std::string_view::npos)
            break;
        body.remove_prefix(again + before.size());
    }
    for (const std::string_view end : {", e.what() = ", " (version ", ". Stack trace"})
        body = body.substr(0, body.find(end));
    return {.sentence = tidied(body), .code = code};
}

}  // namespace

std::string ServerWords::user() const {
    return credentials_.user.empty() ? std::string{"somebody without a name and a password"} : credentials_.user;
}

ServerWords::Failure ServerWords::ofAnswer(long status, std::string_view body) const {
    Failure failure = said(body);
    std::string& words = failure.sentence;
    const std::string name = address_.name();
    if (std::ranges::find(refusals, failure.code) != refusals.end() ||
        (failure.code == 0 && (status == 401 || status == 403))) {
        words = fmt::format("{} doesn’t let {} do this{}{}. KESTREL_FLEET_USER and KESTREL_FLEET_PASSWORD, or a file "
                            "with --credentials, say who asks.",
                            name, user(), words.empty() ? "" : ": ", words);
    } else if (failure.code == noSpace || words.find("No space left") != std::string::npos) {
        words = fmt::format("The disk of {} is full: {}.", name, words);
    } else if (failure.code == noSuchDatabase || failure.code == noSuchTable) {
        words = fmt::format("{} lacks what kestrel keeps there: {}. Its administrator makes it with the file "
                            "clickhouse/schema.sql, which comes with kestrel.",
                            name, words);
    } else if (failure.code != 0) {
        words = fmt::format("{} answers with an error: {}.", name, words);
    } else if (status == 200) {
        words = fmt::format("The answer of {} is none that can be read.", name);
    } else {
        words = fmt::format("{} doesn’t answer as ClickHouse does (HTTP status {}{}{}).", name, status,
                            body.empty() ? "" : ": ", tidied(body));
    }
    words = credentials_.scrubbed(std::move(words));
    return failure;
}

ServerWords::Failure ServerWords::ofConnection(int code, std::string_view words) const {
    const std::string name = address_.name();
    const std::string why = tidied(words);
    std::string sentence;
    switch (code) {
    case CURLE_COULDNT_RESOLVE_HOST:
        sentence = fmt::format("The name {} leads to no server: {}.", address_.host, why);
        break;
    case CURLE_COULDNT_CONNECT: sentence = fmt::format("{} can’t be reached: {}.", name, why); break;
    case CURLE_OPERATION_TIMEDOUT: sentence = fmt::format("{} can’t be reached: no answer came.", name); break;
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_ISSUER_ERROR:
        sentence =
            fmt::format("The certificate of {} is none that is trusted here, so nothing was sent: {}. --ca names "
                        "a file of others.",
                        name, why);
        break;
    case CURLE_SSL_CONNECT_ERROR:
        sentence = fmt::format("No encrypted connection to {} could be made: {}.", name, why);
        // What OpenSSL says of an answer that is not encrypted.
        if (why.find("wrong version number") != std::string::npos)
            sentence += " Where it takes none, its URL begins with http://.";
        break;
    default: sentence = fmt::format("The connection to {} broke: {}.", name, why); break;
    }
    return {.sentence = credentials_.scrubbed(std::move(sentence)), .code = 0};
}

ServerWords::Failure ServerWords::ofSilence(std::chrono::seconds patience) const {
    return {.sentence =
                fmt::format("{} has neither said nor taken anything for {} seconds; --timeout sets how long that "
                            "may be.",
                            address_.name(), patience.count()),
            .code = 0};
}

ServerWords::Failure ServerWords::ofRedirect() const {
    return {.sentence =
                fmt::format("{} wants the request to be sent elsewhere, which is not done: --to names the server "
                            "itself.",
                            address_.name()),
            .code = 0};
}

ServerWords::Failure ServerWords::ofEnd() const {
    return {.sentence = fmt::format("The answer of {} breaks off.", address_.name()), .code = 0};
}

}  // namespace KestrelCLI
