// The biggest folders below a folder: biggest FOLDER [HOW-MANY]
//     cc biggest.c $(pkg-config --cflags --libs kestrel) -o biggest
#include <kestrel/kestrel.h>

#include <stdio.h>
#include <stdlib.h>

struct folder {
    int64_t bytes;
    size_t index;
};

static int larger_first(const void* a, const void* b) {
    const int64_t left = ((const struct folder*)a)->bytes, right = ((const struct folder*)b)->bytes;
    return (left < right) - (left > right);
}

// Names come from a disk: what a terminal would obey is not shown as it is.
static void show(const char* name) {
    for (const unsigned char* byte = (const unsigned char*)name; *byte != '\0'; ++byte)
        putchar(*byte < ' ' || *byte == 127 || (byte[0] == 0xC2 && byte[1] < 0xA0) ? '?' : *byte);
    putchar('\n');
}

static int count_issue(void* context, const kestrel_scan_event* event) {
    if (event->kind == KESTREL_SCAN_ISSUE) ++*(int*)context;
    return 0;  // go on
}

int main(int argc, char** argv) {
    kestrel_scan* scan = NULL;
    kestrel_snapshot* snapshot = NULL;
    kestrel_records* records = NULL;
    kestrel_error* error = NULL;
    int issues = 0;
    if (kestrel_scan_new(argc > 1 ? argv[1] : ".", &scan, &error) ||
        kestrel_scan_set_callback(scan, count_issue, &issues, &error) ||
        kestrel_scan_run(scan, NULL, &snapshot, &error) || kestrel_snapshot_records(snapshot, &records, &error)) {
        fprintf(stderr, "biggest: %s\n", kestrel_error_message(error));
        return 1;
    }
    size_t count = 0, most = argc > 2 ? strtoul(argv[2], NULL, 10) : 20;
    struct folder* folders = malloc(sizeof *folders * (kestrel_records_count(records) + 1));
    kestrel_record record;
    for (size_t i = 0; folders != NULL && kestrel_records_get(records, i, &record); ++i)
        if (record.kind == KESTREL_KIND_FOLDER) folders[count++] = (struct folder){record.aggregate_bytes, i};
    qsort(folders, count, sizeof *folders, larger_first);
    for (size_t i = 0; i < count && i < most; ++i) {
        static char path[1 << 20];
        kestrel_records_path(records, folders[i].index, path, sizeof path);
        printf("%10.1f MB  ", (double)folders[i].bytes / 1e6);
        show(path);
    }
    if (issues > 0) fprintf(stderr, "biggest: %d folders or files could not be read\n", issues);
    free(folders);
    kestrel_records_free(records);
    kestrel_snapshot_free(snapshot);
    kestrel_scan_free(scan);
    return 0;
}
