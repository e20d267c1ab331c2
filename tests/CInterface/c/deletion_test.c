#include "check.h"

#include <unistd.h>

static kestrel_plan* plan_for(const kestrel_history* history) {
    kestrel_plan* plan = NULL;
    CHECK_OK(kestrel_plan_new(history, &plan, &error));
    if (plan == NULL) abort();
    return plan;
}

// Adds an item of a scan of the folder that it lies in; frees all that it was read from.
static void add_scanned(kestrel_plan* plan, const char* folder, const char* name) {
    kestrel_snapshot* snapshot = scanned(folder);
    kestrel_records* records = NULL;
    CHECK_OK(kestrel_snapshot_records(snapshot, &records, &error));
    kestrel_snapshot_free(snapshot);
    CHECK_OK(kestrel_plan_add(plan, records, index_of(records, name), NULL, &error));
    kestrel_records_free(records);
}

// The plan of the one item, which must be refused with the code: also a plan that is executed leaves it.
static void check_refused(kestrel_plan* plan, kestrel_code code, const char* file, int line) {
    kestrel_results* results = NULL;
    const kestrel_plan_item* item = kestrel_plan_at(plan, kestrel_plan_count(plan) - 1);
    check(item != NULL && item->refusal == code && item->reason.length > 0, "the item is refused so", file, line);
    check(kestrel_plan_freed_bytes(plan) == 0, "a refused item frees nothing", file, line);
    CHECK_OK(kestrel_plan_execute(plan, KESTREL_DELETION_PERMANENT, "DELETE", NULL, NULL, NULL, &results, &error));
    check(kestrel_results_get_info(results)->count == 0, "a refused item is not tried", file, line);
    kestrel_results_free(results);
    kestrel_plan_free(plan);
}
#define CHECK_REFUSED(plan, code) check_refused((plan), (code), __FILE__, __LINE__)

static kestrel_plan* plan_of_path(const char* path) {
    kestrel_plan* plan = plan_for(NULL);
    CHECK_OK(kestrel_plan_add_path(plan, path, NULL, &error));
    return plan;
}

static void nothing_takes_null(void) {
    kestrel_plan* plan = plan_for(NULL);
    kestrel_results* results = NULL;
    CHECK_CODE(KESTREL_INVALID_ARGUMENT, kestrel_plan_new(NULL, NULL, &error));
    CHECK_CODE(KESTREL_INVALID_ARGUMENT, kestrel_plan_protect(NULL, "/a", 2, "No.", &error));
    CHECK_CODE(KESTREL_INVALID_ARGUMENT, kestrel_plan_protect(plan, NULL, 2, "No.", &error));
    CHECK_CODE(KESTREL_INVALID_ARGUMENT, kestrel_plan_protect(plan, "a", 1, "No.", &error));
    CHECK_CODE(KESTREL_INVALID_ARGUMENT, kestrel_plan_protect(plan, "/a", 2, NULL, &error));
    CHECK_CODE(KESTREL_INVALID_ARGUMENT, kestrel_plan_allow_high_risk(NULL, &error));
    CHECK_CODE(KESTREL_INVALID_ARGUMENT, kestrel_plan_add(NULL, NULL, 0, NULL, &error));
    CHECK_CODE(KESTREL_INVALID_ARGUMENT, kestrel_plan_add(plan, NULL, 0, NULL, &error));
    CHECK_CODE(KESTREL_INVALID_ARGUMENT, kestrel_plan_add_path(NULL, "/a", NULL, &error));
    CHECK_CODE(KESTREL_INVALID_ARGUMENT, kestrel_plan_add_path(plan, "a", NULL, &error));
    CHECK_CODE(KESTREL_INVALID_ARGUMENT, kestrel_plan_add_path(plan, "/a\xFF", NULL, &error));
    CHECK_CODE(KESTREL_INVALID_ARGUMENT,
               kestrel_plan_execute(NULL, KESTREL_DELETION_TRASH, NULL, NULL, NULL, NULL, &results, &error));
    CHECK_CODE(KESTREL_INVALID_ARGUMENT, kestrel_plan_execute(plan, 7, "DELETE", NULL, NULL, NULL, &results, &error));
    CHECK(kestrel_plan_count(NULL) == 0 && kestrel_plan_at(NULL, 0) == NULL && kestrel_plan_at(plan, 0) == NULL);
    CHECK(kestrel_plan_freed_bytes(NULL) == 0);
    CHECK(kestrel_results_get_info(NULL) == NULL && kestrel_results_at(NULL, 0) == NULL);
    kestrel_results_free(NULL);
    kestrel_plan_free(NULL);
    kestrel_plan_free(plan);
}

static void the_policy_holds(void) {
    kestrel_plan* plan = NULL;
    CHECK_REFUSED(plan_of_path("/"), KESTREL_SAFETY_VIOLATION);
    CHECK_REFUSED(plan_of_path("/etc/passwd"), KESTREL_SAFETY_VIOLATION);
    CHECK_REFUSED(plan_of_path(top), KESTREL_SAFETY_VIOLATION);  // the home directory
    // What is reached through a link, and what the scan did not see.
    make_folder("going/linked");
    make_file("going/linked/file", 10);
    if (symlink(in_top("going/linked"), in_top("going/link")) != 0) abort();
    CHECK_REFUSED(plan_of_path(in_top("going/link/file")), KESTREL_SAFETY_VIOLATION);
    plan = plan_for(NULL);
    CHECK_CODE(KESTREL_NOT_FOUND, kestrel_plan_add_path(plan, in_top("going/none"), NULL, &error));
    CHECK_CODE(KESTREL_INVALID_ARGUMENT, kestrel_plan_add_path(plan, in_top("going/linked/"), NULL, &error));
    CHECK_CODE(KESTREL_INVALID_ARGUMENT, kestrel_plan_add_path(plan, in_top("going/link/../linked"), NULL, &error));
    CHECK_CODE(KESTREL_INVALID_ARGUMENT, kestrel_plan_add_path(plan, in_top("going/./linked"), NULL, &error));
    CHECK(kestrel_plan_count(plan) == 0);
    kestrel_plan_free(plan);
    // A name that is not UTF-8 reads as that of another item, which is not there.
    make_file("going/bad\xFFname", 10);
    plan = plan_for(NULL);
    add_scanned(plan, "going", "bad\xEF\xBF\xBDname");
    CHECK_REFUSED(plan, KESTREL_STALE_ITEM);
    CHECK(is_there("going/bad\xFFname") && is_there("going/linked/file"));
}

static void high_risk_goes_if_that_is_said(void) {
    kestrel_results* results = NULL;
    make_folder(".config");
    make_file(".config/settings", 10);
    kestrel_plan* plan = plan_of_path(in_top(".config/settings"));
    CHECK(kestrel_plan_at(plan, 0)->risk == KESTREL_RISK_HIGH);
    CHECK_CODE(KESTREL_INVALID_ARGUMENT, kestrel_plan_allow_high_risk(plan, &error));  // too late
    CHECK_REFUSED(plan, KESTREL_SAFETY_VIOLATION);
    plan = plan_for(NULL);
    CHECK_OK(kestrel_plan_allow_high_risk(plan, &error));
    CHECK_OK(kestrel_plan_add_path(plan, in_top(".config/settings"), NULL, &error));
    CHECK_OK(kestrel_plan_add_path(plan, "/usr", NULL, &error));
    CHECK(kestrel_plan_at(plan, 0)->refusal == KESTREL_OK);
    CHECK(kestrel_plan_at(plan, 1)->refusal == KESTREL_SAFETY_VIOLATION);
    CHECK_OK(kestrel_plan_execute(plan, KESTREL_DELETION_PERMANENT, "DELETE", NULL, NULL, NULL, &results, &error));
    CHECK(kestrel_results_get_info(results)->gone_count == 1 && !is_there(".config/settings"));
    kestrel_results_free(results);
    kestrel_plan_free(plan);
}

static void needed_places_stay(void) {
    kestrel_history* history = NULL;
    make_folder("kept");
    make_file("kept/database", 10);
    kestrel_plan* plan = plan_for(NULL);
    CHECK_OK(kestrel_plan_protect(plan, in_top("kept/database"), strlen(in_top("kept/database")), "Needed.", &error));
    CHECK_OK(kestrel_plan_add_path(plan, in_top("kept"), NULL, &error));
    CHECK(is_text(kestrel_plan_at(plan, 0)->reason, "Needed."));
    CHECK_CODE(KESTREL_INVALID_ARGUMENT, kestrel_plan_protect(plan, "/a", 2, "Too late.", &error));
    CHECK_REFUSED(plan, KESTREL_SAFETY_VIOLATION);
    // The program's own, and the history that a plan was made with.
    CHECK_REFUSED(plan_of_path(in_top("data/kestrel/history.sqlite")), KESTREL_SAFETY_VIOLATION);
    CHECK_REFUSED(plan_of_path(in_top("data")), KESTREL_SAFETY_VIOLATION);
    CHECK_OK(kestrel_history_open(in_top("kept/history"), &history, &error));
    plan = plan_for(history);
    kestrel_history_free(history);
    CHECK_OK(kestrel_plan_add_path(plan, in_top("kept"), NULL, &error));
    CHECK_REFUSED(plan, KESTREL_SAFETY_VIOLATION);
    CHECK(is_there("kept/database"));
}

static void only_the_very_item_goes(void) {
    kestrel_results* results = NULL;
    // Another one before it is added.
    make_file("going/first", 10);
    make_file("going/other", 10);
    kestrel_snapshot* snapshot = scanned("going");
    kestrel_records* records = NULL;
    CHECK_OK(kestrel_snapshot_records(snapshot, &records, &error));
    if (rename(in_top("going/other"), in_top("going/first")) != 0) abort();
    kestrel_plan* plan = plan_for(NULL);
    CHECK_OK(kestrel_plan_add(plan, records, index_of(records, "first"), NULL, &error));
    CHECK_CODE(KESTREL_INVALID_ARGUMENT, kestrel_plan_add(plan, records, 999, NULL, &error));
    kestrel_records_free(records);
    kestrel_snapshot_free(snapshot);
    CHECK_REFUSED(plan, KESTREL_STALE_ITEM);
    // Another one before it goes.
    make_file("going/other", 10);
    plan = plan_for(NULL);
    add_scanned(plan, "going", "first");
    CHECK(kestrel_plan_at(plan, 0)->refusal == KESTREL_OK);
    if (rename(in_top("going/other"), in_top("going/first")) != 0) abort();
    CHECK_OK(kestrel_plan_execute(plan, KESTREL_DELETION_PERMANENT, "DELETE", NULL, NULL, NULL, &results, &error));
    CHECK(kestrel_results_at(results, 0)->code == KESTREL_STALE_ITEM && is_there("going/first"));
    CHECK(kestrel_results_get_info(results)->gone_count == 0 && !kestrel_results_get_info(results)->is_interrupted);
    kestrel_results_free(results);
    CHECK_CODE(KESTREL_INVALID_ARGUMENT,
               kestrel_plan_execute(plan, KESTREL_DELETION_PERMANENT, "DELETE", NULL, NULL, NULL, &results, &error));
    CHECK_CODE(KESTREL_INVALID_ARGUMENT, kestrel_plan_add_path(plan, in_top("going/first"), NULL, &error));
    kestrel_plan_free(plan);
}

static void what_goes_for_good_needs_a_word(void) {
    kestrel_results* results = NULL;
    make_folder("going/folder");
    make_file("going/folder/line\nbreak", 100000);
    make_file("going/folder/\xFF", 10);
    kestrel_plan* plan = plan_for(NULL);
    add_scanned(plan, "going", "folder");
    CHECK(kestrel_plan_at(plan, 0)->allocated_bytes >= 100000 && kestrel_plan_at(plan, 0)->unread == 0);
    CHECK(kestrel_plan_freed_bytes(plan) >= 100000);
    const char* const words[] = {NULL, "", "delete", "DELETE "};
    for (int i = 0; i < 4; ++i) {
        CHECK_CODE(KESTREL_INVALID_ARGUMENT, kestrel_plan_execute(plan, KESTREL_DELETION_PERMANENT, words[i], NULL,
                                                                  NULL, NULL, &results, &error));
        CHECK(results == NULL && is_there("going/folder/line\nbreak"));
    }
    CHECK_OK(kestrel_plan_execute(plan, KESTREL_DELETION_PERMANENT, "DELETE", NULL, NULL, NULL, &results, &error));
    kestrel_plan_free(plan);
    CHECK(!is_there("going/folder") && kestrel_results_get_info(results)->freed_bytes >= 100000);
    CHECK(kestrel_results_get_info(results)->remark.data == NULL);
    const kestrel_result* result = kestrel_results_at(results, 0);
    CHECK(is_text(result->path, in_top("going/folder")) && result->code == KESTREL_OK);
    CHECK(result->resulting_path.data == NULL && result->message.length > 0);
    kestrel_results_free(results);
}

struct stopping {
    int told;
    int after;                            // results; then it stops
    const kestrel_cancellation* cancels;  // how, or by what the callback returns
};

static int stop(void* context, const kestrel_result* result) {
    struct stopping* stopping = (struct stopping*)context;
    CHECK(result->path.length > 0);
    if (++stopping->told < stopping->after) return 0;
    if (stopping->cancels == NULL) return 1;
    kestrel_cancellation_cancel(stopping->cancels);
    return 0;
}

static void the_trash_takes_and_callers_stop(void) {
    kestrel_cancellation* cancellation = NULL;
    CHECK_OK(kestrel_cancellation_new(&cancellation, &error));
    const kestrel_cancellation* const ways[] = {NULL, cancellation};
    for (int i = 0; i < 2; ++i) {
        kestrel_results* results = NULL;
        struct stopping stopping = {0, 1, ways[i]};
        make_file("going/a", 10);
        make_file("going/b", 10);
        kestrel_plan* plan = plan_for(NULL);
        add_scanned(plan, "going", "a");
        add_scanned(plan, "going", "b");
        CHECK_OK(kestrel_plan_execute(plan, KESTREL_DELETION_TRASH, NULL, stop, &stopping, ways[i], &results, &error));
        kestrel_plan_free(plan);
        const kestrel_results_info* info = kestrel_results_get_info(results);
        CHECK(stopping.told == 1 && info->count == 1 && info->gone_count == 1 && info->is_interrupted);
        CHECK(!is_there("going/a") && is_there("going/b"));
        char place[1024];
        const kestrel_text in_trash = kestrel_results_at(results, 0)->resulting_path;
        snprintf(place, sizeof place, "%.*s", (int)in_trash.length, in_trash.data);
        CHECK(in_trash.length > 0 && access(place, F_OK) == 0);
        CHECK(is_there("data/kestrel/receipts"));
        kestrel_results_free(results);
        unlink(in_top("going/b"));
    }
    // Cancelled before: nothing is tried.
    kestrel_results* results = NULL;
    make_file("going/a", 10);
    kestrel_plan* plan = plan_for(NULL);
    CHECK_CODE(KESTREL_CANCELLED, kestrel_plan_add_path(plan, in_top("going/a"), cancellation, &error));
    CHECK(kestrel_plan_count(plan) == 0);
    add_scanned(plan, "going", "a");
    CHECK_OK(kestrel_plan_execute(plan, KESTREL_DELETION_TRASH, NULL, NULL, NULL, cancellation, &results, &error));
    CHECK(kestrel_results_get_info(results)->count == 0 && kestrel_results_get_info(results)->is_interrupted);
    CHECK(is_there("going/a"));
    kestrel_results_free(results);
    kestrel_plan_free(plan);
    kestrel_cancellation_free(cancellation);
}

static void what_is_in_the_trash_comes_back(void) {
    kestrel_results* results = NULL;
    make_file("going/again", 10);
    kestrel_plan* plan = plan_for(NULL);
    add_scanned(plan, "going", "again");
    CHECK_OK(kestrel_plan_execute(plan, KESTREL_DELETION_TRASH, NULL, NULL, NULL, NULL, &results, &error));
    kestrel_plan_free(plan);
    CHECK(!is_there("going/again"));
    // Not over what is there by now.
    make_folder("going/again");
    CHECK_CODE(KESTREL_SYSTEM, kestrel_results_restore(results, 0, &error));
    rmdir(in_top("going/again"));
    CHECK_OK(kestrel_results_restore(results, 0, &error));
    CHECK(is_there("going/again"));
    CHECK_CODE(KESTREL_NOT_FOUND, kestrel_results_restore(results, 0, &error));
    CHECK_CODE(KESTREL_INVALID_ARGUMENT, kestrel_results_restore(results, 1, &error));
    CHECK_CODE(KESTREL_INVALID_ARGUMENT, kestrel_results_restore(NULL, 0, &error));
    kestrel_results_free(results);
    plan = plan_of_path(in_top("going/again"));
    CHECK_OK(kestrel_plan_execute(plan, KESTREL_DELETION_PERMANENT, "DELETE", NULL, NULL, NULL, &results, &error));
    kestrel_plan_free(plan);
    CHECK_CODE(KESTREL_INVALID_ARGUMENT, kestrel_results_restore(results, 0, &error));
    kestrel_results_free(results);
}

void test_deletion(void) {
    make_folder("going");
    nothing_takes_null();
    the_policy_holds();
    high_risk_goes_if_that_is_said();
    needed_places_stay();
    only_the_very_item_goes();
    what_goes_for_good_needs_a_word();
    the_trash_takes_and_callers_stop();
    what_is_in_the_trash_comes_back();
}
