#pragma once

#include "output/ProcessRow.hpp"
#include "output/Session.hpp"

#include <string>
#include <vector>

namespace KestrelCLI {

/// A process as a list shows it: in a tree with what stands before its name.
struct ListedProcess {
    const ProcessRow* row;
    std::string prefix{};
};

/// A line a process, with titles. No line is wider than the terminal: columns that say less fold away first, then names
/// and command lines are cut. Elsewhere everything is there, and whole. What is absent, such as the command line of a
/// kernel thread, stays empty.
void writeProcessTable(const Session& session, const std::vector<ListedProcess>& processes);

}  // namespace KestrelCLI
