#include "output/LeadingNumber.hpp"

#include <algorithm>
#include <locale>
#include <sstream>
#include <string>

namespace KestrelCLI {

std::optional<LeadingNumber> leadingNumber(std::string_view text) {
    const std::size_t sign = text.starts_with('-') ? 1 : 0;
    const std::size_t end = std::min(text.find_first_not_of("0123456789.", sign), text.size());
    // A second point ends the number.
    const std::size_t point = text.substr(0, end).find('.');
    const std::size_t length = point == std::string_view::npos ? end : std::min(text.find('.', point + 1), end);
    // By a stream, since not every standard library has from_chars for double.
    std::istringstream stream{std::string{text.substr(0, length)}};
    stream.imbue(std::locale::classic());
    LeadingNumber number{.value = 0, .rest = text.substr(length)};
    if (!(stream >> number.value)) return std::nullopt;
    return number;
}

}  // namespace KestrelCLI
