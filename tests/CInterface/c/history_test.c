#include "check.h"

#include <unistd.h>

static int64_t added(kestrel_history* history) {
    kestrel_snapshot* snapshot = scanned("grown");
    int64_t number = 0;
    CHECK_OK(kestrel_history_add(history, snapshot, &number, &error));
    kestrel_snapshot_free(snapshot);
    return number;
}

static void nothing_takes_null(kestrel_history* history) {
    kestrel_records* records = NULL;
    kestrel_growth* growth = NULL;
    kestrel_generations* generations = NULL;
    kestrel_snapshot* snapshot = NULL;
    int64_t number = 9;
    size_t count = 9;
    CHECK_CODE(KESTREL_INVALID_ARGUMENT, kestrel_history_open("history.sqlite", &history, &error));
    CHECK(history == NULL);
    CHECK_CODE(KESTREL_INVALID_ARGUMENT, kestrel_history_open(NULL, NULL, &error));
    CHECK_CODE(KESTREL_INVALID_ARGUMENT, kestrel_history_add(NULL, NULL, &number, &error));
    CHECK(number == 0);
    CHECK_CODE(KESTREL_INVALID_ARGUMENT, kestrel_history_forget(NULL, &number, 1, &error));
    CHECK_CODE(KESTREL_INVALID_ARGUMENT, kestrel_history_thin(NULL, &count, &error));
    CHECK(count == 0);
    CHECK_CODE(KESTREL_INVALID_ARGUMENT, kestrel_history_set_pinned(NULL, 1, true, &error));
    CHECK_CODE(KESTREL_INVALID_ARGUMENT, kestrel_history_generations(NULL, NULL, &generations, &error));
    CHECK_CODE(KESTREL_INVALID_ARGUMENT, kestrel_history_newest(NULL, "/", &number, &error));
    CHECK_CODE(KESTREL_INVALID_ARGUMENT, kestrel_history_load(NULL, 1, &snapshot, &error));
    CHECK_CODE(KESTREL_INVALID_ARGUMENT, kestrel_history_find(NULL, 1, "/", &records, &error));
    CHECK_CODE(KESTREL_INVALID_ARGUMENT, kestrel_history_list(NULL, 1, "/", &records, &error));
    CHECK_CODE(KESTREL_INVALID_ARGUMENT,
               kestrel_history_search(NULL, 1, "", 1, KESTREL_SEARCH_BY_SCORE, NULL, &records, NULL, &error));
    CHECK_CODE(KESTREL_INVALID_ARGUMENT, kestrel_history_growth(NULL, 1, 2, NULL, SIZE_MAX, SIZE_MAX, &growth, &error));
    CHECK(kestrel_generations_count(NULL) == 0 && kestrel_generations_at(NULL, 0) == NULL);
    CHECK(kestrel_growth_get_info(NULL) == NULL && kestrel_growth_at(NULL, 0) == NULL);
    kestrel_generations_free(NULL);
    kestrel_growth_free(NULL);
    kestrel_history_free(NULL);
}

static void scans_are_kept(kestrel_history* history, int64_t first, int64_t second) {
    kestrel_generations* generations = NULL;
    kestrel_snapshot* loaded = NULL;
    int64_t newest = 0;
    CHECK_OK(kestrel_history_generations(history, in_top("grown"), &generations, &error));
    CHECK(kestrel_generations_count(generations) == 2 && kestrel_generations_at(generations, 2) == NULL);
    const kestrel_generation* latest = kestrel_generations_at(generations, 0);
    CHECK(latest->number == second && kestrel_generations_at(generations, 1)->number == first);
    CHECK(is_text(latest->root, in_top("grown")) && latest->is_complete);
    CHECK(!latest->is_pinned && !latest->is_imported);
    CHECK_OK(kestrel_history_newest(history, in_top("grown/folder/below"), &newest, &error));
    CHECK(newest == second);
    CHECK_CODE(KESTREL_NOT_FOUND, kestrel_history_newest(history, "/", &newest, &error));
    CHECK(newest == 0);
    CHECK_OK(kestrel_history_load(history, second, &loaded, &error));
    CHECK((int64_t)kestrel_snapshot_get_info(loaded)->record_count == latest->record_count);
    CHECK(kestrel_snapshot_get_info(loaded)->total_allocated_bytes == latest->total_allocated_bytes);
    kestrel_snapshot_free(loaded);
    CHECK_CODE(KESTREL_NOT_FOUND, kestrel_history_load(history, 99, &loaded, &error));
    CHECK(loaded == NULL);
    kestrel_generations_free(generations);
    CHECK_OK(kestrel_history_generations(history, in_top("elsewhere"), &generations, &error));
    CHECK(kestrel_generations_count(generations) == 0);
    kestrel_generations_free(generations);
}

static void kept_scans_are_asked(kestrel_history* history, int64_t number) {
    kestrel_records* records = NULL;
    kestrel_record record;
    size_t matches = 0;
    CHECK_OK(kestrel_history_list(history, number, in_top("grown"), &records, &error));
    CHECK(kestrel_records_get(records, index_of(records, "folder"), &record) && record.items_below == 1);
    kestrel_records_free(records);
    CHECK_OK(kestrel_history_find(history, number, in_top("grown/folder/new"), &records, &error));
    CHECK(kestrel_records_get(records, 0, &record) && record.logical_bytes == 300000);
    kestrel_records_free(records);
    CHECK_CODE(KESTREL_NOT_FOUND, kestrel_history_list(history, number, in_top("none"), &records, &error));
    CHECK_CODE(KESTREL_NOT_FOUND, kestrel_history_find(history, number, in_top("none"), &records, &error));
    CHECK_OK(kestrel_history_search(history, number, "type:file", 5, KESTREL_SEARCH_BY_SCORE, NULL, &records, &matches,
                                    &error));
    CHECK(index_of(records, "new") == 0 && matches == 1);
    kestrel_records_free(records);
}

static void growth_adds_up(kestrel_history* history, int64_t first, int64_t second) {
    kestrel_growth* growth = NULL;
    CHECK_OK(kestrel_history_growth(history, first, second, in_top("grown"), SIZE_MAX, SIZE_MAX, &growth, &error));
    const kestrel_growth_info* info = kestrel_growth_get_info(growth);
    CHECK(is_text(info->path, in_top("grown")) && info->change_count >= 2);
    CHECK(info->after_bytes - info->before_bytes > 200000);
    int64_t sum = 0;
    const kestrel_change* change = NULL;
    for (size_t i = 0; (change = kestrel_growth_at(growth, i)) != NULL; ++i)
        sum += change->after_bytes - change->before_bytes;
    CHECK(sum == info->after_bytes - info->before_bytes);
    change = kestrel_growth_at(growth, 0);
    CHECK(change->what == KESTREL_CHANGE_APPEARED && is_text(change->path, in_top("grown/folder/new")));
    CHECK(change->kind == KESTREL_KIND_FILE && change->items == 1 && change->before_bytes == 0);
    CHECK(change->moved_from.data == NULL);
    kestrel_growth_free(growth);
    // Told as one.
    CHECK_OK(kestrel_history_growth(history, first, second, NULL, 0, SIZE_MAX, &growth, &error));
    CHECK(kestrel_growth_get_info(growth)->change_count == 1);
    kestrel_growth_free(growth);
    CHECK_CODE(KESTREL_NOT_FOUND,
               kestrel_history_growth(history, first, 99, NULL, SIZE_MAX, SIZE_MAX, &growth, &error));
    CHECK_CODE(KESTREL_NOT_FOUND,
               kestrel_history_growth(history, first, second, in_top("none"), SIZE_MAX, SIZE_MAX, &growth, &error));
    CHECK(growth == NULL);
}

static void what_is_no_history_is_unavailable(void) {
    kestrel_history* history = NULL;
    kestrel_generations* generations = NULL;
    make_file("garbage.sqlite", 9000);
    CHECK_OK(kestrel_history_open(in_top("garbage.sqlite"), &history, &error));
    CHECK_CODE(KESTREL_UNAVAILABLE, kestrel_history_generations(history, NULL, &generations, &error));
    CHECK(generations == NULL);
    kestrel_history_free(history);
}

void test_history(void) {
    kestrel_history* history = NULL;
    kestrel_generations* generations = NULL;
    make_folder("grown");
    make_folder("grown/folder");
    make_file("grown/folder/old", 50000);
    // Where the program keeps its scans: nothing before something is added.
    CHECK_OK(kestrel_history_open(NULL, &history, &error));
    CHECK_OK(kestrel_history_generations(history, NULL, &generations, &error));
    CHECK(kestrel_generations_count(generations) == 0 && !is_there("data"));
    kestrel_generations_free(generations);
    nothing_takes_null(history);
    const int64_t first = added(history);
    CHECK(is_there("data/kestrel/history.sqlite"));
    unlink(in_top("grown/folder/old"));
    make_file("grown/folder/new", 300000);
    const int64_t second = added(history);
    CHECK(second > first && first > 0);
    scans_are_kept(history, first, second);
    kept_scans_are_asked(history, second);
    growth_adds_up(history, first, second);
    what_is_no_history_is_unavailable();
    size_t gone = 9;
    CHECK_OK(kestrel_history_thin(history, &gone, &error));
    CHECK(gone == 0);
    CHECK_CODE(KESTREL_NOT_FOUND, kestrel_history_set_pinned(history, 99, true, &error));
    CHECK_OK(kestrel_history_set_pinned(history, first, true, &error));
    CHECK_CODE(KESTREL_INVALID_ARGUMENT, kestrel_history_forget(history, NULL, 1, &error));
    const int64_t all[] = {first, second, 99};
    CHECK_OK(kestrel_history_forget(history, all, 3, &error));
    CHECK_OK(kestrel_history_generations(history, NULL, &generations, &error));
    CHECK(kestrel_generations_count(generations) == 0);
    kestrel_generations_free(generations);
    kestrel_history_free(history);
}
