#pragma once

#include "commands/OptionValue.hpp"
#include "output/Session.hpp"
#include "terminal/MonitorPage.hpp"

#include <cstdint>

namespace KestrelCLI {

/// Whether a page can be shown: it needs keys to be pressed and a screen to be drawn on, and each may be redirected.
[[nodiscard]] bool canShowLivePage(const Session& session);

/// Shows the page until `count` samples were taken over, until q, or until interrupted, with `every` between two
/// samples; carries out what is asked for on it. The terminal is as it was afterwards, also when something throws.
[[nodiscard]] ExitCode showLivePage(const Session& session, Seconds every, std::uint64_t count,
                                    const MonitorPage::Options& options);

}  // namespace KestrelCLI
