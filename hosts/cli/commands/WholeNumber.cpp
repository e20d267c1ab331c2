#include "commands/WholeNumber.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <string>
#include <system_error>

namespace KestrelCLI {

CLI::Validator wholeNumber(std::int64_t most) {
    const auto problem = [most](std::string& text) -> std::string {
        const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
        if (text.empty() || !std::ranges::all_of(text, isDigit)) {
            return fmt::format("“{}” is not a whole number, 0 or more", text);
        }
        std::int64_t number = 0;
        const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), number);
        if (error != std::errc{} || number > most) return fmt::format("“{}” is more than {}", text, most);
        text = std::to_string(number);
        return {};
    };
    return CLI::Validator{problem, "", "whole number"};
}

}  // namespace KestrelCLI
