/// \file kestrel.h
/// The C interface of KestrelCore: where disk space goes, and how to reclaim it safely. C11 and C++; link -lkestrel.
///
///     kestrel_scan* scan = NULL;
///     kestrel_snapshot* snapshot = NULL;
///     kestrel_error* error = NULL;
///     if (kestrel_scan_new("/home/anna", &scan, &error) || kestrel_scan_run(scan, NULL, &snapshot, &error))
///         fprintf(stderr, "%s\n", kestrel_error_message(error));
///     else
///         printf("%lld bytes\n", (long long)kestrel_snapshot_get_info(snapshot)->total_allocated_bytes);
///     kestrel_error_free(error);
///     kestrel_snapshot_free(snapshot);
///     kestrel_scan_free(scan);
///
/// What holds for every function, unless it says otherwise:
///
/// - Results. What can fail returns a kestrel_code, 0 for success, and takes `error` last. `error` may be NULL; else
///   `*error` is set: to NULL, or to an error that the caller frees. What was in it is not looked at. No state of a
///   thread or of the process is involved.
/// - Ownership. A handle that is given through `kestrel_NAME**` is the caller's, who frees it by kestrel_NAME_free. It
///   is NULL after a failure. Handles keep alive what they need of each other: they are freed in any order, and at any
///   time but while a call uses them. Freeing NULL does nothing.
/// - Views. What is given as a `const` pointer or as a kestrel_text lies in the handle that it was asked of, and is
///   valid until that one is freed. The caller neither changes nor frees it.
/// - Threads. Handles may go from thread to thread. Calls with a `const` handle may overlap on any threads, others only
///   where the handle's type says so. Calls that look at the disk block on it.
/// - Arguments. NULL for a handle, or for a pointer that is needed, and an index that is too large give
///   KESTREL_INVALID_ARGUMENT; from functions that return no code they give 0, false or NULL.
/// - Texts. What goes in is UTF-8 and ends in NUL; ill-formed UTF-8 is an invalid argument. Where bytes are taken that
///   need not be UTF-8, they come with their length. What comes out is well-formed UTF-8 with its length, without a NUL
///   at its end, and may hold any character, a newline too. On a disk a name may be any bytes: each ill-formed piece of
///   one comes out as U+FFFD.
/// - Paths are absolute, and compared as texts: "é" is the same path in one code point and in two, and so is one with
///   a slash at its end.
/// - Times are seconds since 1970-01-01 00:00:00 UTC. Sizes are bytes; allocated bytes are what something takes on the
///   disk, and of several hard links to one file, one counts.
/// - Callbacks run on the thread of the call that they were handed to, before it returns. They may use every function,
///   but must not free what that call was given, and must return: no longjmp, no exception.
/// - The environment (HOME, XDG_DATA_HOME and their like) says where things of this user lie. No thread may change it
///   while a call runs.
///
/// What later versions of the same major number may do, so that programs need not be built anew: add functions,
/// constants, and fields at the end of structs that the library hands out as `const` pointers. They do not change or
/// take away functions, constants or fields, nor the size of a struct that callers make. So a program that was built
/// with one version runs with every later one. It never makes, copies or puts into arrays a struct that it got a
/// pointer to, and takes constants that it does not know for what it can't say more about.
#ifndef KESTREL_H
#define KESTREL_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#define KESTREL_NOTHROW noexcept
#else
#define KESTREL_NOTHROW
#endif
#if defined(__GNUC__)
#define KESTREL_API __attribute__((visibility("default")))
#else
#define KESTREL_API
#endif

// ---- Version, texts, errors ----------------------------------------------------------------------------------------

#define KESTREL_VERSION_MAJOR 1
#define KESTREL_VERSION_MINOR 0
#define KESTREL_VERSION_PATCH 0

/// The version of the library that runs, such as "1.0.0", which may be later than that of this header. Static.
KESTREL_API const char* kestrel_version(void) KESTREL_NOTHROW;

/// A view of UTF-8 text: no NUL at its end. An absent text has NULL for `data`; an empty one has not.
typedef struct kestrel_text {
    const char* data;
    size_t length;  ///< in bytes
} kestrel_text;

typedef int32_t kestrel_code;
enum {
    KESTREL_OK = 0,
    KESTREL_INVALID_ARGUMENT = 1,  ///< the caller's mistake; nothing was done
    KESTREL_OUT_OF_MEMORY = 2,
    KESTREL_CANCELLED = 3,         ///< by a kestrel_cancellation, or by what a callback returned
    KESTREL_NOT_FOUND = 4,         ///< there is no such thing, or no more
    KESTREL_UNAVAILABLE = 5,       ///< something that the operation needs could not do its work
    KESTREL_ACCESS_DENIED = 6,     ///< the system refused access to an item
    KESTREL_SAFETY_VIOLATION = 7,  ///< the safety policy forbids it
    KESTREL_STALE_ITEM = 8,        ///< the item is no longer what was recorded
    KESTREL_SYSTEM = 9,            ///< another failure of the system; see kestrel_error_system_code
    KESTREL_DAMAGED = 10,          ///< stored data that can't be understood
    KESTREL_INTERNAL = 11          ///< a fault of the library; please report it
};

/// What went wrong. Never changes; any thread.
typedef struct kestrel_error kestrel_error;

/// KESTREL_OK for NULL.
KESTREL_API kestrel_code kestrel_error_code(const kestrel_error* error) KESTREL_NOTHROW;
/// A finished English sentence, or the system's own text, in UTF-8 with a NUL at its end. May quote names, which may
/// hold control characters: escape it before it goes to a terminal. "" for NULL.
KESTREL_API const char* kestrel_error_message(const kestrel_error* error) KESTREL_NOTHROW;
/// The errno value beneath; 0 where there is none.
KESTREL_API int kestrel_error_system_code(const kestrel_error* error) KESTREL_NOTHROW;
KESTREL_API void kestrel_error_free(kestrel_error* error) KESTREL_NOTHROW;

/// The name of a code, such as "KESTREL_NOT_FOUND"; "KESTREL_UNKNOWN" for one that this library does not know. Static.
KESTREL_API const char* kestrel_code_name(kestrel_code code) KESTREL_NOTHROW;

// ---- Cancellation --------------------------------------------------------------------------------------------------

/// A flag that one side sets and the other heeds. One may be handed to any number of calls, one after the other or at
/// once; it is set for good. Where a call takes one, NULL stands for one that nobody sets.
typedef struct kestrel_cancellation kestrel_cancellation;

KESTREL_API kestrel_code kestrel_cancellation_new(kestrel_cancellation** cancellation,
                                                  kestrel_error** error) KESTREL_NOTHROW;
/// Any thread, also while calls use it, also from a callback; not from a signal handler. Calls that were given it end
/// soon with KESTREL_CANCELLED. Waits for nobody. What is called with it afterwards ends at once.
KESTREL_API void kestrel_cancellation_cancel(const kestrel_cancellation* cancellation) KESTREL_NOTHROW;
KESTREL_API bool kestrel_cancellation_is_cancelled(const kestrel_cancellation* cancellation) KESTREL_NOTHROW;
/// May be freed while calls use it: they keep the flag.
KESTREL_API void kestrel_cancellation_free(kestrel_cancellation* cancellation) KESTREL_NOTHROW;

// ---- Records -------------------------------------------------------------------------------------------------------

/// What a scanned item is.
typedef int32_t kestrel_kind;
enum {
    KESTREL_KIND_FILE = 0,
    KESTREL_KIND_FOLDER = 1,
    KESTREL_KIND_PACKAGE = 2,        ///< a folder that file browsers show as one file
    KESTREL_KIND_SYMBOLIC_LINK = 3,  ///< the link itself, wherever it leads
    KESTREL_KIND_OTHER = 4           ///< what holds no content of its own: sockets, FIFOs, devices
};

/// How dangerous it is to take an item away; each includes those before it.
typedef int32_t kestrel_risk;
enum {
    KESTREL_RISK_NORMAL = 0,   ///< the user's own files
    KESTREL_RISK_CAUTION = 1,  ///< what several users or programs share
    KESTREL_RISK_HIGH = 2,     ///< what programs keep, hidden items, applications: to be chosen knowingly
    KESTREL_RISK_BLOCKED = 3   ///< never removed
};

/// Bits of kestrel_record.flags.
enum {
    KESTREL_RECORD_HIDDEN = 1,
    KESTREL_RECORD_CLOUD_PLACEHOLDER = 2,  ///< the content is in cloud storage and not on this disk
    KESTREL_RECORD_FURTHER_LINK = 4,       ///< a further hard link to a file that the scan has counted already
    KESTREL_RECORD_HAS_DATE = 8,           ///< `modified_at` is known
    KESTREL_RECORD_HAS_IDENTITY = 16       ///< `device` and `inode` are known
};

/// One scanned item. Made by the caller, filled by kestrel_records_get; texts are views of that list.
typedef struct kestrel_record {
    kestrel_text name;        ///< the last component of the path
    kestrel_text extension;   ///< in lower case, without the dot; empty where there is none
    int64_t display_bytes;    ///< the size to show: of a folder or package with all that is in it
    int64_t allocated_bytes;  ///< of the item itself
    int64_t aggregate_bytes;  ///< allocated, of the item and all that is in it; meaningful for folders and packages
    int64_t logical_bytes;    ///< the length of the content
    double modified_at;       ///< of the content; 0 without KESTREL_RECORD_HAS_DATE
    uint64_t device;          ///< 0 without KESTREL_RECORD_HAS_IDENTITY, as the inode
    uint64_t inode;
    int64_t items_below;  ///< how many items are in it, at any depth; -1 where the list does not tell
    int64_t freed_bytes;  ///< what comes free when it goes alone; -1 where the list does not tell
    kestrel_kind kind;
    kestrel_risk risk;  ///< as it was rated when it was scanned
    uint32_t flags;
    uint32_t reserved_flags;  ///< 0
    uint64_t reserved[4];     ///< 0: what later versions take for further fields
} kestrel_record;

/// A list of records that never changes. All of a snapshot's are read where they are kept; other lists have their own.
typedef struct kestrel_records kestrel_records;

KESTREL_API size_t kestrel_records_count(const kestrel_records* records) KESTREL_NOTHROW;
/// Fills `record`, which is all zeros when it returns false: for an index that is too large. Copies no text and
/// allocates nothing: right for going through all of them.
KESTREL_API bool kestrel_records_get(const kestrel_records* records, size_t index,
                                     kestrel_record* record) KESTREL_NOTHROW;
/// Writes the absolute path of a record and a NUL to `buffer`, where both fit in `capacity` bytes; else, where there is
/// any room, only a NUL: never a part of a path. Returns the length of the path without the NUL, so what is at least
/// `capacity` did not fit; 0 for an index that is too large, and where memory is wanting. Paths are mostly short, but
/// may have a mebibyte.
KESTREL_API size_t kestrel_records_path(const kestrel_records* records, size_t index, char* buffer,
                                        size_t capacity) KESTREL_NOTHROW;
KESTREL_API void kestrel_records_free(kestrel_records* records) KESTREL_NOTHROW;

// ---- Scanning ------------------------------------------------------------------------------------------------------

/// What is to be scanned, and how. May be run any number of times.
typedef struct kestrel_scan kestrel_scan;
/// What a scan has found. Never changes; any thread.
typedef struct kestrel_snapshot kestrel_snapshot;

/// A scan of everything in `folder`, on its file system alone. Its path may be relative, to the working directory, and
/// any bytes; links in it are followed now, and below it none ever is. A single file can be scanned, too.
/// KESTREL_SYSTEM where there is no such item, KESTREL_INVALID_ARGUMENT where its path, without links, is not UTF-8:
/// then scan the folder above it.
KESTREL_API kestrel_code kestrel_scan_new(const char* folder, kestrel_scan** scan,
                                          kestrel_error** error) KESTREL_NOTHROW;

/// Leaves out what a pattern names: "node_modules" in any folder, "Downloads/old" from the folder of the scan,
/// "/home/*/.cache" from the root; with "/" at its end only folders. "*", "?", "[a-z]" and "**" are as in a shell.
/// Compared byte by byte with names as the disk has them, so it need not be UTF-8; `length` bytes, which may hold no
/// NUL.
KESTREL_API kestrel_code kestrel_scan_exclude(kestrel_scan* scan, const char* pattern, size_t length,
                                              kestrel_error** error) KESTREL_NOTHROW;

typedef int32_t kestrel_scan_option;
enum {
    KESTREL_SCAN_ENTERS_MOUNTS = 1,      ///< other file systems below the folder are scanned, too
    KESTREL_SCAN_LEAVES_OUT_CACHES = 2,  ///< so is what lies in folders that a CACHEDIR.TAG marks
    KESTREL_SCAN_KEEPS_FOUND = 3         ///< one that is cancelled gives what it has found: see kestrel_scan_run
};
/// Options are off unless they are switched on.
KESTREL_API kestrel_code kestrel_scan_set(kestrel_scan* scan, kestrel_scan_option option, bool is_on,
                                          kestrel_error** error) KESTREL_NOTHROW;

typedef int32_t kestrel_scan_event_kind;
enum {
    KESTREL_SCAN_STARTED = 1,   ///< first; `path` is the folder
    KESTREL_SCAN_PROGRESS = 2,  ///< some times a second; `path` is what is looked at
    KESTREL_SCAN_ISSUE = 3,  ///< of the first hundred; `path` could not be read, or not to its end; `message` says why
    KESTREL_SCAN_LEFT_OUT = 4,  ///< `message` is the pattern; `items` were left out by it, and all in them
    KESTREL_SCAN_ENTERED = 5    ///< another file system at `path`; `message` is its kind, such as "ext4"
};
/// What a running scan tells. Valid until the callback returns.
typedef struct kestrel_scan_event {
    kestrel_scan_event_kind kind;
    kestrel_text path;  ///< absent where it is not mentioned above, as `message`
    kestrel_text message;
    int64_t items;            ///< seen so far
    int64_t allocated_bytes;  ///< of these
} kestrel_scan_event;

/// `context` is what was handed in with the callback. Another value than 0 cancels that run.
typedef int (*kestrel_scan_callback)(void* context, const kestrel_scan_event* event);
/// Whom later runs tell; NULL: nobody. `context` is never looked at.
KESTREL_API kestrel_code kestrel_scan_set_callback(kestrel_scan* scan, kestrel_scan_callback callback, void* context,
                                                   kestrel_error** error) KESTREL_NOTHROW;

/// Scans, and blocks until that is done: some seconds for a million items. Runs may overlap, each on its thread.
///
/// Cancelling gives KESTREL_CANCELLED within moments, also while the file system does not answer. With
/// KESTREL_SCAN_KEEPS_FOUND it succeeds with what was found, as soon as the file system has answered once more; the
/// snapshot then says that it is not complete. Where nothing was found yet it is KESTREL_CANCELLED, too.
///
/// KESTREL_ACCESS_DENIED where the folder can't be read, KESTREL_UNAVAILABLE where the walk can't start or has to stop.
/// What can't be read below the folder is an issue of the snapshot and no failure.
KESTREL_API kestrel_code kestrel_scan_run(const kestrel_scan* scan, const kestrel_cancellation* cancellation,
                                          kestrel_snapshot** snapshot, kestrel_error** error) KESTREL_NOTHROW;
KESTREL_API void kestrel_scan_free(kestrel_scan* scan) KESTREL_NOTHROW;

// ---- Snapshots -----------------------------------------------------------------------------------------------------

typedef struct kestrel_snapshot_info {
    kestrel_text root;  ///< absolute path of the folder that was scanned
    double started_at;
    double completed_at;
    size_t record_count;
    size_t issue_count;             ///< kept ones: at most 1000
    int64_t total_allocated_bytes;  ///< of the root with all that is in it
    bool is_complete;               ///< false where the scan was cancelled: items are missing, folders look too small
} kestrel_snapshot_info;

/// One problem of a scan, which went on.
typedef struct kestrel_issue {
    kestrel_text path;     ///< of what could not be read, or not to its end
    kestrel_text message;  ///< for the user
} kestrel_issue;

KESTREL_API const kestrel_snapshot_info* kestrel_snapshot_get_info(const kestrel_snapshot* snapshot) KESTREL_NOTHROW;
KESTREL_API const kestrel_issue* kestrel_snapshot_issue_at(const kestrel_snapshot* snapshot,
                                                           size_t index) KESTREL_NOTHROW;

/// All records, in no order that means anything. Takes no time.
KESTREL_API kestrel_code kestrel_snapshot_records(const kestrel_snapshot* snapshot, kestrel_records** records,
                                                  kestrel_error** error) KESTREL_NOTHROW;
/// The record with that path alone; KESTREL_NOT_FOUND where there is none.
KESTREL_API kestrel_code kestrel_snapshot_find(const kestrel_snapshot* snapshot, const char* path,
                                               kestrel_records** records, kestrel_error** error) KESTREL_NOTHROW;
/// What lies in the folder at `path`, the largest first, with `items_below`. KESTREL_NOT_FOUND for a path that is no
/// folder of the snapshot. The first call for a snapshot takes some tenths of a second for a million records.
KESTREL_API kestrel_code kestrel_snapshot_list(const kestrel_snapshot* snapshot, const char* path,
                                               kestrel_records** records, kestrel_error** error) KESTREL_NOTHROW;

/// Which results of a search come first, and so which ones its limit leaves over.
typedef int32_t kestrel_search_order;
enum {
    KESTREL_SEARCH_BY_SCORE = 0,  ///< best first
    KESTREL_SEARCH_BY_SIZE = 1,   ///< largest first
    KESTREL_SEARCH_BY_DATE = 2,   ///< youngest first, without a date last
    KESTREL_SEARCH_BY_NAME = 3    ///< as lists are ordered for people
};

/// The records that answer a query as a person types it, at most `limit` of them. Words are found in names and paths,
/// also with a small slip; ">2gb", "type:folder", "ext:pdf", "in:downloads", "old" and the like filter; a filter
/// with a word that it doesn't know, such as "type:bogus", filters nothing. An empty query is answered by all. `matches`
/// may be NULL; else it is set to how many records answer, beyond the limit too; 0 when the limit is. The first search
/// of a snapshot makes what later ones share.
KESTREL_API kestrel_code kestrel_snapshot_search(const kestrel_snapshot* snapshot, const char* query, size_t limit,
                                                 kestrel_search_order order, const kestrel_cancellation* cancellation,
                                                 kestrel_records** records, size_t* matches,
                                                 kestrel_error** error) KESTREL_NOTHROW;
KESTREL_API void kestrel_snapshot_free(kestrel_snapshot* snapshot) KESTREL_NOTHROW;

// ---- History -------------------------------------------------------------------------------------------------------

/// Scans that are kept in a file, in little room: each is a generation, with a number that is never used again. Any
/// thread; all calls may overlap, and any number of processes may use one file. All of them block on the disk; one that
/// changes the file waits at most ten seconds for others that do. KESTREL_UNAVAILABLE where the file, or a generation
/// in it, can't be read or written.
typedef struct kestrel_history kestrel_history;

/// The history in `file`, an absolute path. NULL is where the kestrel program keeps the scans of this user:
/// kestrel/history.sqlite in $XDG_DATA_HOME, or in ~/.local/share. The file, and folders above it, are made when
/// something is added; before that there is nothing in it. It is this user's only.
KESTREL_API kestrel_code kestrel_history_open(const char* file, kestrel_history** history,
                                              kestrel_error** error) KESTREL_NOTHROW;
KESTREL_API void kestrel_history_free(kestrel_history* history) KESTREL_NOTHROW;

/// Keeps a snapshot as the newest generation. `number` may be NULL; else it is set to that of the generation, and to 0
/// after a failure.
KESTREL_API kestrel_code kestrel_history_add(kestrel_history* history, const kestrel_snapshot* snapshot,
                                             int64_t* number, kestrel_error** error) KESTREL_NOTHROW;
/// Takes generations out; numbers that the history does not have are passed over.
KESTREL_API kestrel_code kestrel_history_forget(kestrel_history* history, const int64_t* numbers, size_t count,
                                                kestrel_error** error) KESTREL_NOTHROW;
/// Takes out what age makes needless: all generations of a week are kept, one a day for a month, one a week for a year,
/// and the newest of each folder and what is pinned in any case. `count` may be NULL; else it is set to how many went.
KESTREL_API kestrel_code kestrel_history_thin(kestrel_history* history, size_t* count,
                                              kestrel_error** error) KESTREL_NOTHROW;
KESTREL_API kestrel_code kestrel_history_set_pinned(kestrel_history* history, int64_t number, bool is_pinned,
                                                    kestrel_error** error) KESTREL_NOTHROW;

/// What a history says of a generation without reading it.
typedef struct kestrel_generation {
    int64_t number;
    kestrel_text root;  ///< absolute path of the folder that was scanned
    double started_at;
    double completed_at;
    int64_t record_count;
    int64_t total_allocated_bytes;
    int64_t stored_bytes;  ///< what it takes in the history: of most only what differs from one before
    bool is_complete;      ///< false where the scan was cancelled
    bool is_pinned;
    bool is_imported;  ///< read from a file: of some disk, whatever paths it has
} kestrel_generation;

typedef struct kestrel_generations kestrel_generations;

/// The newest first; those of scans of `root`, or with NULL all. None where there is no file yet.
KESTREL_API kestrel_code kestrel_history_generations(const kestrel_history* history, const char* root,
                                                     kestrel_generations** generations,
                                                     kestrel_error** error) KESTREL_NOTHROW;
KESTREL_API size_t kestrel_generations_count(const kestrel_generations* generations) KESTREL_NOTHROW;
KESTREL_API const kestrel_generation* kestrel_generations_at(const kestrel_generations* generations,
                                                             size_t index) KESTREL_NOTHROW;
KESTREL_API void kestrel_generations_free(kestrel_generations* generations) KESTREL_NOTHROW;

/// Sets `number` to that of the newest generation whose root is `path` or a folder above it; imported ones don't count.
/// KESTREL_NOT_FOUND, and 0, where there is none.
KESTREL_API kestrel_code kestrel_history_newest(const kestrel_history* history, const char* path, int64_t* number,
                                                kestrel_error** error) KESTREL_NOTHROW;

/// The snapshot as it was added: some tenths of a second for a million records. KESTREL_NOT_FOUND where there is no
/// such generation; so do all that follow.
KESTREL_API kestrel_code kestrel_history_load(const kestrel_history* history, int64_t number,
                                              kestrel_snapshot** snapshot, kestrel_error** error) KESTREL_NOTHROW;
/// As the functions of snapshots with these names, without loading the rest: mostly some hundredths of a second.
KESTREL_API kestrel_code kestrel_history_find(const kestrel_history* history, int64_t number, const char* path,
                                              kestrel_records** records, kestrel_error** error) KESTREL_NOTHROW;
KESTREL_API kestrel_code kestrel_history_list(const kestrel_history* history, int64_t number, const char* path,
                                              kestrel_records** records, kestrel_error** error) KESTREL_NOTHROW;
KESTREL_API kestrel_code kestrel_history_search(const kestrel_history* history, int64_t number, const char* query,
                                                size_t limit, kestrel_search_order order,
                                                const kestrel_cancellation* cancellation, kestrel_records** records,
                                                size_t* matches, kestrel_error** error) KESTREL_NOTHROW;

// ---- Growth --------------------------------------------------------------------------------------------------------

/// How two generations differ. Never changes; any thread.
typedef struct kestrel_growth kestrel_growth;

typedef struct kestrel_growth_info {
    kestrel_text path;     ///< the folder that was compared, or the file
    int64_t before_bytes;  ///< allocated, with all that is in it
    int64_t after_bytes;
    size_t change_count;
} kestrel_growth_info;

typedef int32_t kestrel_change_kind;
enum {
    KESTREL_CHANGE_GREW = 0,    ///< takes more, or as much as before, of what has changed in it
    KESTREL_CHANGE_SHRANK = 1,  ///< takes less
    KESTREL_CHANGE_APPEARED = 2,
    KESTREL_CHANGE_GONE = 3,
    KESTREL_CHANGE_MOVED = 4  ///< a folder that stands at another path now
};

/// One change: of a file, or of a folder without what other changes tell of. So nothing counts twice, and the changes
/// add up to the difference of all.
typedef struct kestrel_change {
    kestrel_change_kind what;
    kestrel_kind kind;
    kestrel_text path;        ///< as the later generation has it; of what is gone, as the earlier one has it
    kestrel_text moved_from;  ///< absent but of what has moved
    int64_t before_bytes;
    int64_t after_bytes;
    int64_t items;  ///< of a folder, how many items the change tells of; of a file 1
} kestrel_change;

/// How generation `until` differs from generation `since` in `path`; with NULL, in all that both have. Told are at most
/// `most` changes, none deeper than `depth` folders below the path; SIZE_MAX for either is no bound. What is not told
/// by itself is told with the folder that it lies in. KESTREL_NOT_FOUND where there is no such generation, where
/// neither has something there, or where they have nothing in common.
KESTREL_API kestrel_code kestrel_history_growth(const kestrel_history* history, int64_t since, int64_t until,
                                                const char* path, size_t depth, size_t most, kestrel_growth** growth,
                                                kestrel_error** error) KESTREL_NOTHROW;
KESTREL_API const kestrel_growth_info* kestrel_growth_get_info(const kestrel_growth* growth) KESTREL_NOTHROW;
/// The largest change first, whichever way.
KESTREL_API const kestrel_change* kestrel_growth_at(const kestrel_growth* growth, size_t index) KESTREL_NOTHROW;
KESTREL_API void kestrel_growth_free(kestrel_growth* growth) KESTREL_NOTHROW;

// ---- Suggestions ---------------------------------------------------------------------------------------------------

/// What can go, by rules, told from a generation alone; of the disk only what the repositories around items track is
/// read, since that stays. Never changes; any thread.
typedef struct kestrel_suggestions kestrel_suggestions;

/// How sure it is that what a rule finds is not missed, the surest first.
typedef int32_t kestrel_certainty;
enum {
    KESTREL_CERTAINTY_REGENERATES = 0,      ///< made again from what is on this disk
    KESTREL_CERTAINTY_DOWNLOADS_AGAIN = 1,  ///< comes back over the network when it is needed
    KESTREL_CERTAINTY_YOURS = 2             ///< comes back from nowhere: only the person can say that it may go
};

/// What one rule found.
typedef struct kestrel_suggestion_group {
    kestrel_text rule;            ///< such as "cargo-target"
    kestrel_text title;           ///< as a person reads it
    kestrel_text why;             ///< why it may go, as a sentence
    kestrel_text comes_back;      ///< how it comes back, or that it does not, as a sentence
    kestrel_text owners_command;  ///< of the program that it belongs to, where that is the better way; mostly absent
    kestrel_certainty certainty;
    bool is_shown_only;  ///< that command is the only way: a plan refuses the items
    int64_t item_count;
    int64_t items_below;  ///< in all of them
    int64_t freed_bytes;  ///< what comes free when all of them go
} kestrel_suggestion_group;

/// Of all that the generation has; with `folder`, of what lies below that folder. The rules are those that come with
/// the library and this user's own, in kestrel/reclaim of the folder for configuration. KESTREL_INVALID_ARGUMENT for a
/// generation that was imported: it shows some other disk.
KESTREL_API kestrel_code kestrel_history_suggestions(const kestrel_history* history, int64_t number, const char* folder,
                                                     const kestrel_cancellation* cancellation,
                                                     kestrel_suggestions** suggestions,
                                                     kestrel_error** error) KESTREL_NOTHROW;
KESTREL_API size_t kestrel_suggestions_count(const kestrel_suggestions* suggestions) KESTREL_NOTHROW;
/// The surest first, in each certainty the most bytes first. Only of rules that found something.
KESTREL_API const kestrel_suggestion_group* kestrel_suggestions_at(const kestrel_suggestions* suggestions,
                                                                   size_t index) KESTREL_NOTHROW;
/// The items of a group, the largest first, with `items_below` and `freed_bytes`.
KESTREL_API kestrel_code kestrel_suggestions_records(const kestrel_suggestions* suggestions, size_t index,
                                                     kestrel_records** records, kestrel_error** error) KESTREL_NOTHROW;
KESTREL_API void kestrel_suggestions_free(kestrel_suggestions* suggestions) KESTREL_NOTHROW;

// ---- Taking away ---------------------------------------------------------------------------------------------------

/// What is to go, item by item, each with the reason why it would stay. Nothing on the disk changes before a plan is
/// executed, and then each item is judged once more by the same rules: no caller can lift them. One thread at a time.
///
///     kestrel_plan_new(history, &plan, &error)             the history is kept in step, and is never taken away itself
///     kestrel_plan_add(plan, records, index, NULL, &error)
///     show what would go (kestrel_plan_at), what comes free (kestrel_plan_freed_bytes), and ask the person
///     kestrel_plan_execute(plan, KESTREL_DELETION_TRASH, NULL, NULL, NULL, NULL, &results, &error)
typedef struct kestrel_plan kestrel_plan;

/// `history` may be NULL. Else its files are protected, and what is gone is taken out of its newest generations.
KESTREL_API kestrel_code kestrel_plan_new(const kestrel_history* history, kestrel_plan** plan,
                                          kestrel_error** error) KESTREL_NOTHROW;
KESTREL_API void kestrel_plan_free(kestrel_plan* plan) KESTREL_NOTHROW;

/// Protects a place of the caller's own, such as its database, on top of those that are always protected: an item that
/// is it, holds it or lies in it is refused with `reason`, a finished sentence. An absolute path of `length` bytes,
/// which need not be UTF-8 or exist. Only before something is added.
KESTREL_API kestrel_code kestrel_plan_protect(kestrel_plan* plan, const char* path, size_t length, const char* reason,
                                              kestrel_error** error) KESTREL_NOTHROW;
/// Lets items of KESTREL_RISK_HIGH go, which stay otherwise: for a person who has said so. Only before something is
/// added.
KESTREL_API kestrel_code kestrel_plan_allow_high_risk(kestrel_plan* plan, kestrel_error** error) KESTREL_NOTHROW;

/// Adds an item as it was found: it goes only while it still is the very item of that record. Looks at the disk, and
/// blocks while it does. That the item would be refused is no failure: see kestrel_plan_item.
KESTREL_API kestrel_code kestrel_plan_add(kestrel_plan* plan, const kestrel_records* records, size_t index,
                                          const kestrel_cancellation* cancellation,
                                          kestrel_error** error) KESTREL_NOTHROW;
/// Adds the item that is at a path now, for one that no scan has seen. The path may not hold ".", ".." or a slash too
/// many, also not at its end. KESTREL_NOT_FOUND, and nothing is added, where there is no item.
KESTREL_API kestrel_code kestrel_plan_add_path(kestrel_plan* plan, const char* path,
                                               const kestrel_cancellation* cancellation,
                                               kestrel_error** error) KESTREL_NOTHROW;

typedef struct kestrel_plan_item {
    kestrel_text path;
    kestrel_kind kind;        ///< KESTREL_KIND_OTHER of a path that was refused without a look
    kestrel_risk risk;        ///< the stricter one of the scan's and of today's
    kestrel_code refusal;     ///< KESTREL_OK: it would go
    kestrel_text reason;      ///< why it would stay, as a finished sentence; absent of what would go
    int64_t allocated_bytes;  ///< as measured now, with all that is in it; 0 of what would stay
    int64_t unread;           ///< items in it that could not be looked at: the bytes leave them out
} kestrel_plan_item;

/// In the order in which they were added. Valid until the plan is freed, also when more is added.
KESTREL_API size_t kestrel_plan_count(const kestrel_plan* plan) KESTREL_NOTHROW;
KESTREL_API const kestrel_plan_item* kestrel_plan_at(const kestrel_plan* plan, size_t index) KESTREL_NOTHROW;
/// What really comes free when all goes that would: a file that has another name elsewhere gives nothing, and nothing
/// counts twice.
KESTREL_API int64_t kestrel_plan_freed_bytes(const kestrel_plan* plan) KESTREL_NOTHROW;

typedef int32_t kestrel_deletion_mode;
enum {
    KESTREL_DELETION_TRASH = 0,     ///< into this user's Trash, with a receipt, so that `kestrel restore` puts it back
    KESTREL_DELETION_PERMANENT = 1  ///< for good
};

/// What became of one item.
typedef struct kestrel_result {
    kestrel_text path;
    kestrel_text resulting_path;  ///< its place in the Trash; absent where it is not there
    kestrel_text message;         ///< the outcome in finished sentences, for the user
    kestrel_code code;            ///< KESTREL_OK: it is gone from its path
} kestrel_result;

typedef struct kestrel_results_info {
    size_t count;         ///< of results
    size_t gone_count;    ///< of those with KESTREL_OK
    int64_t freed_bytes;  ///< what came free with these, or comes free when the Trash is emptied
    bool is_interrupted;  ///< cancelled: items were not tried, which have no result, or one was given up on the way
    kestrel_text remark;  ///< why the plan's history may still show what is gone; absent where it does not
} kestrel_results_info;

typedef struct kestrel_results kestrel_results;

/// `context` is what was handed in with the callback; the result is valid until it returns. Another value than 0 keeps
/// the items that are left.
typedef int (*kestrel_result_callback)(void* context, const kestrel_result* result);

/// Lets go what would, in order. One item's failure stops no other. A plan is executed once.
///
/// What goes for good needs "DELETE" as `confirmation`, as the person has typed it; for the Trash it is NULL.
/// `callback` may be NULL. A cancellation also stops within an item: what is left of it has its old place. What was
/// done until then is no failure of the call: `results` tells of it. The call itself fails before anything is touched,
/// or not at all.
KESTREL_API kestrel_code kestrel_plan_execute(kestrel_plan* plan, kestrel_deletion_mode mode, const char* confirmation,
                                              kestrel_result_callback callback, void* context,
                                              const kestrel_cancellation* cancellation, kestrel_results** results,
                                              kestrel_error** error) KESTREL_NOTHROW;
KESTREL_API const kestrel_results_info* kestrel_results_get_info(const kestrel_results* results) KESTREL_NOTHROW;
/// In the order of the plan's items that would go.
KESTREL_API const kestrel_result* kestrel_results_at(const kestrel_results* results, size_t index) KESTREL_NOTHROW;
/// Puts the item of a result back from the Trash to where it was: never over another item, and only into a folder that
/// is there. KESTREL_INVALID_ARGUMENT where it did not go to the Trash, KESTREL_NOT_FOUND where it was put back
/// already. A history shows it again after the next scan. Blocks on the disk.
KESTREL_API kestrel_code kestrel_results_restore(const kestrel_results* results, size_t index,
                                                 kestrel_error** error) KESTREL_NOTHROW;
KESTREL_API void kestrel_results_free(kestrel_results* results) KESTREL_NOTHROW;

// ---- The system ----------------------------------------------------------------------------------------------------

/// Reads the system's counters. Rates are since the sampler's previous reading, whoever asked for that one; the first
/// reading has zeros for them. Any thread; readings wait for each other.
typedef struct kestrel_system_sampler kestrel_system_sampler;
/// One reading. Never changes; any thread.
typedef struct kestrel_system_sample kestrel_system_sample;

typedef int32_t kestrel_thermal_level;
enum {
    KESTREL_THERMAL_NOMINAL = 0,
    KESTREL_THERMAL_FAIR = 1,      ///< fans may run
    KESTREL_THERMAL_SERIOUS = 2,   ///< the system slows itself down
    KESTREL_THERMAL_CRITICAL = 3,  ///< the system is about to protect itself
    KESTREL_THERMAL_UNKNOWN = 4    ///< the machine does not tell
};

typedef int32_t kestrel_power_source;
enum {
    KESTREL_POWER_UNKNOWN = 0,  ///< the machine does not tell, or has none to tell of
    KESTREL_POWER_BATTERY = 1,
    KESTREL_POWER_MAINS = 2  ///< also with a battery that is full
};

/// Of a figure that is -1 the system does not tell.
typedef struct kestrel_system_info {
    double taken_at;
    double cpu_used;           ///< 0 to 1 over all processors
    size_t processor_count;    ///< of the next; 0 where the system does not tell
    const double* processors;  ///< 0 to 1 for each processor that runs, in the system's order
    int64_t memory_used_bytes;
    int64_t memory_total_bytes;
    int64_t memory_cache_bytes;  ///< content of files, given up on demand; or -1
    int64_t swap_used_bytes;
    int64_t swap_total_bytes;      ///< or -1
    kestrel_text memory_pressure;  ///< "Normal", "Elevated", "High" or "Unknown"
    double processor_waiting;      ///< the part of the last ten seconds in which something had to wait for it; or -1
    double memory_waiting;
    double disk_waiting;
    double battery;  ///< charge, 0 to 1; or -1
    kestrel_power_source power;
    kestrel_thermal_level thermal;
    int64_t network_down_bytes_per_second;  ///< loopback left out
    int64_t network_up_bytes_per_second;
} kestrel_system_info;

KESTREL_API kestrel_code kestrel_system_sampler_new(kestrel_system_sampler** sampler,
                                                    kestrel_error** error) KESTREL_NOTHROW;
KESTREL_API kestrel_code kestrel_system_sampler_read(kestrel_system_sampler* sampler, kestrel_system_sample** sample,
                                                     kestrel_error** error) KESTREL_NOTHROW;
KESTREL_API void kestrel_system_sampler_free(kestrel_system_sampler* sampler) KESTREL_NOTHROW;
KESTREL_API const kestrel_system_info*
kestrel_system_sample_get_info(const kestrel_system_sample* sample) KESTREL_NOTHROW;
KESTREL_API void kestrel_system_sample_free(kestrel_system_sample* sample) KESTREL_NOTHROW;

// ---- Processes -----------------------------------------------------------------------------------------------------

/// Reads the process table. Any thread; readings wait for each other.
typedef struct kestrel_process_sampler kestrel_process_sampler;
/// The processes of one reading, in the system's order. Never changes; any thread.
typedef struct kestrel_processes kestrel_processes;

typedef struct kestrel_process {
    int32_t id;
    bool may_be_signalled;         ///< whether kestrel_processes_signal would try
    kestrel_text name;             ///< for showing only: a process may call itself what it likes
    kestrel_text executable_path;  ///< absent for the kernel's own threads and where the system does not tell
    double cpu_percent;            ///< of one processor since the previous reading; 0 at the first sight
    int64_t resident_bytes;        ///< physical memory held
    int64_t virtual_bytes;         ///< address space taken
    int64_t thread_count;
    int64_t running_thread_count;
    int64_t priority;  ///< in the system's own scale
} kestrel_process;

KESTREL_API kestrel_code kestrel_process_sampler_new(kestrel_process_sampler** sampler,
                                                     kestrel_error** error) KESTREL_NOTHROW;
/// Every process that may be inspected, but for zombies. None where they can't be listed.
KESTREL_API kestrel_code kestrel_process_sampler_read(kestrel_process_sampler* sampler, kestrel_processes** processes,
                                                      kestrel_error** error) KESTREL_NOTHROW;
KESTREL_API void kestrel_process_sampler_free(kestrel_process_sampler* sampler) KESTREL_NOTHROW;
KESTREL_API size_t kestrel_processes_count(const kestrel_processes* processes) KESTREL_NOTHROW;
KESTREL_API const kestrel_process* kestrel_processes_at(const kestrel_processes* processes,
                                                        size_t index) KESTREL_NOTHROW;
KESTREL_API void kestrel_processes_free(kestrel_processes* processes) KESTREL_NOTHROW;

typedef int32_t kestrel_signal;
enum {
    KESTREL_SIGNAL_QUIT = 1,        ///< asks it to quit (SIGTERM)
    KESTREL_SIGNAL_FORCE_QUIT = 2,  ///< has the system end it (SIGKILL): it can save nothing then
    KESTREL_SIGNAL_FREEZE = 3,      ///< lets it stand still (SIGSTOP); it keeps what it holds
    KESTREL_SIGNAL_RESUME = 4       ///< lets it go on (SIGCONT)
};

/// Signals a sampled process once, and does not wait for it to be heard. The process is compared with the sample first:
/// an identifier that another executable runs by now is never signalled. KESTREL_SAFETY_VIOLATION for this process and
/// those that the system can't do without, KESTREL_STALE_ITEM where it has exited, KESTREL_UNAVAILABLE where the system
/// refuses.
KESTREL_API kestrel_code kestrel_processes_signal(const kestrel_processes* processes, size_t index,
                                                  kestrel_signal signal, kestrel_error** error) KESTREL_NOTHROW;

#ifdef __cplusplus
}
#endif
#endif
