#pragma once

#include "output/ProcessOrder.hpp"
#include "output/Session.hpp"
#include "terminal/PageText.hpp"
#include "terminal/ScreenKey.hpp"

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace KestrelCLI {

/// How a list of processes begins.
struct ProcessPaneOptions {
    ProcessOrder order = ProcessOrder::cpu;
    bool isTree = false;
    ProcessFilter filter{};              ///< holds beside what is typed on the page
    std::optional<std::size_t> limit{};  ///< at most that many are shown
};

/// What is to be done to a process, once it was asked for and, where that is due, agreed to.
struct ProcessRequest {
    enum class Kind { none, quit, forceQuit, freeze, resume };
    Kind kind = Kind::none;
    KestrelCore::ProcessSample process{};
};

/// The processes of a page: which of them are shown and how, which is chosen, and what keys make of that. A value; it
/// touches no terminal and no process.
class ProcessPane {
public:
    /// `ownIdentifier` is this program's: what it runs below is never frozen, or nobody could let it go on.
    ProcessPane(const Session& session, Characters characters, std::int32_t ownIdentifier, ProcessPaneOptions options);

    /// A new reading. What was chosen stays chosen while it is there.
    void setRows(std::vector<ProcessRow> rows);
    /// The room on the page, its foot included.
    void resize(std::size_t columns, std::size_t rows);
    /// `key.row` counts from the first line of this pane.
    [[nodiscard]] ProcessRequest press(const ScreenKey& key);
    /// Whether keys go into a line that is typed, or answer a question: then they mean nothing else.
    [[nodiscard]] bool takesEveryKey() const { return isTyping_ || question_.has_value(); }
    /// Shown at the foot until the next key.
    void setMessage(std::string message, Style style);
    /// Notes that a request was carried out.
    void note(const ProcessRequest& request);

    /// As many lines as there is room for at most.
    [[nodiscard]] std::vector<ScreenLine> lines() const;

private:
    /// Something that only a yes sets off.
    struct Question {
        ProcessRequest request;
        std::string text;
        std::optional<KestrelCore::Date> startedAt;  ///< of the process
    };
    struct Message {
        std::string text;
        Style style = Style::plain;
    };

    void arrange();
    void move(std::ptrdiff_t by);
    void choose(std::size_t line);
    void typeInFilter(const ScreenKey& key);
    [[nodiscard]] ProcessRequest pressInList(const ScreenKey& key);
    void pressCharacter(char32_t character);
    void askToQuit();
    [[nodiscard]] ProcessRequest freezeOrResume();
    [[nodiscard]] const ProcessRow* chosenRow() const;
    [[nodiscard]] bool isOwnAncestor(std::int32_t identifier) const;
    [[nodiscard]] std::size_t listRows() const;
    void keepInView();
    [[nodiscard]] ScreenLine heading() const;
    [[nodiscard]] ScreenLine lineOf(const TreePlace& place) const;
    [[nodiscard]] ScreenLine foot() const;

    const Session& session_;
    Characters characters_;
    std::int32_t ownIdentifier_;
    ProcessPaneOptions options_;
    std::vector<ProcessRow> rows_;
    std::vector<TreePlace> shown_;  ///< in the order of the page
    std::size_t foldedKernelThreads_ = 0;
    bool showsKernelThreads_ = false;
    std::optional<std::int32_t> chosen_;  ///< an identifier; its row is at `position_`
    std::size_t position_ = 0;            ///< in `shown_`
    std::size_t first_ = 0;               ///< the first of `shown_` on the page
    std::size_t columns_ = 80;
    std::size_t pageRows_ = 24;
    std::string typed_;
    bool isTyping_ = false;
    std::optional<Question> question_;
    std::optional<Message> message_;
    std::map<std::int32_t, std::optional<KestrelCore::Date>> asked_;  ///< to quit, with their starts
};

}  // namespace KestrelCLI
