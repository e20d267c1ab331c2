#include <KestrelCore/KestrelCore.hpp>

#include <iostream>

int main(int, char** argv) {
    using namespace KestrelCore;
    const ScanScope scope{URL::fromPath(argv[1], true)};
    std::cout << "KestrelCore " << reinterpret_cast<const char*>(KestrelCoreVersionString) << ": "
              << scope.displayName.view() << '\n';
}
