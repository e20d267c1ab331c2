#include "output/Paragraph.hpp"

#include "output/TerminalText.hpp"

namespace KestrelCLI {

void writeParagraph(const Session& session, std::string_view text) {
    if (session.columns() == 0) {
        session.out << text << '\n';
        return;
    }
    for (std::string_view line : TerminalText::wrapped(text, session.columns())) {
        if (line.ends_with(' ')) line.remove_suffix(1);
        session.out << line << '\n';
    }
}

}  // namespace KestrelCLI
