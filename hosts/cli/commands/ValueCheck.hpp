#pragma once

#include <functional>
#include <string>

namespace KestrelCLI {

/// What is known of an option's value beside its type.
struct ValueCheck {
    /// Looks at the text, and may replace it by what it stands for. Gives what is wrong with it, empty for nothing.
    std::function<std::string(std::string&)> problem;
    std::string name;  ///< for nobody to see; `OptionValue.hpp` finds in it what the value can be completed to
};

}  // namespace KestrelCLI
