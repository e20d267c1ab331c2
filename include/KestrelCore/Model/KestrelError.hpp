#pragma once

#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Export.hpp"

#include <exception>
#include <string>

namespace KestrelCore {

/// The library's own failures: the operation as a whole did not happen. The message is complete, finished English, and
/// is shown to the user as it stands. Equal when case and message are.
class KESTRELCORE_EXPORT KestrelError : public std::exception {
public:
    /// Which of the four it is decides what a host can offer: another try, a setting of the system, nothing, a new
    /// scan. In this order; the position is the case's number where a number is needed.
    enum class Case : int {
        unavailable,      ///< a facility that the operation needs could not do its work
        accessDenied,     ///< the system refused access to an item
        safetyViolation,  ///< the safety policy forbids the action
        staleItem         ///< the item no longer matches what was recorded
    };

    KestrelError(Case errorCase, const Text& message) : case_{errorCase}, message_{message.string()} {}

    [[nodiscard]] static KestrelError unavailable(const Text& message) { return {Case::unavailable, message}; }
    [[nodiscard]] static KestrelError accessDenied(const Text& message) { return {Case::accessDenied, message}; }
    [[nodiscard]] static KestrelError safetyViolation(const Text& message) { return {Case::safetyViolation, message}; }
    [[nodiscard]] static KestrelError staleItem(const Text& message) { return {Case::staleItem, message}; }

    [[nodiscard]] Case errorCase() const noexcept { return case_; }
    /// The case's position, 0 to 3.
    [[nodiscard]] int code() const noexcept { return static_cast<int>(case_); }
    /// The message, unchanged; empty when the message is.
    [[nodiscard]] Text errorDescription() const { return Text{message_}; }
    [[nodiscard]] const char* what() const noexcept override { return message_.c_str(); }

    bool operator==(const KestrelError& other) const { return case_ == other.case_ && message_ == other.message_; }

private:
    Case case_;
    std::string message_;
};

}  // namespace KestrelCore
