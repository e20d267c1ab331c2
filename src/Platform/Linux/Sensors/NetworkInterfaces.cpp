#include "Platform/NetworkInterfaces.hpp"

#include "Platform/Linux/Processes/ProcText.hpp"
#include "Platform/Linux/SystemFile.hpp"
#include "Platform/Linux/SystemReaders.hpp"
#include "Platform/POSIX/FileDescriptor.hpp"

#include <cstring>
#include <fcntl.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <utility>

namespace KestrelCore {
namespace {

/// /proc/net/dev has the 64-bit counters but not the flags; those come from the interface itself, through any socket.
class LinuxNetworkInterfaces final : public NetworkInterfaces {
public:
    explicit LinuxNetworkInterfaces(const std::string& procFolder) : path_{procFolder + "/net/dev"} {}

    void list(std::vector<InterfaceCounters>& interfaces) override {
        const auto text = SystemFile::whole(AT_FDCWD, path_.c_str(), buffer_);
        ProcText::interfaces(text.value_or(std::string_view{}), interfaces);
        // Closed again: it is asked once in a sample, and an open one would be one more descriptor that is always held.
        const FileDescriptor socket{::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)};
        for (InterfaceCounters& interface : interfaces) interface.isLoopback = isLoopback(socket, interface.name);
    }

private:
    static bool isLoopback(const FileDescriptor& socket, const std::string& name) {
        ifreq request{};
        if (socket.isOpen() && name.size() < sizeof request.ifr_name) {
            std::memcpy(request.ifr_name, name.c_str(), name.size() + 1);
            if (ioctl(socket.get(), SIOCGIFFLAGS, &request) == 0) return (request.ifr_flags & IFF_LOOPBACK) != 0;
        }
        // Without sockets, or when the interface has just gone: the kernel gives the loopback interface this name.
        return name == "lo";
    }

    std::string path_;
    std::string buffer_;
};

}  // namespace

std::unique_ptr<NetworkInterfaces> networkInterfaces(const std::string& procFolder) {
    return std::make_unique<LinuxNetworkInterfaces>(procFolder);
}

std::unique_ptr<NetworkInterfaces> NetworkInterfaces::system() { return networkInterfaces("/proc"); }

}  // namespace KestrelCore
