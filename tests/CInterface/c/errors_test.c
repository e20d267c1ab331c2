#include "check.h"

#include <errno.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

// A folder of somebody else's, looked at by a user who is not root.
static void look_as_nobody(void) {
    kestrel_scan* scan = NULL;
    kestrel_snapshot* snapshot = NULL;
    if (setgid(65534) != 0 || setuid(65534) != 0) _exit(77);
    CHECK_OK(kestrel_scan_new(in_top("closed"), &scan, &error));
    CHECK_CODE(KESTREL_ACCESS_DENIED, kestrel_scan_run(scan, NULL, &snapshot, &error));
    CHECK(snapshot == NULL);
    kestrel_scan_free(scan);
    _exit(failures == 0 ? 0 : 1);
}

void test_access(void) {
    make_folder("closed");
    chmod(top, 0711);
    if (geteuid() == 0) {
        const pid_t child = fork();
        if (child == 0) look_as_nobody();
        int status = 0;
        CHECK(waitpid(child, &status, 0) == child);
        if (WIFEXITED(status) && WEXITSTATUS(status) == 77) {
            printf("Skipped: this root may be nobody else.\n");
        } else {
            CHECK(WIFEXITED(status) && WEXITSTATUS(status) == 0);
        }
    } else {
        kestrel_scan* scan = NULL;
        kestrel_snapshot* snapshot = NULL;
        chmod(in_top("closed"), 0);
        CHECK_OK(kestrel_scan_new(in_top("closed"), &scan, &error));
        CHECK_CODE(KESTREL_ACCESS_DENIED, kestrel_scan_run(scan, NULL, &snapshot, &error));
        kestrel_scan_free(scan);
        chmod(in_top("closed"), 0700);
    }
    chmod(top, 0700);
}

static void nothing_takes_null(void) {
    kestrel_scan* scan = NULL;
    kestrel_snapshot* snapshot = NULL;
    kestrel_records* records = NULL;
    kestrel_record record;
    CHECK_CODE(KESTREL_INVALID_ARGUMENT, kestrel_cancellation_new(NULL, &error));
    CHECK_CODE(KESTREL_INVALID_ARGUMENT, kestrel_scan_new(NULL, &scan, &error));
    CHECK_CODE(KESTREL_INVALID_ARGUMENT, kestrel_scan_new(top, NULL, &error));
    CHECK_CODE(KESTREL_INVALID_ARGUMENT, kestrel_scan_exclude(NULL, "x", 1, &error));
    CHECK_CODE(KESTREL_INVALID_ARGUMENT, kestrel_scan_set(NULL, KESTREL_SCAN_KEEPS_FOUND, true, &error));
    CHECK_CODE(KESTREL_INVALID_ARGUMENT, kestrel_scan_set_callback(NULL, NULL, NULL, &error));
    CHECK_CODE(KESTREL_INVALID_ARGUMENT, kestrel_scan_run(NULL, NULL, &snapshot, &error));
    CHECK_CODE(KESTREL_INVALID_ARGUMENT, kestrel_snapshot_records(NULL, &records, &error));
    CHECK_CODE(KESTREL_INVALID_ARGUMENT, kestrel_snapshot_find(NULL, "/", &records, &error));
    CHECK_CODE(KESTREL_INVALID_ARGUMENT, kestrel_snapshot_list(NULL, "/", &records, &error));
    CHECK_CODE(KESTREL_INVALID_ARGUMENT,
               kestrel_snapshot_search(NULL, "", 1, KESTREL_SEARCH_BY_SCORE, NULL, &records, NULL, &error));
    CHECK(kestrel_snapshot_get_info(NULL) == NULL);
    CHECK(kestrel_snapshot_issue_at(NULL, 0) == NULL);
    CHECK(kestrel_records_count(NULL) == 0);
    CHECK(!kestrel_records_get(NULL, 0, &record) && record.name.data == NULL);
    CHECK(!kestrel_records_get(NULL, 0, NULL));
    CHECK(kestrel_records_path(NULL, 0, NULL, 0) == 0);
    CHECK(kestrel_error_code(NULL) == KESTREL_OK && kestrel_error_system_code(NULL) == 0);
    CHECK(strcmp(kestrel_error_message(NULL), "") == 0);
    CHECK(!kestrel_cancellation_is_cancelled(NULL));
    kestrel_cancellation_cancel(NULL);
    kestrel_cancellation_free(NULL);
    kestrel_scan_free(NULL);
    kestrel_snapshot_free(NULL);
    kestrel_records_free(NULL);
    kestrel_error_free(NULL);
}

static void errors_tell_code_and_cause(void) {
    kestrel_scan* scan = NULL;
    kestrel_error* error = NULL;
    CHECK(kestrel_scan_new(in_top("nowhere"), &scan, &error) == KESTREL_SYSTEM);
    CHECK(scan == NULL && kestrel_error_system_code(error) == ENOENT);
    kestrel_error_free(error);
    // What is in the place of the error is not looked at, and is replaced.
    CHECK(kestrel_scan_new(top, &scan, &error) == KESTREL_OK && error == NULL);
    CHECK(kestrel_scan_exclude(scan, "a", 1, NULL) == KESTREL_OK);
    CHECK(kestrel_scan_exclude(scan, "", 0, NULL) == KESTREL_INVALID_ARGUMENT);
    CHECK_CODE(KESTREL_INVALID_ARGUMENT, kestrel_scan_exclude(scan, "a\0b", 3, &error));
    CHECK_CODE(KESTREL_INVALID_ARGUMENT, kestrel_scan_exclude(scan, "../a", 4, &error));
    CHECK_CODE(KESTREL_INVALID_ARGUMENT, kestrel_scan_set(scan, 99, true, &error));
    CHECK_CODE(KESTREL_INVALID_ARGUMENT, kestrel_scan_set(scan, -1, true, &error));
    kestrel_scan_free(scan);
    make_folder("\xFF folder");
    CHECK_CODE(KESTREL_INVALID_ARGUMENT, kestrel_scan_new(in_top("\xFF folder"), &scan, &error));
    CHECK(strcmp(kestrel_code_name(KESTREL_STALE_ITEM), "KESTREL_STALE_ITEM") == 0);
    CHECK(strcmp(kestrel_code_name(12345), "KESTREL_UNKNOWN") == 0);
    CHECK(strncmp(kestrel_version(), "1.", 2) == 0);
}

void test_errors(void) {
    nothing_takes_null();
    errors_tell_code_and_cause();
}
