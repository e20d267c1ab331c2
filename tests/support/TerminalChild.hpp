#pragma once

#include <sys/types.h>
#include <termios.h>

#include <functional>
#include <string>
#include <string_view>

namespace KestrelCLI {

/// A process in a terminal of its own, which the test drives as a person does.
class TerminalChild {
public:
    /// @param task what the process does; it ends with what this returns
    TerminalChild(unsigned short rows, unsigned short columns, const std::string& terminalType,
                  const std::function<int()>& task);
    TerminalChild(const TerminalChild&) = delete;
    TerminalChild& operator=(const TerminalChild&) = delete;
    /// Ends the process.
    ~TerminalChild();

    /// Reads what is shown until `text` is; false when the program ends without it, or nothing comes for long.
    bool shows(std::string_view text);
    /// The same with a text that comes after another.
    bool shows(std::string_view text, std::string_view earlier);
    void forgetOutput() { output_.clear(); }
    /// All bytes that were read since.
    [[nodiscard]] const std::string& output() const { return output_; }

    void type(std::string_view keys) const;
    void signal(int number) const;
    void resize(unsigned short rows, unsigned short columns) const;
    /// The terminal goes, as when its window is closed.
    void hangUp();

    /// The status of `waitpid`, after everything that was still shown was read.
    int end();

    /// Whether the terminal's settings are those from before the program.
    [[nodiscard]] bool hasEarlierSettings() const;
    /// Whether the last that `output` tells the terminal is to show the earlier screen and the cursor.
    [[nodiscard]] bool hasEarlierScreen() const;

private:
    bool readMore();
    [[nodiscard]] bool waitStatusIsOpen() const;

    int master_ = -1;
    int terminal_ = -1;
    termios before_{};
    pid_t process_ = -1;
    std::string output_;
    int quietMilliseconds_ = 0;
};

}  // namespace KestrelCLI
