// The trace flag parser: blank-separated words, each a class name, an
// aggregate name or ALL, optionally negated with a leading "-".
#include <ctype.h>
#include <errno.h>
#include <stdio.h>
#include <string.h>

#include "common/ut/traceobj.h"

enum { TR_WORD_MAX = 256, TR_AGGREGATE_DEPTH = 16 };

static const TraceAggregateRow* trFindAggregate(const TraceAggregateRow* table, const char* name) {
    for (; table && table->name; table++)
        if (strcmp(table->name, name) == 0) return table;
    return nullptr;
}

static const TraceClassRow* trFindClass(const TraceClassRow* table, const char* name) {
    for (; table && table->name; table++)
        if (strcmp(table->name, name) == 0) return table;
    return nullptr;
}

// Applies the words of `words` with `setting`: each word switches to
// (setting and not negated), so the members of a negated aggregate are all
// switched off.
static int trParseWords(const char* words, int setting, int quiet, const TraceClassRow* classes,
                        const TraceAggregateRow* aggregates, int depth) {
    if (depth > TR_AGGREGATE_DEPTH) return -1;  // an aggregate that names itself
    const char* p = words;
    for (;;) {
        while (*p && isspace((unsigned char)*p)) p++;
        if (!*p) return 0;
        const char* start = p;
        while (*p && !isspace((unsigned char)*p)) p++;
        bool negated = *start == '-';
        if (negated) start++;
        char name[TR_WORD_MAX];
        size_t len = (size_t)(p - start);
        if (len >= sizeof name) len = sizeof name - 1;
        for (size_t i = 0; i < len; i++) name[i] = (char)toupper((unsigned char)start[i]);
        name[len] = '\0';
        unsigned char value = setting && !negated ? 1 : 0;

        if (strcmp(name, "ALL") == 0) {
            // Deliberately: ALL never changes the line prefix.
            for (const TraceClassRow* row = classes; row->name; row++)
                if (row->flag != &TR_TIMESTAMP && row->flag != &TR_PREFIX) *row->flag = value;
            TR_ALL = value;
            continue;
        }
        if (const TraceAggregateRow* aggregate = trFindAggregate(aggregates, name)) {
            if (trParseWords(aggregate->members, value, quiet, classes, aggregates, depth + 1) != 0)
                return -1;
            continue;
        }
        if (const TraceClassRow* row = trFindClass(classes, name)) {
            *row->flag = value;
            continue;
        }
        if (!quiet) printf("Invalid trace flag: %s\n", name);
        return -1;
    }
}

int trSetFlagsTables(const char* words, int quiet, TraceClassRow* classes,
                     TraceAggregateRow* aggregates) {
    TraceObject& t = traceObj;
    int savedErrno = errno;
    if (t.defaultsPending) {
        TR_PREFIX = 1;
        TR_TIMESTAMP = 1;
        t.defaultsPending = 0;
    }
    int rc = trParseWords(words ? words : "", 1, quiet, classes, aggregates, 0);
    if (rc == 0) {
        for (const TraceClassRow* row = classes; row->name; row++)
            if (row->commMark && *row->flag) t.commTracing = 1;
        t.flagsSet = 1;
    }
    errno = savedErrno;
    return rc;
}

int trSetFlags(const char* words, int quiet) {
    return trSetFlagsTables(words, quiet, ClassTable, AggregateTable);
}
