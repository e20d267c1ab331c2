#include "check.h"

#include <pthread.h>
#include <unistd.h>

static void records_are_views(void) {
    kestrel_snapshot* snapshot = scanned("tree");
    const kestrel_snapshot_info* info = kestrel_snapshot_get_info(snapshot);
    kestrel_records* records = NULL;
    kestrel_record record;
    CHECK(is_text(info->root, in_top("tree")) && info->is_complete && info->issue_count == 0);
    CHECK(info->completed_at >= info->started_at && info->started_at > 1.7e9);
    CHECK(kestrel_snapshot_issue_at(snapshot, 0) == NULL);
    CHECK_OK(kestrel_snapshot_records(snapshot, &records, &error));
    CHECK(kestrel_records_count(records) == info->record_count && info->record_count == 7);
    int64_t allocated = 0;
    for (size_t i = 0; kestrel_records_get(records, i, &record); ++i) allocated += record.allocated_bytes;
    CHECK(allocated == info->total_allocated_bytes);
    // The list keeps what it views, whatever goes first.
    kestrel_snapshot_free(snapshot);
    CHECK(kestrel_records_get(records, index_of(records, "line\nbreak.TXT"), &record));
    CHECK(is_text(record.name, "line\nbreak.TXT") && is_text(record.extension, "txt"));
    CHECK(record.kind == KESTREL_KIND_FILE && record.logical_bytes == 5000);
    CHECK(record.display_bytes == record.allocated_bytes && record.allocated_bytes > 0);
    CHECK((record.flags & KESTREL_RECORD_HAS_DATE) != 0 && record.modified_at > 1.7e9);
    CHECK((record.flags & KESTREL_RECORD_HAS_IDENTITY) != 0 && record.inode != 0);
    CHECK(record.items_below == -1 && record.freed_bytes == -1);
    // Bytes that are no UTF-8 are repaired, one U+FFFD for each ill-formed piece.
    CHECK(kestrel_records_get(records, index_of(records, "bad\xEF\xBF\xBDname"), &record));
    CHECK(record.extension.data != NULL && record.extension.length == 0);
    CHECK(!kestrel_records_get(records, 7, &record) && record.name.data == NULL);
    kestrel_records_free(records);
}

static void paths_are_whole_or_empty(void) {
    kestrel_snapshot* snapshot = scanned("tree");
    kestrel_records* all = NULL;
    kestrel_records* listed = NULL;
    char path[1024], exact[1024];
    const char* expected = in_top("tree/folder");
    const size_t length = strlen(expected);
    CHECK_OK(kestrel_snapshot_records(snapshot, &all, &error));
    CHECK_OK(kestrel_snapshot_list(snapshot, in_top("tree"), &listed, &error));
    const kestrel_records* const lists[2] = {all, listed};
    for (int i = 0; i < 2; ++i) {
        const size_t index = index_of(lists[i], "folder");
        CHECK(kestrel_records_path(lists[i], index, path, sizeof path) == length && strcmp(path, expected) == 0);
        CHECK(kestrel_records_path(lists[i], index, NULL, 0) == length);
        CHECK(kestrel_records_path(lists[i], index, exact, length + 1) == length && strcmp(exact, expected) == 0);
        CHECK(kestrel_records_path(lists[i], index, exact, length) == length && exact[0] == '\0');
        CHECK(kestrel_records_path(lists[i], 99, exact, sizeof exact) == 0 && exact[0] == '\0');
    }
    kestrel_records_free(listed);
    kestrel_records_free(all);
    kestrel_snapshot_free(snapshot);
}

static void folders_are_listed(void) {
    kestrel_snapshot* snapshot = scanned("tree");
    kestrel_records* records = NULL;
    kestrel_record record, next;
    CHECK_OK(kestrel_snapshot_list(snapshot, in_top("tree"), &records, &error));
    CHECK(kestrel_records_count(records) == 3);
    for (size_t i = 0; i + 1 < 3; ++i) {
        CHECK(kestrel_records_get(records, i, &record) && kestrel_records_get(records, i + 1, &next));
        CHECK(record.display_bytes >= next.display_bytes);
    }
    CHECK(kestrel_records_get(records, index_of(records, "folder"), &record));
    CHECK(record.kind == KESTREL_KIND_FOLDER && record.items_below == 2);
    kestrel_records_free(records);
    CHECK_CODE(KESTREL_NOT_FOUND, kestrel_snapshot_list(snapshot, in_top("tree/none"), &records, &error));
    CHECK(records == NULL);
    CHECK_CODE(KESTREL_INVALID_ARGUMENT, kestrel_snapshot_list(snapshot, "tree", &records, &error));
    CHECK_CODE(KESTREL_INVALID_ARGUMENT, kestrel_snapshot_list(snapshot, "/\xFF", &records, &error));
    CHECK_CODE(KESTREL_INVALID_ARGUMENT, kestrel_snapshot_list(snapshot, NULL, &records, &error));
    CHECK_CODE(KESTREL_INVALID_ARGUMENT, kestrel_snapshot_list(snapshot, "/", NULL, &error));
    CHECK_OK(kestrel_snapshot_find(snapshot, in_top("tree/folder/"), &records, &error));
    CHECK(kestrel_records_count(records) == 1 && index_of(records, "folder") == 0);
    kestrel_records_free(records);
    CHECK_CODE(KESTREL_NOT_FOUND, kestrel_snapshot_find(snapshot, in_top("tree/none"), &records, &error));
    kestrel_snapshot_free(snapshot);
}

static void searches_find(void) {
    kestrel_snapshot* snapshot = scanned("tree");
    kestrel_records* found = NULL;
    kestrel_cancellation* cancellation = NULL;
    size_t matches = 99;
    CHECK_OK(kestrel_snapshot_search(snapshot, "ext:txt", 10, KESTREL_SEARCH_BY_SCORE, NULL, &found, &matches, &error));
    CHECK(kestrel_records_count(found) == 1 && matches == 1 && index_of(found, "line\nbreak.TXT") == 0);
    kestrel_records_free(found);
    CHECK_OK(kestrel_snapshot_search(snapshot, "", 2, KESTREL_SEARCH_BY_SIZE, NULL, &found, &matches, &error));
    kestrel_record first, second;
    CHECK(kestrel_records_count(found) == 2 && matches == 7);
    CHECK(kestrel_records_get(found, 0, &first) && kestrel_records_get(found, 1, &second));
    CHECK(first.display_bytes >= second.display_bytes);
    kestrel_records_free(found);
    CHECK_OK(kestrel_snapshot_search(snapshot, "", 0, KESTREL_SEARCH_BY_NAME, NULL, &found, NULL, &error));
    CHECK(kestrel_records_count(found) == 0);
    kestrel_records_free(found);
    CHECK_CODE(KESTREL_INVALID_ARGUMENT, kestrel_snapshot_search(snapshot, "", 1, 4, NULL, &found, &matches, &error));
    CHECK(matches == 0);
    CHECK_CODE(KESTREL_INVALID_ARGUMENT,
               kestrel_snapshot_search(snapshot, "\xC3", 1, KESTREL_SEARCH_BY_SCORE, NULL, &found, NULL, &error));
    CHECK_OK(kestrel_cancellation_new(&cancellation, &error));
    kestrel_cancellation_cancel(cancellation);
    CHECK_CODE(KESTREL_CANCELLED,
               kestrel_snapshot_search(snapshot, "a", 1, KESTREL_SEARCH_BY_SCORE, cancellation, &found, NULL, &error));
    CHECK(found == NULL);
    kestrel_cancellation_free(cancellation);
    kestrel_snapshot_free(snapshot);
}

static void* read_all(void* context) {
    const kestrel_snapshot* snapshot = (const kestrel_snapshot*)context;
    kestrel_records* records = NULL;
    kestrel_record record;
    char path[1024];
    if (kestrel_snapshot_records(snapshot, &records, NULL) != KESTREL_OK) return NULL;
    size_t length = 0;
    for (size_t i = 0; kestrel_records_get(records, i, &record); ++i)
        length += kestrel_records_path(records, i, path, sizeof path);
    kestrel_records_free(records);
    if (kestrel_snapshot_search(snapshot, "folder", 10, KESTREL_SEARCH_BY_SCORE, NULL, &records, NULL, NULL) != 0)
        return NULL;
    kestrel_records_free(records);
    return length > 0 ? context : NULL;
}

static void threads_read_at_once(void) {
    kestrel_snapshot* snapshot = scanned("tree");
    pthread_t threads[4];
    for (int i = 0; i < 4; ++i) {
        if (pthread_create(&threads[i], NULL, read_all, snapshot) != 0) abort();
    }
    for (int i = 0; i < 4; ++i) {
        void* read = NULL;
        pthread_join(threads[i], &read);
        CHECK(read == snapshot);
    }
    kestrel_snapshot_free(snapshot);
}

void test_snapshots(void) {
    records_are_views();
    paths_are_whole_or_empty();
    folders_are_listed();
    searches_find();
    threads_read_at_once();
}
