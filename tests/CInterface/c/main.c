#include "check.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

int failures = 0;
char top[256];

void check(int holds, const char* what, const char* file, int line) {
    if (holds) return;
    ++failures;
    fprintf(stderr, "%s:%d: does not hold: %s\n", file, line, what);
}

void check_code(kestrel_code expected, kestrel_code code, kestrel_error* error, const char* what, const char* file,
                int line) {
    if (code != expected) {
        ++failures;
        fprintf(stderr, "%s:%d: %s instead of %s (%s): %s\n", file, line, kestrel_code_name(code),
                kestrel_code_name(expected), kestrel_error_message(error), what);
    }
    check(kestrel_error_code(error) == code, "the error has the code that was returned", file, line);
    check((kestrel_error_message(error)[0] == '\0') == (code == KESTREL_OK), "an error says why", file, line);
    kestrel_error_free(error);
}

int is_text(kestrel_text text, const char* expected) {
    return text.data != NULL && text.length == strlen(expected) && memcmp(text.data, expected, text.length) == 0;
}

const char* in_top(const char* name) {
    static char paths[4][1024];
    static int next = 0;
    char* path = paths[next++ % 4];
    snprintf(path, sizeof paths[0], "%s/%s", top, name);
    return path;
}

void make_folder(const char* name) {
    if (mkdir(in_top(name), 0700) != 0) abort();
}

void make_file(const char* name, size_t bytes) {
    static const char zeros[4096] = {1};
    const int file = open(in_top(name), O_WRONLY | O_CREAT | O_EXCL, 0600);
    if (file < 0) abort();
    while (bytes > 0) {
        const size_t piece = bytes < sizeof zeros ? bytes : sizeof zeros;
        if (write(file, zeros, piece) != (ssize_t)piece) abort();
        bytes -= piece;
    }
    close(file);
}

int is_there(const char* name) {
    struct stat status;
    return lstat(in_top(name), &status) == 0;
}

kestrel_snapshot* scanned(const char* name) {
    kestrel_scan* scan = NULL;
    kestrel_snapshot* snapshot = NULL;
    CHECK_OK(kestrel_scan_new(in_top(name), &scan, &error));
    CHECK_OK(kestrel_scan_run(scan, NULL, &snapshot, &error));
    kestrel_scan_free(scan);
    if (snapshot == NULL) abort();
    return snapshot;
}

size_t index_of(const kestrel_records* records, const char* name) {
    kestrel_record record;
    for (size_t i = 0; kestrel_records_get(records, i, &record); ++i) {
        if (is_text(record.name, name)) return i;
    }
    fprintf(stderr, "There is no record of %s.\n", name);
    abort();
}

static void prepare(void) {
    char name[] = "/tmp/kestrel-c-XXXXXX";
    if (mkdtemp(name) == NULL || realpath(name, top) == NULL) abort();
    // Nothing of the person who runs the tests is looked at or changed.
    setenv("HOME", top, 1);
    setenv("CFFIXED_USER_HOME", top, 1);
    setenv("XDG_DATA_HOME", in_top("data"), 1);
    setenv("XDG_CONFIG_HOME", in_top("config"), 1);
    setenv("XDG_CACHE_HOME", in_top("cache"), 1);
    setenv("XDG_STATE_HOME", in_top("state"), 1);
}

static void clean_up(void) {
    const char* const arguments[] = {"rm", "-rf", "--", top, NULL};
    const pid_t child = fork();
    if (child == 0) {
        execvp("rm", (char* const*)arguments);
        _exit(127);
    }
    int status = 0;
    CHECK(waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

int main(void) {
    prepare();
    printf("kestrel %s, in %s\n", kestrel_version(), top);
    fflush(stdout);
    test_access();  // starts another process, so before there are threads
    test_errors();
    test_scans();
    test_snapshots();
    test_history();
    test_deletion();
    test_suggestions();
    test_metrics();
    clean_up();
    printf("%d failed\n", failures);
    return failures == 0 ? 0 : 1;
}
