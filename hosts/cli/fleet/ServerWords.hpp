#pragma once

#include "fleet/Credentials.hpp"
#include "fleet/ServerAddress.hpp"

#include <chrono>
#include <string>
#include <string_view>

namespace KestrelCLI {

/// What went wrong with a server, as one sentence for a person. None has the password in it, whatever the server says.
class ServerWords {
public:
    struct Failure {
        std::string sentence;
        int code = 0;  ///< the server's own, where it gave one
    };

    /// Both must outlive it.
    ServerWords(const ServerAddress& address, const Credentials& credentials)
        : address_{address}, credentials_{credentials} {}

    /// That it answered with something else than what was asked for; `body` is all it said.
    [[nodiscard]] Failure ofAnswer(long status, std::string_view body) const;
    /// That there was no answer, or only part of one: libcurl's number and words.
    [[nodiscard]] Failure ofConnection(int code, std::string_view words) const;
    [[nodiscard]] Failure ofSilence(std::chrono::seconds patience) const;
    [[nodiscard]] Failure ofRedirect() const;
    /// That an answer ended where none can.
    [[nodiscard]] Failure ofEnd() const;

private:
    [[nodiscard]] std::string user() const;

    const ServerAddress& address_;
    const Credentials& credentials_;
};

}  // namespace KestrelCLI
