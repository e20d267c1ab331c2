#include "check.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

static void nothing_takes_null(void) {
    kestrel_system_sample* sample = NULL;
    kestrel_processes* processes = NULL;
    CHECK_CODE(KESTREL_INVALID_ARGUMENT, kestrel_system_sampler_new(NULL, &error));
    CHECK_CODE(KESTREL_INVALID_ARGUMENT, kestrel_system_sampler_read(NULL, &sample, &error));
    CHECK_CODE(KESTREL_INVALID_ARGUMENT, kestrel_process_sampler_new(NULL, &error));
    CHECK_CODE(KESTREL_INVALID_ARGUMENT, kestrel_process_sampler_read(NULL, &processes, &error));
    CHECK_CODE(KESTREL_INVALID_ARGUMENT, kestrel_processes_signal(NULL, 0, KESTREL_SIGNAL_QUIT, &error));
    CHECK(kestrel_system_sample_get_info(NULL) == NULL);
    CHECK(kestrel_processes_count(NULL) == 0 && kestrel_processes_at(NULL, 0) == NULL);
    kestrel_system_sampler_free(NULL);
    kestrel_system_sample_free(NULL);
    kestrel_process_sampler_free(NULL);
    kestrel_processes_free(NULL);
}

static void the_system_is_read(void) {
    kestrel_system_sampler* sampler = NULL;
    kestrel_system_sample* first = NULL;
    kestrel_system_sample* second = NULL;
    CHECK_OK(kestrel_system_sampler_new(&sampler, &error));
    CHECK_OK(kestrel_system_sampler_read(sampler, &first, &error));
    CHECK_OK(kestrel_system_sampler_read(sampler, &second, &error));
    kestrel_system_sampler_free(sampler);
    const kestrel_system_info* info = kestrel_system_sample_get_info(second);
    CHECK(info->taken_at >= kestrel_system_sample_get_info(first)->taken_at && info->taken_at > 1.7e9);
    CHECK(info->cpu_used >= 0 && info->cpu_used <= 1);
    CHECK(info->memory_used_bytes > 0 && info->memory_used_bytes <= info->memory_total_bytes);
    CHECK(info->memory_pressure.length > 0 && info->battery >= -1 && info->battery <= 1);
    CHECK(info->thermal >= KESTREL_THERMAL_NOMINAL && info->thermal <= KESTREL_THERMAL_UNKNOWN);
    CHECK(info->processor_count > 0);
    for (size_t i = 0; i < info->processor_count; ++i) CHECK(info->processors[i] >= 0 && info->processors[i] <= 1);
    kestrel_system_sample_free(first);
    kestrel_system_sample_free(second);
}

static size_t index_of_process(const kestrel_processes* processes, pid_t id) {
    for (size_t i = 0; i < kestrel_processes_count(processes); ++i) {
        if (kestrel_processes_at(processes, i)->id == id) return i;
    }
    fprintf(stderr, "Process %d is not listed.\n", (int)id);
    abort();
}

static void processes_are_signalled(void) {
    kestrel_process_sampler* sampler = NULL;
    kestrel_processes* processes = NULL;
    const pid_t child = fork();
    if (child == 0) {
        for (;;) pause();
    }
    CHECK_OK(kestrel_process_sampler_new(&sampler, &error));
    CHECK_OK(kestrel_process_sampler_read(sampler, &processes, &error));
    kestrel_process_sampler_free(sampler);
    const size_t own = index_of_process(processes, getpid());
    const size_t other = index_of_process(processes, child);
    CHECK(!kestrel_processes_at(processes, own)->may_be_signalled &&
          kestrel_processes_at(processes, other)->may_be_signalled);
    CHECK(kestrel_processes_at(processes, own)->name.length > 0);
    CHECK(kestrel_processes_at(processes, own)->executable_path.length > 0);
    CHECK(kestrel_processes_at(processes, own)->resident_bytes > 0);
    CHECK(kestrel_processes_at(processes, kestrel_processes_count(processes)) == NULL);
    CHECK_CODE(KESTREL_SAFETY_VIOLATION, kestrel_processes_signal(processes, own, KESTREL_SIGNAL_QUIT, &error));
    CHECK_CODE(KESTREL_INVALID_ARGUMENT, kestrel_processes_signal(processes, other, 9, &error));
    CHECK_CODE(KESTREL_INVALID_ARGUMENT,
               kestrel_processes_signal(processes, kestrel_processes_count(processes), KESTREL_SIGNAL_QUIT, &error));
    int status = 0;
    CHECK_OK(kestrel_processes_signal(processes, other, KESTREL_SIGNAL_FREEZE, &error));
    CHECK(waitpid(child, &status, WUNTRACED) == child && WIFSTOPPED(status));
    CHECK_OK(kestrel_processes_signal(processes, other, KESTREL_SIGNAL_RESUME, &error));
    CHECK(waitpid(child, &status, WCONTINUED) == child && WIFCONTINUED(status));
    CHECK_OK(kestrel_processes_signal(processes, other, KESTREL_SIGNAL_QUIT, &error));
    CHECK(waitpid(child, &status, 0) == child && WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM);
    CHECK_CODE(KESTREL_STALE_ITEM, kestrel_processes_signal(processes, other, KESTREL_SIGNAL_FORCE_QUIT, &error));
    kestrel_processes_free(processes);
}

void test_metrics(void) {
    nothing_takes_null();
    the_system_is_read();
    processes_are_signalled();
}
