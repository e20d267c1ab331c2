// What the tests of the C interface share. Everything here is C11 and C++11 at once.
#ifndef CHECK_H
#define CHECK_H

#ifndef _GNU_SOURCE
#define _GNU_SOURCE 1
#endif

#include <kestrel/kestrel.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

extern int failures;  // of all checks so far

// Says where a check fails, and goes on.
#define CHECK(condition) check((condition) ? 1 : 0, #condition, __FILE__, __LINE__)
void check(int holds, const char* what, const char* file, int line);
// Holds a call to its code; where it is another one the message is told. Frees the error.
#define CHECK_CODE(expected, call)                                                                                     \
    do {                                                                                                               \
        kestrel_error* error = NULL;                                                                                   \
        const kestrel_code code = (call);                                                                              \
        check_code((expected), code, error, #call, __FILE__, __LINE__);                                                \
    } while (0)
#define CHECK_OK(call) CHECK_CODE(KESTREL_OK, call)
void check_code(kestrel_code expected, kestrel_code code, kestrel_error* error, const char* what, const char* file,
                int line);

int is_text(kestrel_text text, const char* expected);

// The folder of this run, which is removed at its end: absolute, without links, and the home directory too.
extern char top[256];
// `top` and "/" and the name; four such texts live at once.
const char* in_top(const char* name);
void make_folder(const char* name);
// A file of that many bytes on the disk, 512 to the kibibyte or so.
void make_file(const char* name, size_t bytes);
int is_there(const char* name);
kestrel_snapshot* scanned(const char* name);
// The position of the record with that name; fails the run where there is none.
size_t index_of(const kestrel_records* records, const char* name);

void test_access(void);
void test_errors(void);
void test_scans(void);
void test_snapshots(void);
void test_history(void);
void test_deletion(void);
void test_suggestions(void);
void test_metrics(void);

#endif
