#pragma once

#include "KestrelCore/Base/URL.hpp"
#include "support/TemporaryFolder.hpp"

#include <sqlite3.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace KestrelCore {

/// A place for one snapshot database, and ways to look at it past the store.
class StoreFiles {
public:
    [[nodiscard]] const std::string& folder() const { return folder_.path(); }
    [[nodiscard]] std::string path() const { return folder() + "/snapshots.sqlite"; }
    [[nodiscard]] URL url() const { return URL::fromPath(path()); }

    /// Runs `statements` on the database; returns the last row's first column, or the error's text.
    std::string query(const std::string& statements) const {
        sqlite3* handle = nullptr;
        std::string result;
        if (sqlite3_open(path().c_str(), &handle) == SQLITE_OK) {
            const auto keep = [](void* into, int, char** values, char**) {
                *static_cast<std::string*>(into) = values[0] == nullptr ? "NULL" : values[0];
                return 0;
            };
            if (sqlite3_exec(handle, statements.c_str(), keep, &result, nullptr) != SQLITE_OK) {
                result = sqlite3_errmsg(handle);
            }
        }
        sqlite3_close(handle);
        return result;
    }

    [[nodiscard]] std::string bytes() const {
        std::ifstream file{path(), std::ios::binary};
        return {std::istreambuf_iterator<char>{file}, {}};
    }
    void setBytes(const std::string& bytes) const {
        std::ofstream{path(), std::ios::binary | std::ios::trunc} << bytes;
    }

private:
    TemporaryFolder folder_;
};

}  // namespace KestrelCore
