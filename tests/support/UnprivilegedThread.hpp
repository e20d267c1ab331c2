#pragma once

#include <gtest/gtest.h>

#include <sys/syscall.h>
#include <unistd.h>

namespace KestrelCore {

/// Takes root's rights from the calling thread while it lives, so that file modes bind tests that run as root, too.
/// Does nothing for another user. The other threads of the process keep their rights.
class UnprivilegedThread {
public:
    UnprivilegedThread() : wasRoot_{geteuid() == 0} {
        // The system call itself: the C library's function would change every thread.
        if (wasRoot_) change(nobody, nobody);
    }
    UnprivilegedThread(const UnprivilegedThread&) = delete;
    UnprivilegedThread& operator=(const UnprivilegedThread&) = delete;
    ~UnprivilegedThread() {
        if (wasRoot_) change(0, 0);
    }

private:
    static constexpr uid_t nobody = 65534;

    /// The saved user stays root, which is the way back.
    static void change(uid_t real, uid_t effective) {
        EXPECT_EQ(syscall(SYS_setresuid, real, effective, 0), 0) << "The rights of this thread can't be changed";
    }

    bool wasRoot_;
};

}  // namespace KestrelCore
