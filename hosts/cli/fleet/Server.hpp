#pragma once

#include "fleet/Credentials.hpp"
#include "fleet/ServerAddress.hpp"

#include <algorithm>
#include <array>
#include <bit>
#include <chrono>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

namespace KestrelCLI {

/// How a server is reached.
struct ServerSettings {
    ServerAddress address;
    Credentials credentials{};
    std::optional<std::string> authorities{};  ///< file of the certificates that are trusted; absent: the system's
    std::chrono::seconds patience{60};         ///< how long it may say and take nothing
};

/// A server did not do what it was asked. A finished sentence, without any password.
class ServerError : public std::runtime_error {
public:
    ServerError(const std::string& sentence, int code) : std::runtime_error{sentence}, code_{code} {}
    /// The server's own number for what went wrong; 0 where it did not come to that.
    [[nodiscard]] int code() const noexcept { return code_; }

private:
    int code_;
};

/// A column store behind its HTTP interface, ClickHouse's. One thread at a time; each request has a connection of its
/// own.
///
/// Certificates and host names are checked, redirects are not followed. No text from outside is ever part of SQL: it
/// goes beside it, as a value of the table `terms`, which is read by `(SELECT v FROM terms WHERE i = N)`.
///
/// All calls throw `ServerError`, and `Interrupted` within a second of Ctrl-C.
class Server {
public:
    explicit Server(ServerSettings settings);
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    [[nodiscard]] const ServerAddress& address() const;

    /// Calls `use` with each row of an answer, as it comes, in the order of the answer:
    ///
    ///     server.query<std::string, std::uint64_t>("SELECT MARK, host, items FROM current WHERE host = (SELECT v FROM
    ///     "
    ///                                              "terms WHERE i = 0)", {host}, [&](std::string host, auto items)
    ///                                              {…});
    ///
    /// Right behind the outer SELECT stands `MARK,`: a number of this query that begins each row, by which rows are
    /// told from the words of an error that comes after some. The columns are `std::string`, integers as wide as the
    /// server's, `double`. All of an answer has come right only when this returns.
    template <typename... Columns, typename Use>
    void query(const std::string& sql, const std::vector<std::string>& terms, const Use& use) {
        stream(sql, terms,
               [&](std::string_view bytes, std::string_view mark) { return takeRows<Columns...>(bytes, mark, use); });
    }
    /// Of one that has no answer, such as ALTER.
    void command(const std::string& sql);
    /// Sends the rows of an INSERT in one piece, which `isCompressed` by gzip: all of them are there when it returns,
    /// also on the other servers of a distributed table, and none or some when it throws.
    enum class Coding : std::uint8_t { plain, gzip };
    void insert(const std::string& sql, std::string_view rows, Coding coding);

private:
    struct State;
    /// Gets what has come and not been taken; gives how much of it was taken, in whole rows. Throws `NoRow` where
    /// something else stands there.
    using Taking = std::function<std::size_t(std::string_view bytes, std::string_view mark)>;
    class NoRow {};

    void stream(const std::string& sql, const std::vector<std::string>& terms, const Taking& take);

    static bool take(std::string_view& bytes, std::string& value);
    template <typename Number>
        requires(std::integral<Number> || std::same_as<Number, double>)
    static bool take(std::string_view& bytes, Number& value) {
        if (bytes.size() < sizeof value) return false;
        std::array<char, sizeof value> raw{};
        std::memcpy(raw.data(), bytes.data(), raw.size());
        // The wire is little endian.
        if constexpr (std::endian::native == std::endian::big) std::reverse(raw.begin(), raw.end());
        std::memcpy(&value, raw.data(), raw.size());
        bytes.remove_prefix(sizeof value);
        return true;
    }
    template <typename... Columns, typename Use>
    static std::size_t takeRows(std::string_view bytes, std::string_view mark, const Use& use) {
        std::string_view rest = bytes;
        while (!rest.empty()) {
            // The words of an error may be fewer than a mark, so what there is of one is compared.
            if (rest.substr(0, mark.size()) != mark.substr(0, rest.size())) throw NoRow{};
            if (rest.size() < mark.size()) break;
            std::string_view row = rest.substr(mark.size());
            std::tuple<Columns...> columns;
            if (!std::apply([&](auto&... each) { return (take(row, each) && ...); }, columns)) break;
            rest = row;
            std::apply([&](auto&... each) { use(std::move(each)...); }, columns);
        }
        return bytes.size() - rest.size();
    }

    std::unique_ptr<State> state_;
};

}  // namespace KestrelCLI
