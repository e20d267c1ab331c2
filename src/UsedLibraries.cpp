#include "KestrelCore/UsedLibraries.hpp"

#define TOML_ENABLE_PARSER 0
#define TOML_ENABLE_FORMATTERS 0

#include <boost/version.hpp>
#include <fmt/format.h>
#include <simdjson.h>
#include <sqlite3.h>
#include <toml++/toml.h>
#include <unicode/uversion.h>
#include <xxhash.h>
#include <zlib.h>
#include <zstd.h>

#include <array>

namespace KestrelCore {

namespace {

std::string runningICU() {
    UVersionInfo version{};
    u_getVersion(static_cast<std::uint8_t*>(version));
    std::array<char, U_MAX_VERSION_STRING_LENGTH> text{};
    u_versionToString(static_cast<const std::uint8_t*>(version), text.data());
    return text.data();
}

/// Of a version that is one number with two decimal digits for each part but the first.
std::string ofDigits(int version) {
    return fmt::format("{}.{}.{}", version / 10000, version / 100 % 100, version % 100);
}

}  // namespace

std::vector<UsedLibrary> usedLibraries() {
    return {
        {"Boost", fmt::format("{}.{}.{}", BOOST_VERSION / 100000, BOOST_VERSION / 100 % 1000, BOOST_VERSION % 100)},
        {"fmt", ofDigits(FMT_VERSION)},
        {"ICU", runningICU()},
        {"simdjson", fmt::format("{}.{}.{}", static_cast<int>(simdjson::SIMDJSON_VERSION_MAJOR),
                                 static_cast<int>(simdjson::SIMDJSON_VERSION_MINOR),
                                 static_cast<int>(simdjson::SIMDJSON_VERSION_REVISION))},
        {"SQLite", sqlite3_libversion()},
        {"toml++", fmt::format("{}.{}.{}", TOML_LIB_MAJOR, TOML_LIB_MINOR, TOML_LIB_PATCH)},
        {"xxHash", ofDigits(XXH_VERSION_NUMBER)},
        {"zlib", zlibVersion()},
        {"zstd", ZSTD_versionString()},
    };
}

}  // namespace KestrelCore
