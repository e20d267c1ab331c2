#include "support/SupervisedCalls.hpp"

#include <cerrno>
#include <cstddef>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace KestrelCore {

namespace {

/// A filter on this thread that hands these calls to whoever reads the descriptor; -1 where that is not to be had.
int superviseThisThread(const std::vector<long>& calls) {
    std::vector<sock_filter> steps{BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr))};
    for (const long call : calls) {
        steps.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<std::uint32_t>(call), 0, 1));
        steps.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_USER_NOTIF));
    }
    steps.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
    const sock_fprog program{.len = static_cast<unsigned short>(steps.size()), .filter = steps.data()};
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0) return -1;
    return static_cast<int>(
        ::syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, SECCOMP_FILTER_FLAG_NEW_LISTENER, &program));
}

void answerOne(int listener, const std::function<std::optional<int>(const SystemCall&)>& decide) {
    seccomp_notif request{};
    if (ioctl(listener, SECCOMP_IOCTL_NOTIF_RECV, &request) != 0) return;
    SystemCall call{.number = request.data.nr, .arguments = {}};
    for (std::size_t i = 0; i < call.arguments.size(); ++i) call.arguments[i] = request.data.args[i];
    const std::optional<int> error = decide(call);
    seccomp_notif_resp answer{};
    answer.id = request.id;
    if (error && *error > 0) {
        answer.error = -*error;
    } else if (error) {
        answer.val = -*error;
    } else {
        answer.flags = SECCOMP_USER_NOTIF_FLAG_CONTINUE;
    }
    (void)ioctl(listener, SECCOMP_IOCTL_NOTIF_SEND, &answer);
}

}  // namespace

int SystemCall::make() const {
    const auto& [a, b, c, d, e, f] = arguments;
    return ::syscall(number, a, b, c, d, e, f) < 0 ? errno : 0;
}

bool runSupervised(std::initializer_list<long> calls, const std::function<void()>& work,
                   const std::function<std::optional<int>(const SystemCall&)>& decide) {
    // The thread sends its descriptor, and closes its end when it is done. By `send`: `write` may be supervised.
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) return false;
    std::thread worker{[&, supervised = std::vector<long>{calls}] {
        const int listener = superviseThisThread(supervised);
        const ssize_t sent = send(ends[1], &listener, sizeof listener, 0);
        if (listener >= 0 && sent == sizeof listener) work();
        close(ends[1]);
    }};
    int listener = -1;
    const bool isSupervised = read(ends[0], &listener, sizeof listener) == sizeof listener && listener >= 0;
    while (isSupervised) {
        pollfd watched[2]{{.fd = listener, .events = POLLIN, .revents = 0},
                          {.fd = ends[0], .events = POLLIN, .revents = 0}};
        if (poll(watched, 2, -1) < 0) continue;
        if ((watched[0].revents & POLLIN) != 0) {
            answerOne(listener, decide);
        } else if (watched[1].revents != 0) {
            break;
        }
    }
    worker.join();
    close(ends[0]);
    if (listener >= 0) close(listener);
    return isSupervised;
}

std::optional<int> interruptions(std::initializer_list<long> calls, const std::function<void()>& work) {
    constexpr int endless = 10'000;
    int count = 0;
    const bool isSupervised =
        runSupervised(calls, work, [&count](const SystemCall&) { return ++count < endless ? EINTR : EIO; });
    return isSupervised ? std::optional{count} : std::nullopt;
}

}  // namespace KestrelCore
