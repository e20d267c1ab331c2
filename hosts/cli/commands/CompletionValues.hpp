#pragma once

#include "commands/OptionValue.hpp"
#include "output/Session.hpp"

#include <string>
#include <string_view>
#include <vector>

namespace KestrelCLI {

/// What a word may become, and what that is in a few words, which may be empty.
struct CompletionWord {
    std::string word;
    std::string about;

    bool operator==(const CompletionWord&) const = default;
};

/// What a value of that kind can be here and now, in the order in which to show it; nothing of files and folders, which
/// shells know themselves. Looks and changes nothing: no file is made, mended or taken over. What can't be read
/// contributes nothing. `typed` is the word so far, and only says what is asked for, such as the kinds behind "type:".
[[nodiscard]] std::vector<CompletionWord> completionValues(const Session& session, ValueKind kind,
                                                           std::string_view typed);

}  // namespace KestrelCLI
