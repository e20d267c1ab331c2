#pragma once

#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Export.hpp"

#include <exception>
#include <string>
#include <utility>

namespace KestrelCore {

/// A JSON text could not be read. The description is a finished sentence for the user; path and detail are for
/// developers, may quote what stands in the text, and may change. The first error in the order of the fields is told,
/// but text that is no JSON at all outranks every other error.
class KESTRELCORE_EXPORT DecodingError : public std::exception {
public:
    enum class Kind {
        keyNotFound,    ///< a required key is missing
        valueNotFound,  ///< a required value is null
        typeMismatch,   ///< a value has another type
        dataCorrupted   ///< malformed text, or a value that its type does not allow
    };

    DecodingError(Kind kind, std::string codingPath, std::string detail)
        : kind_{kind}, codingPath_{std::move(codingPath)}, detail_{std::move(detail)} {}

    [[nodiscard]] Kind kind() const noexcept { return kind_; }
    /// Always one of two sentences: that something is missing, or that something is wrong.
    [[nodiscard]] const char* what() const noexcept override {
        const bool isMissing = kind_ == Kind::keyNotFound || kind_ == Kind::valueNotFound;
        return isMissing ? "The data couldn’t be read because it is missing."
                         : "The data couldn’t be read because it isn’t in the correct format.";
    }
    [[nodiscard]] Text description() const { return Text{what()}; }
    [[nodiscard]] const std::string& codingPath() const noexcept { return codingPath_; }  ///< such as "records[3].path"
    [[nodiscard]] const std::string& detail() const noexcept { return detail_; }

private:
    Kind kind_;
    std::string codingPath_;
    std::string detail_;
};

/// A value has no JSON form: a date, or another figure, that is not a finite number.
class KESTRELCORE_EXPORT EncodingError : public std::exception {
public:
    explicit EncodingError(std::string codingPath) : codingPath_{std::move(codingPath)} {}

    [[nodiscard]] const char* what() const noexcept override {
        return "The data couldn’t be written because it isn’t in the correct format.";
    }
    [[nodiscard]] Text description() const { return Text{what()}; }
    /// Of the date, such as "records.modifiedAt".
    [[nodiscard]] const std::string& codingPath() const noexcept { return codingPath_; }

private:
    std::string codingPath_;
};

}  // namespace KestrelCore
