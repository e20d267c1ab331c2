#include "fleet/Server.hpp"

#include "fleet/ServerWords.hpp"
#include "terminal/Interruption.hpp"

#include "KestrelCore/Base/UUID.hpp"

#include <curl/curl.h>
#include <fmt/format.h>

#include <bit>
#include <exception>
#include <mutex>

// One request after the other over libcurl. What an answer is worth shows in three places: its status, its headers, and
// its body, where a server that has begun to answer well can do nothing else but write what went wrong. So rows begin
// with a mark that no error does, an answer without rows has to be empty, and an end that no length and no last chunk
// tells is none.

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

using Clock = std::chrono::steady_clock;

/// Of what a server says went wrong, more than a sentence needs.
constexpr std::size_t mostWords = 16'384;
/// Of one row; the largest that there are have names of a megabyte.
constexpr std::size_t mostRowBytes = std::size_t{1} << 28;
/// The server's number for a setting that a user may not change.
constexpr int settingsAreFixed = 164;

std::string littleEndian(std::uint64_t number) {
    std::string bytes;
    for (unsigned shift = 0; shift < 64; shift += 8) bytes += static_cast<char>(number >> shift & 0xFFU);
    return bytes;
}

/// The table `terms` in the server's binary form: a number and a text each.
std::string termRows(const std::vector<std::string>& terms) {
    std::string rows;
    std::uint16_t number = 0;
    for (const std::string& term : terms) {
        rows += static_cast<char>(number & 0xFFU);
        rows += static_cast<char>(number >> 8U);
        ++number;
        std::size_t length = term.size();
        for (; length > 127; length >>= 7U) rows += static_cast<char>((length & 127U) | 128U);
        rows += static_cast<char>(length);
        rows += term;
    }
    return rows;
}

bool startsWithAnyCase(std::string_view text, std::string_view lowercase) {
    return text.size() >= lowercase.size() &&
           std::equal(lowercase.begin(), lowercase.end(), text.begin(),
                      [](char wanted, char c) { return wanted == (c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c); });
}

}  // namespace

struct Server::State {
    explicit State(ServerSettings given) : settings{std::move(given)} {
        static std::once_flag once;
        std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
        curl = curl_easy_init();
        if (curl == nullptr) throw ServerError{"No connection can be made: there is no memory for one.", 0};
    }
    ~State() { curl_easy_cleanup(curl); }
    State(const State&) = delete;
    State& operator=(const State&) = delete;

    /// What one request sends. The views are valid until it is done.
    struct Request {
        std::string parameters;  ///< of the URL, each with "&" before it
        std::string_view body;
        curl_mime* form = nullptr;  ///< instead of a body
        bool isGzip = false;
        const Taking* take = nullptr;  ///< absent where no answer is expected
        std::string mark{};
    };

    void perform(const Request& request);
    [[nodiscard]] std::string escaped(std::string_view text) const {
        char* const made = curl_easy_escape(curl, text.data(), static_cast<int>(text.size()));
        std::string result = made;
        curl_free(made);
        return result;
    }

    ServerSettings settings;
    CURL* curl = nullptr;
    bool asksForProgress = true;  ///< in headers, so that one that works is told from one that hangs

private:
    template <typename Value>
    void set(CURLoption option, Value value) {
        if (curl_easy_setopt(curl, option, value) != CURLE_OK)
            throw ServerError{"The library for connections (libcurl) lacks something that is needed here.", 0};
    }
    void prepare(const Request& request, curl_slist* headers);
    void judge(CURLcode code);
    [[nodiscard]] ServerWords words() const;

    static std::size_t onHeader(const char* data, std::size_t size, std::size_t count, void* state);
    static std::size_t onBody(const char* data, std::size_t size, std::size_t count, void* state);
    static int onProgress(void* state, curl_off_t, curl_off_t received, curl_off_t, curl_off_t sent);
    void takeBody(std::string_view bytes);

    // Of the request that runs.
    const Request* request_ = nullptr;
    std::array<char, CURL_ERROR_SIZE> error_{};
    std::string pending_;  ///< of a row that is not all there
    std::string words_;    ///< instead of rows
    bool hasWords_ = false;
    bool hasEnd_ = false;  ///< the answer tells where it ends
    bool saysFailed_ = false;
    bool isStalled_ = false;
    curl_off_t moved_ = 0;
    Clock::time_point lastSign_;
    std::exception_ptr failure_;  ///< of who takes the rows
};

void Server::State::prepare(const Request& request, curl_slist* headers) {
    curl_easy_reset(curl);
    set(CURLOPT_ERRORBUFFER, error_.data());
    set(CURLOPT_NOSIGNAL, 1L);
    set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
    set(CURLOPT_URL,
        (settings.address.url() + "?database=" + escaped(settings.address.database) + request.parameters).c_str());
    // What a proxy is for is elsewhere.
    if (settings.address.isLoopback()) set(CURLOPT_NOPROXY, "*");
    if (!settings.credentials.user.empty()) {
        set(CURLOPT_HTTPAUTH, static_cast<long>(CURLAUTH_BASIC));
        set(CURLOPT_USERNAME, settings.credentials.user.c_str());
        set(CURLOPT_PASSWORD, settings.credentials.password.c_str());
    }
    set(CURLOPT_SSL_VERIFYPEER, 1L);
    set(CURLOPT_SSL_VERIFYHOST, 2L);
    if (settings.authorities) set(CURLOPT_CAINFO, settings.authorities->c_str());
    set(CURLOPT_FOLLOWLOCATION, 0L);
    set(CURLOPT_CONNECTTIMEOUT, static_cast<long>(settings.patience.count()));
    set(CURLOPT_TCP_KEEPALIVE, 1L);
    set(CURLOPT_HTTPHEADER, headers);
    // Each request has a connection of its own. What the server leaves unread of one, as the end of a form or the rest
    // of what it refuses, would be the beginning of the next. And on an old connection that breaks before a word of the
    // answer, libcurl sends the request once more: the server may have done already what was asked, and would do it
    // twice.
    set(CURLOPT_FORBID_REUSE, 1L);
    if (request.form != nullptr) {
        set(CURLOPT_MIMEPOST, request.form);
    } else {
        set(CURLOPT_POST, 1L);
        set(CURLOPT_POSTFIELDS, request.body.data());
        set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request.body.size()));
    }
    set(CURLOPT_UPLOAD_BUFFERSIZE, 1L << 20U);
    set(CURLOPT_BUFFERSIZE, 1L << 18U);
    set(CURLOPT_HEADERFUNCTION, &State::onHeader);
    set(CURLOPT_HEADERDATA, static_cast<void*>(this));
    set(CURLOPT_WRITEFUNCTION, &State::onBody);
    set(CURLOPT_WRITEDATA, static_cast<void*>(this));
    set(CURLOPT_XFERINFOFUNCTION, &State::onProgress);
    set(CURLOPT_XFERINFODATA, static_cast<void*>(this));
    set(CURLOPT_NOPROGRESS, 0L);
}

void Server::State::perform(const Request& request) {
    Interruption::check();
    request_ = &request;
    error_.front() = '\0';
    pending_.clear();
    words_.clear();
    hasWords_ = hasEnd_ = saysFailed_ = isStalled_ = false;
    moved_ = 0;
    lastSign_ = Clock::now();
    failure_ = nullptr;
    // The server takes a body at once; asking for leave first would cost a round.
    curl_slist* headers = curl_slist_append(nullptr, "Expect:");
    if (request.form == nullptr) headers = curl_slist_append(headers, "Content-Type: application/octet-stream");
    if (request.isGzip) headers = curl_slist_append(headers, "Content-Encoding: gzip");
    const std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> owner{headers, &curl_slist_free_all};
    prepare(request, headers);
    judge(curl_easy_perform(curl));
}

void Server::State::judge(CURLcode code) {
    if (failure_) std::rethrow_exception(failure_);
    Interruption::check();
    const auto fail = [&](ServerWords::Failure failure) { throw ServerError{failure.sentence, failure.code}; };
    if (isStalled_) fail(words().ofSilence(settings.patience));
    long status = 0;
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &status);
    const bool isGood = status == 200 && !saysFailed_ && !hasWords_;
    // What the server says itself tells more than how the connection ended.
    if (code != CURLE_OK && (isGood || words_.empty() || status < 400))
        fail(words().ofConnection(static_cast<int>(code),
                                  error_.front() != '\0' ? error_.data() : curl_easy_strerror(code)));
    if (status >= 300 && status < 400) fail(words().ofRedirect());
    if (!isGood) fail(words().ofAnswer(status, words_));
    if (!hasEnd_ || !pending_.empty()) fail(words().ofEnd());
}

ServerWords Server::State::words() const { return ServerWords{settings.address, settings.credentials}; }

std::size_t Server::State::onHeader(const char* data, std::size_t size, std::size_t count, void* state) {
    State& self = *static_cast<State*>(state);
    const std::string_view line{data, size * count};
    self.lastSign_ = Clock::now();
    if (startsWithAnyCase(line, "http/")) self.hasEnd_ = self.saysFailed_ = false;  // of another answer, such as 100
    if (startsWithAnyCase(line, "content-length:") || startsWithAnyCase(line, "transfer-encoding: chunked"))
        self.hasEnd_ = true;
    if (startsWithAnyCase(line, "x-clickhouse-exception-code:")) self.saysFailed_ = true;
    return line.size();
}

std::size_t Server::State::onBody(const char* data, std::size_t size, std::size_t count, void* state) {
    State& self = *static_cast<State*>(state);
    const std::string_view bytes{data, size * count};
    try {
        self.takeBody(bytes);
    } catch (...) {
        // No exception may pass through libcurl.
        self.failure_ = std::current_exception();
        return bytes.empty() ? 1 : 0;
    }
    return bytes.size();
}

void Server::State::takeBody(std::string_view bytes) {
    long status = 0;
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &status);
    if (status != 200 || saysFailed_ || request_->take == nullptr) hasWords_ = true;
    if (!hasWords_) {
        pending_ += bytes;
        try {
            pending_.erase(0, (*request_->take)(pending_, request_->mark));
        } catch (const NoRow&) {
            hasWords_ = true;
            bytes = pending_;
        }
        if (pending_.size() > mostRowBytes) throw ServerError{words().ofEnd().sentence, 0};
    }
    if (hasWords_) words_ += bytes.substr(0, mostWords - std::min(mostWords, words_.size()));
}

int Server::State::onProgress(void* state, curl_off_t, curl_off_t received, curl_off_t, curl_off_t sent) {
    State& self = *static_cast<State*>(state);
    const auto now = Clock::now();
    if (received + sent != self.moved_) {
        self.moved_ = received + sent;
        self.lastSign_ = now;
    }
    self.isStalled_ = now - self.lastSign_ > self.settings.patience;
    return self.isStalled_ || Interruption::isRequested() ? 1 : 0;
}

Server::Server(ServerSettings settings) : state_{std::make_unique<State>(std::move(settings))} {}

Server::~Server() = default;

const ServerAddress& Server::address() const { return state_->settings.address; }

void Server::stream(const std::string& sql, const std::vector<std::string>& terms, const Taking& take) {
    constexpr std::string_view place = "MARK,";
    const UUID random = UUID::random();
    std::uint64_t number = 0;
    std::memcpy(&number, random.bytes.data() + 8, sizeof number);
    std::string text = sql;
    text.replace(text.find(place), place.size(), fmt::format("toUInt64({}) AS mark,", number));
    text += " FORMAT RowBinary";

    const std::string rows = termRows(terms);
    const auto ask = [&] {
        // A form can be sent once.
        const std::unique_ptr<curl_mime, decltype(&curl_mime_free)> form{curl_mime_init(state_->curl), &curl_mime_free};
        const auto addPart = [&](const char* name, std::string_view bytes) {
            curl_mimepart* const part = curl_mime_addpart(form.get());
            curl_mime_name(part, name);
            curl_mime_data(part, bytes.data(), bytes.size());
            return part;
        };
        addPart("query", text);
        if (!terms.empty()) {
            curl_mimepart* const part = addPart("terms", rows);
            curl_mime_filename(part, "terms");
            curl_mime_type(part, "application/octet-stream");
        }
        // The answer waits for its end, so that what goes wrong on the way has a status.
        std::string parameters = "&wait_end_of_query=1";
        if (state_->asksForProgress) parameters += "&send_progress_in_http_headers=1";
        if (!terms.empty()) parameters += "&terms_structure=i%20UInt16,%20v%20String&terms_format=RowBinary";
        state_->perform({.parameters = parameters,
                         .body = {},
                         .form = form.get(),
                         .isGzip = false,
                         .take = &take,
                         .mark = littleEndian(number)});
    };
    try {
        ask();
    } catch (const ServerError& error) {
        if (error.code() != settingsAreFixed || !state_->asksForProgress) throw;
        state_->asksForProgress = false;
        ask();
    }
}

void Server::command(const std::string& sql) { state_->perform({.parameters = {}, .body = sql}); }

void Server::insert(const std::string& sql, std::string_view rows, Coding coding) {
    state_->perform({.parameters = "&insert_distributed_sync=1&query=" + state_->escaped(sql),
                     .body = rows,
                     .form = nullptr,
                     .isGzip = coding == Coding::gzip});
}

bool Server::take(std::string_view& bytes, std::string& value) {
    std::uint64_t length = 0;
    std::size_t used = 0;
    for (unsigned shift = 0;; shift += 7) {
        if (used == bytes.size()) return false;
        if (shift > 63) throw NoRow{};
        const auto byte = static_cast<unsigned char>(bytes[used++]);
        length |= static_cast<std::uint64_t>(byte & 127U) << shift;
        if (byte < 128) break;
    }
    if (bytes.size() - used < length) return false;
    value = bytes.substr(used, length);
    bytes.remove_prefix(used + length);
    return true;
}

}  // namespace KestrelCLI
