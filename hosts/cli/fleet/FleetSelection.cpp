#include "fleet/FleetSelection.hpp"

#include <fmt/format.h>

namespace KestrelCLI {

std::string FleetSelection::condition(std::vector<std::string>& texts) const {
    std::string result;
    const auto add = [&](const char* column, const std::optional<std::string>& name) {
        if (!name) return;
        result += fmt::format(" AND {} = (SELECT v FROM terms WHERE i = {})", column, texts.size());
        texts.push_back(*name);
    };
    add("host", host);
    add("volume", volume);
    return result;
}

std::string FleetSelection::absence(Server& server) const {
    std::vector<std::string> texts;
    const std::string selected = condition(texts);
    std::uint64_t all = 0;
    std::uint64_t those = 0;
    server.query<std::uint64_t, std::uint64_t>(
        fmt::format("SELECT MARK, count() AS lines, sum(chosen) AS those FROM (SELECT toUInt8(1{}) AS chosen FROM "
                    "snapshots)",
                    selected),
        texts, [&](std::uint64_t lines, std::uint64_t inSelection) {
            all = lines;
            those = inSelection;
        });
    if (all == 0)
        return fmt::format("Nothing has been published to {} of {} yet: kestrel publish --to URL sends a scan.",
                           server.address().database, server.address().name());
    if (those != 0) return {};
    if (!volume) return fmt::format("Nothing of “{}” is published; kestrel fleet hosts lists what is.", *host);
    return fmt::format("No volume “{}” is published{}; kestrel fleet hosts lists what is.", *volume,
                       host ? fmt::format(" of “{}”", *host) : "");
}

}  // namespace KestrelCLI
