#include "check.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

// Nothing was changed there for a year.
static void make_old(const char* name) {
    struct timespec times[2];
    clock_gettime(CLOCK_REALTIME, &times[0]);
    times[0].tv_sec -= 365L * 24 * 3600;
    times[1] = times[0];
    if (utimensat(AT_FDCWD, in_top(name), times, AT_SYMLINK_NOFOLLOW) != 0) abort();
}

static void make_project(const char* name) {
    char path[256];
    const char* const folders[] = {"", "/target", "/target/debug"};
    const char* const files[] = {"/Cargo.toml", "/target/CACHEDIR.TAG", "/target/debug/program"};
    for (int i = 0; i < 3; ++i) {
        snprintf(path, sizeof path, "%s%s", name, folders[i]);
        make_folder(path);
    }
    for (int i = 0; i < 3; ++i) {
        snprintf(path, sizeof path, "%s%s", name, files[i]);
        make_file(path, 100000);
        make_old(path);
    }
    for (int i = 2; i >= 0; --i) {
        snprintf(path, sizeof path, "%s%s", name, folders[i]);
        make_old(path);
    }
}

static int64_t kept(kestrel_history* history) {
    kestrel_snapshot* snapshot = scanned("projects");
    int64_t number = 0;
    CHECK_OK(kestrel_history_add(history, snapshot, &number, &error));
    kestrel_snapshot_free(snapshot);
    return number;
}

// The items of that rule; NULL where it found none.
static kestrel_records* items_of(const kestrel_history* history, int64_t number, const char* rule) {
    kestrel_suggestions* suggestions = NULL;
    kestrel_records* records = NULL;
    const kestrel_suggestion_group* group = NULL;
    CHECK_OK(kestrel_history_suggestions(history, number, NULL, NULL, &suggestions, &error));
    for (size_t i = 0; (group = kestrel_suggestions_at(suggestions, i)) != NULL; ++i) {
        CHECK(group->title.length > 0 && group->why.length > 0 && group->comes_back.length > 0);
        if (is_text(group->rule, rule)) CHECK_OK(kestrel_suggestions_records(suggestions, i, &records, &error));
    }
    kestrel_suggestions_free(suggestions);
    return records;
}

static void suggested_items_go(kestrel_history* history) {
    kestrel_suggestions* suggestions = NULL;
    kestrel_results* results = NULL;
    kestrel_records* found = NULL;
    kestrel_record record;
    const int64_t number = kept(history);
    CHECK_OK(kestrel_history_suggestions(history, number, in_top("projects"), NULL, &suggestions, &error));
    CHECK(kestrel_suggestions_count(suggestions) >= 1);
    const kestrel_suggestion_group* group = kestrel_suggestions_at(suggestions, 0);
    CHECK(is_text(group->rule, "cargo-target") && group->certainty == KESTREL_CERTAINTY_REGENERATES);
    CHECK(group->item_count == 2 && group->freed_bytes >= 400000 && !group->is_shown_only);
    CHECK(group->owners_command.data == NULL);
    CHECK_CODE(KESTREL_INVALID_ARGUMENT, kestrel_suggestions_records(suggestions, 99, &found, &error));
    kestrel_suggestions_free(suggestions);

    kestrel_records* records = items_of(history, number, "cargo-target");
    CHECK(kestrel_records_count(records) == 2);
    CHECK(kestrel_records_get(records, 0, &record) && is_text(record.name, "target"));
    CHECK(record.items_below == 3 && record.freed_bytes >= 200000);
    kestrel_plan* plan = NULL;
    CHECK_OK(kestrel_plan_new(history, &plan, &error));
    CHECK_OK(kestrel_plan_add(plan, records, 0, NULL, &error));
    CHECK_OK(kestrel_plan_add(plan, records, 1, NULL, &error));
    kestrel_records_free(records);
    CHECK(kestrel_plan_at(plan, 0)->refusal == KESTREL_OK && kestrel_plan_at(plan, 1)->refusal == KESTREL_OK);
    CHECK(kestrel_plan_freed_bytes(plan) >= 400000);
    // What made it one of the rule's is another thing by now: only a look at the disk tells.
    if (unlink(in_top("projects/second/Cargo.toml")) != 0) abort();
    if (symlink("/nowhere", in_top("projects/second/Cargo.toml")) != 0) abort();
    CHECK_OK(kestrel_plan_execute(plan, KESTREL_DELETION_TRASH, NULL, NULL, NULL, NULL, &results, &error));
    kestrel_plan_free(plan);
    CHECK(kestrel_results_get_info(results)->count == 2 && kestrel_results_get_info(results)->gone_count == 1);
    CHECK(kestrel_results_get_info(results)->remark.data == NULL);
    CHECK(!is_there("projects/first/target") && is_there("projects/second/target"));
    kestrel_results_free(results);
    // The history knows that it is gone.
    int64_t newest = 0;
    CHECK_OK(kestrel_history_newest(history, in_top("projects"), &newest, &error));
    CHECK(newest > number);
    CHECK_CODE(KESTREL_NOT_FOUND,
               kestrel_history_find(history, newest, in_top("projects/first/target"), &found, &error));
    CHECK_OK(kestrel_history_find(history, newest, in_top("projects/second/target"), &found, &error));
    kestrel_records_free(found);
    // What was made of a scan is loaded, and kept elsewhere, as a scan is.
    kestrel_history* elsewhere = NULL;
    kestrel_snapshot* loaded = NULL;
    int64_t copy = 0;
    CHECK_OK(kestrel_history_load(history, newest, &loaded, &error));
    CHECK_OK(kestrel_history_open(in_top("elsewhere.sqlite"), &elsewhere, &error));
    CHECK_OK(kestrel_history_add(elsewhere, loaded, &copy, &error));
    kestrel_snapshot_free(loaded);
    CHECK_OK(kestrel_history_find(elsewhere, copy, in_top("projects/second/target"), &found, &error));
    kestrel_records_free(found);
    kestrel_history_free(elsewhere);
}

static void check_rule_refuses(kestrel_records* records, kestrel_code code) {
    kestrel_plan* plan = NULL;
    CHECK(kestrel_records_count(records) > 0);
    CHECK_OK(kestrel_plan_new(NULL, &plan, &error));
    CHECK_OK(kestrel_plan_add(plan, records, 0, NULL, &error));
    CHECK(kestrel_plan_at(plan, 0)->refusal == code && kestrel_plan_at(plan, 0)->reason.length > 0);
    kestrel_plan_free(plan);
    kestrel_records_free(records);
}

static void rules_may_refuse(kestrel_history* history) {
    unlink(in_top("projects/second/Cargo.toml"));
    make_file("projects/second/Cargo.toml", 100);
    make_old("projects/second");
    // An older scan is for looking.
    const int64_t earlier = kept(history);
    kestrel_records* records = items_of(history, earlier, "cargo-target");
    kept(history);
    check_rule_refuses(items_of(history, earlier, "cargo-target"), KESTREL_STALE_ITEM);
    kestrel_records_free(records);
    // A rule of the person's own, whose items go by a command alone.
    make_folder("config");
    make_folder("config/kestrel");
    make_folder("config/kestrel/reclaim");
    FILE* rule = fopen(in_top("config/kestrel/reclaim/machines.toml"), "w");
    if (rule == NULL) abort();
    fputs("id = \"machines\"\ntitle = \"Machines\"\nsystems = [\"linux\", \"macos\"]\ncertainty = \"regenerates\"\n"
          "why = \"They are old.\"\ncomes-back = \"They are made again.\"\nowners-command = \"machines prune\"\n"
          "shown-only = true\n[[match]]\nfolders = [\"machine\"]\nholds = [\"disk\"]\n",
          rule);
    fclose(rule);
    make_folder("projects/machine");
    make_file("projects/machine/disk", 1000);
    const int64_t latest = kept(history);
    check_rule_refuses(items_of(history, latest, "machines"), KESTREL_SAFETY_VIOLATION);
}

void test_suggestions(void) {
    kestrel_history* history = NULL;
    kestrel_suggestions* suggestions = NULL;
    kestrel_cancellation* cancellation = NULL;
    make_folder("projects");
    make_project("projects/first");
    make_project("projects/second");
    CHECK_OK(kestrel_history_open(in_top("suggestions.sqlite"), &history, &error));
    suggested_items_go(history);
    rules_may_refuse(history);
    CHECK_CODE(KESTREL_NOT_FOUND, kestrel_history_suggestions(history, 99, NULL, NULL, &suggestions, &error));
    CHECK_CODE(KESTREL_INVALID_ARGUMENT, kestrel_history_suggestions(NULL, 1, NULL, NULL, &suggestions, &error));
    CHECK_OK(kestrel_cancellation_new(&cancellation, &error));
    kestrel_cancellation_cancel(cancellation);
    CHECK_CODE(KESTREL_CANCELLED,
               kestrel_history_suggestions(history, kept(history), NULL, cancellation, &suggestions, &error));
    CHECK(suggestions == NULL && kestrel_suggestions_count(NULL) == 0 && kestrel_suggestions_at(NULL, 0) == NULL);
    kestrel_cancellation_free(cancellation);
    kestrel_suggestions_free(NULL);
    kestrel_history_free(history);
}
