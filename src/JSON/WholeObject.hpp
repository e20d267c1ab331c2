#pragma once

#include "JSON/JSONSplitter.hpp"

#include <string_view>

namespace KestrelCore {

/// Checks the form of a whole text, which must be one object with nothing after it. Before anything else, since
/// `JSONFields::TextReader` puts brackets of its own around the text, and one that closes them would pass as something
/// else. Throws `DecodingError`.
inline void checkWholeObject(std::string_view json) {
    JSONSplitter splitter{{.member = [](std::string_view) { return JSONSplitter::Wanted::nothing; },
                           .value = [](std::string_view) {},
                           .elements = [](std::string_view, bool) {}}};
    splitter.feed(json);
    splitter.finish();
}

}  // namespace KestrelCore
