// Runs a program and meddles with one of its system calls, for the hostile tests:
//
//     kestrel-tracer ACTION NUMBER REPORT ANSWER COMMAND…
//
// NUMBER counts from 1 the calls that the program and its libraries make for files, clocks and chance; those of the
// loader before `main`, and those for memory, threads and signals, aren't counted. ACTION is
//
//     count         writes each counted call's name, a line each, with the path that it asks about
//     stop          stops there, writes the call's name, reads one byte, and lets the program go on
//     kill          ends the program there
//     interrupt     sends it SIGINT there, as Ctrl-C does, and lets the call be made once every other thread has ended:
//                   so whoever watches for the signal has handed it on
//     fail=ERRNO    the call is not made, and fails with that error
//     late=ERRNO    the call is made, and fails with that error all the same if it had succeeded
//
// REPORT and ANSWER are descriptors to write to and to read from. The last line of the report is "status N": what
// waitpid told of the program. Ends with 0, with 77 where programs can't be traced.

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <map>
#include <set>
#include <string>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>
#include <utility>

#include <elf.h>

namespace {

constexpr int skipped = 77;

/// Calls that are not counted: about memory, threads, signals and the process itself.
bool isCounted(std::uint64_t call) {
    static const std::set<std::uint64_t> others{
        SYS_mmap,
        SYS_munmap,
        SYS_mprotect,
        SYS_mremap,
        SYS_madvise,
        SYS_brk,
        SYS_futex,
        SYS_rt_sigaction,
        SYS_rt_sigreturn,
        SYS_rt_sigprocmask,
        SYS_sigaltstack,
        SYS_exit,
        SYS_exit_group,
        SYS_set_robust_list,
        SYS_rseq,
        SYS_prlimit64,
        SYS_set_tid_address,
        SYS_gettid,
        SYS_getpid,
        SYS_sched_yield,
        SYS_sched_getaffinity,
        SYS_clone,
        SYS_clone3,
        SYS_execve,
        SYS_wait4,
        SYS_tgkill,
        SYS_getuid,
        SYS_geteuid,
        SYS_getgid,
        SYS_getegid,
        SYS_restart_syscall,
#ifdef SYS_arch_prctl
        SYS_arch_prctl,
#endif
    };
    return !others.contains(call);
}

std::string nameOf(std::uint64_t call) {
    static const std::map<std::uint64_t, std::string> names{
#define NAMED(name) {SYS_##name, #name},
        NAMED(newfstatat) NAMED(fstat) NAMED(statx) NAMED(openat) NAMED(openat2) NAMED(getdents64) NAMED(unlinkat)
            NAMED(renameat2) NAMED(renameat) NAMED(close) NAMED(fcntl) NAMED(getrandom) NAMED(lseek) NAMED(read)
                NAMED(write) NAMED(pread64) NAMED(pwrite64) NAMED(fsync) NAMED(fdatasync) NAMED(mkdirat) NAMED(linkat)
                    NAMED(symlinkat) NAMED(readlinkat) NAMED(faccessat) NAMED(faccessat2) NAMED(fchmod) NAMED(fchmodat)
                        NAMED(ftruncate) NAMED(flock) NAMED(statfs) NAMED(fstatfs) NAMED(ioctl) NAMED(getcwd)
                            NAMED(writev) NAMED(dup) NAMED(utimensat) NAMED(chdir) NAMED(fchdir) NAMED(sendfile)
                                NAMED(clock_gettime) NAMED(fadvise64) NAMED(fallocate) NAMED(sync) NAMED(syncfs)
#ifdef SYS_open
                                    NAMED(stat) NAMED(lstat) NAMED(open) NAMED(unlink) NAMED(rmdir) NAMED(rename)
                                        NAMED(mkdir) NAMED(link) NAMED(symlink) NAMED(readlink) NAMED(access)
                                            NAMED(chmod) NAMED(poll)
#endif
#undef NAMED
    };
    const auto known = names.find(call);
    return known != names.end() ? known->second : "call" + std::to_string(call);
}

/// A blank and the path that the call asks about, where it is a question about one.
std::string pathOf(pid_t process, const __ptrace_syscall_info& info) {
    if (info.entry.nr != SYS_statx && info.entry.nr != SYS_newfstatat) return {};
    std::string path(4096, '\0');
    const iovec here{path.data(), path.size()};
    const iovec there{reinterpret_cast<void*>(info.entry.args[1]), path.size()};
    // Shorter where the next page is nobody's.
    if (process_vm_readv(process, &here, 1, &there, 1, 0) < 0) {
        const iovec part{there.iov_base, 4096 - info.entry.args[1] % 4096};
        if (process_vm_readv(process, &here, 1, &part, 1, 0) < 0) return {};
    }
    path.resize(std::strlen(path.c_str()));
    return " " + path;
}

/// Makes the call that the thread is about to make none at all.
void skipCall(pid_t thread) {
#if defined(__x86_64__)
    ptrace(PTRACE_POKEUSER, thread, offsetof(user_regs_struct, orig_rax), -1L);
#elif defined(__aarch64__)
    int none = -1;
    iovec part{&none, sizeof none};
    ptrace(PTRACE_SETREGSET, thread, NT_ARM_SYSTEM_CALL, &part);
#else
    (void)thread;
    std::exit(skipped);
#endif
}

/// What the call that the thread just left gave.
void setResult(pid_t thread, long result) {
    user_regs_struct registers{};
    iovec part{&registers, sizeof registers};
    ptrace(PTRACE_GETREGSET, thread, NT_PRSTATUS, &part);
#if defined(__x86_64__)
    registers.rax = static_cast<unsigned long long>(result);
#elif defined(__aarch64__)
    registers.regs[0] = static_cast<unsigned long long>(result);
#else
    std::exit(skipped);
#endif
    ptrace(PTRACE_SETREGSET, thread, NT_PRSTATUS, &part);
}

/// Where the loader lies in the program's memory: what it calls is not the program's doing.
struct Range {
    std::uint64_t begin = 0;
    std::uint64_t end = 0;
};

Range loaderOf(pid_t process) {
    std::ifstream maps{"/proc/" + std::to_string(process) + "/maps"};
    Range range;
    for (std::string line; std::getline(maps, line);) {
        if (line.find("/ld-") == std::string::npos && line.find("/ld.so") == std::string::npos) continue;
        unsigned long long begin = 0;
        unsigned long long end = 0;
        if (std::sscanf(line.c_str(), "%llx-%llx", &begin, &end) != 2) continue;
        if (range.end == 0) range.begin = begin;
        range.end = end;
    }
    return range;
}

struct Meddler {
    std::string action;
    long number = 0;
    int report = 0;
    int answer = 0;
    long error = 0;  ///< what `fail` and `late` give

    long count = 0;
    bool isDone = false;             ///< the program may run on without being watched
    pid_t failing = 0;               ///< the thread whose call fails when it ends
    pid_t waiting = 0;               ///< the thread that may go on when it is the only one
    std::map<pid_t, bool> inside{};  ///< threads that are in a call

    void tell(const std::string& line) const {
        if (write(report, line.data(), line.size()) < 0) std::exit(1);
    }

    /// At the beginning of a counted call.
    void enter(pid_t process, pid_t thread, const __ptrace_syscall_info& info) {
        count += 1;
        if (action == "count") {
            tell(nameOf(info.entry.nr) + pathOf(process, info) + "\n");
            return;
        }
        if (count != number) return;
        tell(nameOf(info.entry.nr) + "\n");
        if (action == "stop") {
            char byte = 0;
            if (read(answer, &byte, 1) != 1) std::exit(1);
            isDone = true;
        } else if (action == "kill") {
            kill(process, SIGKILL);
        } else if (action == "interrupt") {
            kill(process, SIGINT);
            waiting = thread;
        } else {
            if (error == 0) std::exit(2);
            if (action == "fail") skipCall(thread);
            failing = thread;
        }
    }

    void leave(pid_t thread, bool hasFailed) {
        if (thread != failing) return;
        if (action == "fail" || !hasFailed) setResult(thread, -error);
        failing = 0;
        isDone = true;
    }
};

std::size_t threadsOf(pid_t process) {
    std::error_code error;
    const std::filesystem::directory_iterator all{"/proc/" + std::to_string(process) + "/task", error};
    return error ? 0 : static_cast<std::size_t>(std::distance(begin(all), end(all)));
}

int watch(pid_t process, Meddler& meddler) {
    int status = 0;
    if (waitpid(process, &status, 0) != process || !WIFSTOPPED(status)) return skipped;
    ptrace(PTRACE_SETOPTIONS, process, 0,
           PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL | PTRACE_O_TRACECLONE | PTRACE_O_TRACEEXEC);
    Range loader;
    bool hasBegun = false;
    ptrace(PTRACE_SYSCALL, process, 0, 0);
    while (true) {
        if (meddler.waiting != 0 && threadsOf(process) <= 1) {
            meddler.isDone = true;
            ptrace(PTRACE_CONT, std::exchange(meddler.waiting, 0), 0, 0);
        }
        const pid_t thread = waitpid(-1, &status, __WALL);
        if (thread < 0) return 1;
        if (WIFEXITED(status) || WIFSIGNALED(status)) {
            if (thread != process) continue;
            meddler.tell("status " + std::to_string(status) + "\n");
            return 0;
        }
        if (!WIFSTOPPED(status)) continue;
        int passed = 0;  // the signal that the thread gets
        if (WSTOPSIG(status) == (SIGTRAP | 0x80)) {
            __ptrace_syscall_info info{};
            if (ptrace(PTRACE_GET_SYSCALL_INFO, thread, sizeof info, &info) <= 0) {
                ptrace(PTRACE_SYSCALL, thread, 0, 0);
                continue;
            }
            if (info.op == PTRACE_SYSCALL_INFO_ENTRY) {
                const bool isLoading =
                    info.instruction_pointer >= loader.begin && info.instruction_pointer < loader.end;
                if (hasBegun && !isLoading && isCounted(info.entry.nr)) meddler.enter(process, thread, info);
            } else if (info.op == PTRACE_SYSCALL_INFO_EXIT) {
                meddler.leave(thread, info.exit.is_error != 0);
            }
        } else if (status >> 8 == (SIGTRAP | (PTRACE_EVENT_EXEC << 8))) {
            loader = loaderOf(process);
            hasBegun = true;
        } else if (status >> 16 == 0 && WSTOPSIG(status) != SIGSTOP && WSTOPSIG(status) != SIGTRAP) {
            passed = WSTOPSIG(status);
        }
        if (thread == meddler.waiting) continue;
        // Done: the program runs on alone, watched for nothing but its end.
        ptrace(meddler.isDone ? PTRACE_CONT : PTRACE_SYSCALL, thread, 0, passed);
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 6) {
        std::fputs("usage: kestrel-tracer ACTION NUMBER REPORT ANSWER COMMAND...\n", stderr);
        return 2;
    }
    const std::string action = argv[1];
    const std::size_t sign = action.find('=');
    Meddler meddler{.action = action.substr(0, sign),
                    .number = std::atol(argv[2]),
                    .report = std::atoi(argv[3]),
                    .answer = std::atoi(argv[4]),
                    .error = sign == std::string::npos ? 0 : std::atol(action.c_str() + sign + 1)};
    const pid_t tracer = getpid();
    const pid_t process = fork();
    if (process < 0) return 1;
    if (process == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (getppid() != tracer) _exit(1);
        close(meddler.report);
        close(meddler.answer);
        if (ptrace(PTRACE_TRACEME, 0, 0, 0) != 0) _exit(skipped);
        raise(SIGSTOP);
        execv(argv[5], argv + 5);
        _exit(127);
    }
    return watch(process, meddler);
}
