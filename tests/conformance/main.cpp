// kestrel-conformance FOLDER…: compares the library with folders of reference vectors, prints every difference.
// Exit code 0 when there is none, 1 when there are some, 2 when called without a folder.

#include "conformance/Checkers.hpp"

#include <iostream>

int main(int argumentCount, char** arguments) {
    using namespace KestrelCore::conformance;
    if (argumentCount < 2) {
        std::cerr << "usage: kestrel-conformance FOLDER...\n";
        return 2;
    }
    Summary total;
    for (int index = 1; index < argumentCount; ++index) {
        const Summary summary = checkFolder(arguments[index], std::cout);
        total.files += summary.files;
        total.notYet += summary.notYet;
        total.comparisons += summary.comparisons;
        total.differences += summary.differences;
    }
    std::cout << total.files << " files checked, " << total.notYet << " not yet, " << total.comparisons
              << " comparisons, " << total.differences << " differences\n";
    return total.differences == 0 ? 0 : 1;
}
