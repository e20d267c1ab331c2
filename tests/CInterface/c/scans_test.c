#include "check.h"

#include <pthread.h>
#include <unistd.h>

// What a run has told.
struct heard {
    int started, progressed, issues, left_out;
    int64_t items_left_out;
    int is_enough;                        // what the callback returns
    const kestrel_cancellation* cancels;  // what it sets, or NULL
    kestrel_scan_event_kind last;
};

static int hear(void* context, const kestrel_scan_event* event) {
    struct heard* heard = (struct heard*)context;
    if (event->kind == KESTREL_SCAN_STARTED) CHECK(++heard->started == 1 && heard->progressed == 0);
    if (event->kind == KESTREL_SCAN_PROGRESS) ++heard->progressed;
    if (event->kind == KESTREL_SCAN_ISSUE) ++heard->issues;
    if (event->kind == KESTREL_SCAN_LEFT_OUT) {
        ++heard->left_out;
        heard->items_left_out += event->items;
        CHECK(event->path.data == NULL && event->message.length > 0);
    }
    CHECK(event->kind == KESTREL_SCAN_LEFT_OUT || event->path.length > 0);
    heard->last = event->kind;
    if (heard->cancels != NULL) kestrel_cancellation_cancel(heard->cancels);
    return heard->is_enough;
}

static struct heard nothing_heard(void) {
    struct heard heard;
    memset(&heard, 0, sizeof heard);
    return heard;
}

static void events_come_in_order(void) {
    struct heard heard = nothing_heard();
    kestrel_scan* scan = NULL;
    kestrel_snapshot* snapshot = NULL;
    CHECK_OK(kestrel_scan_new(in_top("tree"), &scan, &error));
    CHECK_OK(kestrel_scan_set_callback(scan, hear, &heard, &error));
    CHECK_OK(kestrel_scan_exclude(scan, "left-out", strlen("left-out"), &error));
    CHECK_OK(kestrel_scan_exclude(scan, "\xFE*", 2, &error));
    CHECK_OK(kestrel_scan_run(scan, NULL, &snapshot, &error));
    CHECK(heard.started == 1 && heard.progressed >= 1);
    CHECK(heard.left_out == 2 && heard.items_left_out == 2 && heard.last == KESTREL_SCAN_LEFT_OUT);
    CHECK(kestrel_snapshot_get_info(snapshot)->record_count == 4);
    // It may be run again, and what was found first stays as it was.
    kestrel_snapshot* again = NULL;
    CHECK_OK(kestrel_scan_set_callback(scan, NULL, NULL, &error));
    CHECK_OK(kestrel_scan_run(scan, NULL, &again, &error));
    kestrel_scan_free(scan);
    kestrel_snapshot_free(snapshot);
    CHECK(kestrel_snapshot_get_info(again)->record_count == 4);
    CHECK(heard.started == 1);
    kestrel_snapshot_free(again);
}

static void a_callback_cancels(void) {
    struct heard heard = nothing_heard();
    kestrel_scan* scan = NULL;
    kestrel_snapshot* snapshot = NULL;
    kestrel_cancellation* cancellation = NULL;
    CHECK_OK(kestrel_scan_new(in_top("tree"), &scan, &error));
    CHECK_OK(kestrel_cancellation_new(&cancellation, &error));
    CHECK_OK(kestrel_scan_set_callback(scan, hear, &heard, &error));
    // By what it returns: that run alone, and it is told nothing more.
    heard.is_enough = 1;
    CHECK_CODE(KESTREL_CANCELLED, kestrel_scan_run(scan, cancellation, &snapshot, &error));
    CHECK(snapshot == NULL && heard.started == 1 && heard.progressed == 0);
    CHECK(!kestrel_cancellation_is_cancelled(cancellation));
    // By the flag: then it is set for good.
    heard = nothing_heard();
    heard.cancels = cancellation;
    CHECK_CODE(KESTREL_CANCELLED, kestrel_scan_run(scan, cancellation, &snapshot, &error));
    CHECK(heard.started == 1 && kestrel_cancellation_is_cancelled(cancellation));
    heard = nothing_heard();
    CHECK_CODE(KESTREL_CANCELLED, kestrel_scan_run(scan, cancellation, &snapshot, &error));
    CHECK(heard.started == 0);
    // What was found is given where that was asked for; a scan as small as this one may be through already.
    heard.is_enough = 1;
    CHECK_OK(kestrel_scan_set(scan, KESTREL_SCAN_KEEPS_FOUND, true, &error));
    const kestrel_code code = kestrel_scan_run(scan, NULL, &snapshot, NULL);
    CHECK(code == KESTREL_OK || code == KESTREL_CANCELLED);  // cancelled where not even the root was found
    CHECK((snapshot != NULL) == (code == KESTREL_OK));
    kestrel_snapshot_free(snapshot);
    kestrel_cancellation_free(cancellation);
    kestrel_scan_free(scan);
}

// A run that waits in its callback until another thread has cancelled it.
struct meeting {
    pthread_mutex_t mutex;
    pthread_cond_t changed;
    int is_running, is_cancelled;
    kestrel_cancellation* cancellation;
};

static int wait_for_the_other(void* context, const kestrel_scan_event* event) {
    struct meeting* meeting = (struct meeting*)context;
    (void)event;
    pthread_mutex_lock(&meeting->mutex);
    meeting->is_running = 1;
    pthread_cond_broadcast(&meeting->changed);
    while (!meeting->is_cancelled) pthread_cond_wait(&meeting->changed, &meeting->mutex);
    pthread_mutex_unlock(&meeting->mutex);
    return 0;
}

static void* cancel_what_runs(void* context) {
    struct meeting* meeting = (struct meeting*)context;
    pthread_mutex_lock(&meeting->mutex);
    while (!meeting->is_running) pthread_cond_wait(&meeting->changed, &meeting->mutex);
    kestrel_cancellation_cancel(meeting->cancellation);
    // The run keeps the flag.
    kestrel_cancellation_free(meeting->cancellation);
    meeting->is_cancelled = 1;
    pthread_cond_broadcast(&meeting->changed);
    pthread_mutex_unlock(&meeting->mutex);
    return NULL;
}

static void another_thread_cancels(void) {
    struct meeting meeting;
    kestrel_scan* scan = NULL;
    kestrel_snapshot* snapshot = NULL;
    pthread_t other;
    memset(&meeting, 0, sizeof meeting);
    pthread_mutex_init(&meeting.mutex, NULL);
    pthread_cond_init(&meeting.changed, NULL);
    CHECK_OK(kestrel_cancellation_new(&meeting.cancellation, &error));
    CHECK_OK(kestrel_scan_new(in_top("tree"), &scan, &error));
    CHECK_OK(kestrel_scan_set_callback(scan, wait_for_the_other, &meeting, &error));
    if (pthread_create(&other, NULL, cancel_what_runs, &meeting) != 0) abort();
    CHECK_CODE(KESTREL_CANCELLED, kestrel_scan_run(scan, meeting.cancellation, &snapshot, &error));
    CHECK(snapshot == NULL);
    pthread_join(other, NULL);
    kestrel_scan_free(scan);
    pthread_cond_destroy(&meeting.changed);
    pthread_mutex_destroy(&meeting.mutex);
}

void test_scans(void) {
    make_folder("tree");
    make_folder("tree/folder");
    make_folder("tree/left-out");
    make_file("tree/folder/line\nbreak.TXT", 5000);
    make_file("tree/folder/bad\xFFname", 100);
    make_file("tree/\xFE bytes", 100);
    make_file("tree/left-out/inside", 100);
    events_come_in_order();
    a_callback_cancels();
    another_thread_cancels();
}
