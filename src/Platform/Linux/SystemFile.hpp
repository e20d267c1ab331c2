#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace KestrelCore {

/// Small files that the kernel writes when they are read (/proc, /sys). `folder` is an open folder or AT_FDCWD.
struct SystemFile {
    /// One read into `buffer`: all of a file that is known to be shorter, the beginning of a longer one. Absent when
    /// it can't be opened or read.
    [[nodiscard]] static std::optional<std::string_view> beginning(int folder, const char* name,
                                                                   std::span<char> buffer);

    /// The whole file, at most a mebibyte of it. `buffer` keeps its memory between calls and holds the text.
    [[nodiscard]] static std::optional<std::string_view> whole(int folder, const char* name, std::string& buffer);

    /// The whole file, which may be long: the list of all mounts. Absent when it can't be read to its end or is larger
    /// than 64 MiB.
    [[nodiscard]] static std::optional<std::string> contents(const std::string& path);

    /// A short attribute; the empty text when it can't be read.
    [[nodiscard]] static std::string attribute(const std::string& path);

    /// The names in a folder, sorted by bytes, without "." and "..". Empty when it can't be read.
    [[nodiscard]] static std::vector<std::string> names(const std::string& folder);
};

}  // namespace KestrelCore
