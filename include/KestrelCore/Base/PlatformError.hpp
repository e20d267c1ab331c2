#pragma once

#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Export.hpp"

#include <exception>
#include <memory>
#include <string>

namespace KestrelCore {

/// A failure of the operating system, passed on unchanged to whoever gives it meaning. One of the file manager's domain
/// has the POSIX error that caused it beneath, where there is one; hosts show the description of the outer one.
class KESTRELCORE_EXPORT PlatformError : public std::exception {
public:
    enum class Domain {
        posix,       ///< `code` is an errno value
        fileManager  ///< `code` is one of the file manager's numbers below
    };

    // The file manager's codes: from 256 those of reading, 4 and those from 512 of writing, 3328 for what a system
    // lacks.
    static constexpr int fileNoSuchFile = 4;
    static constexpr int fileReadUnknown = 256;
    static constexpr int fileReadNoPermission = 257;
    static constexpr int fileReadInvalidFileName = 258;
    static constexpr int fileReadNoSuchFile = 260;
    static constexpr int fileReadTooLarge = 263;
    static constexpr int fileWriteUnknown = 512;
    static constexpr int fileWriteNoPermission = 513;
    static constexpr int fileWriteInvalidFileName = 514;
    static constexpr int fileWriteFileExists = 516;
    static constexpr int fileWriteOutOfSpace = 640;
    static constexpr int fileWriteVolumeReadOnly = 642;
    static constexpr int featureUnsupported = 3328;

    /// `description` is for the user as it stands.
    PlatformError(Domain domain, int code, const Text& description,
                  std::shared_ptr<const PlatformError> underlying = nullptr)
        : domain_{domain}, code_{code}, description_{description.string()}, underlying_{std::move(underlying)} {}

    /// An errno value with the system's text for it.
    [[nodiscard]] static PlatformError posix(int errorNumber);

    [[nodiscard]] Domain domain() const noexcept { return domain_; }
    [[nodiscard]] int code() const noexcept { return code_; }
    /// A finished English sentence (or the system's text for an errno value).
    [[nodiscard]] Text description() const { return Text{description_}; }
    [[nodiscard]] const char* what() const noexcept override { return description_.c_str(); }
    /// The error beneath this one; null when there is none.
    [[nodiscard]] const PlatformError* underlying() const noexcept { return underlying_.get(); }

private:
    Domain domain_;
    int code_;
    std::string description_;
    std::shared_ptr<const PlatformError> underlying_;
};

/// The system's text for an errno value ("Permission denied"). Any thread.
[[nodiscard]] KESTRELCORE_EXPORT Text systemErrorText(int errorNumber);

}  // namespace KestrelCore
