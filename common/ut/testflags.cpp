// The test-flag word-list parser, lookup, display and the clearing at trace
// creation.
#include "common/ut/testflags.h"

#include <ctype.h>
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum { TF_NAME_MAX = 256, TF_TEXT_MAX = 1279 };

int testFlagLookup(const char* name, const TestFlagRow* table) {
    char upper[TF_NAME_MAX];
    size_t len = strlen(name);
    if (len >= sizeof upper) return -1;
    for (size_t i = 0; i <= len; i++) upper[i] = (char)toupper((unsigned char)name[i]);
    for (int i = 0; table[i].name; i++)
        if (strcmp(table[i].name, upper) == 0) return i;
    return -1;
}

static void testFlagAssign(TestFlag* flag, int number, const char* text) {
    free(flag->text);
    flag->set = 1;
    flag->number = number;
    flag->text = text ? strdup(text) : nullptr;
}

static void testFlagClear(TestFlag* flag) {
    free(flag->text);
    flag->set = 0;
    flag->number = 0;
    flag->text = nullptr;
}

// Deliberately coupled: without consistent return codes the schedule
// commands' results are ignored and not shown.
static void testFlagsCouple() {
    if (!TEST_DISABLECONSISTENTRC.set) return;
    TEST_IGNOREPRESCHEDULECMD.set = 1;
    TEST_IGNOREPOSTSCHEDULECMD.set = 1;
    TEST_SHOWALLCONSISTENTRC.set = 0;
}

// Reads the value after "NAME:" at *p: a quoted text (which may hold blanks)
// or a decimal number that must fill the rest of the word. Advances *p past
// the value. False for a bad number.
static bool testFlagValue(const char** p, int* number, char* text, bool* hasText) {
    const char* s = *p;
    if (*s == '"') {
        s++;
        size_t n = 0;
        while (*s && *s != '"') {
            if (n < TF_TEXT_MAX) text[n++] = *s;
            s++;
        }
        text[n] = '\0';
        if (*s == '"') s++;
        *hasText = true;
        *p = s;
        return true;
    }
    const char* end = s;
    while (*end && !isspace((unsigned char)*end)) end++;
    char digits[32];
    size_t len = (size_t)(end - s);
    *p = end;
    if (len >= sizeof digits) return false;
    memcpy(digits, s, len);
    digits[len] = '\0';
    char* rest = nullptr;
    errno = 0;
    long value = strtol(digits, &rest, 10);
    if (*rest != '\0' || errno == ERANGE) return false;
    *number = (int)value;
    return true;
}

// Skips a value without reading it (INSTRUMENT takes none).
static void testFlagSkipValue(const char** p) {
    const char* s = *p;
    if (*s == '"') {
        s++;
        while (*s && *s != '"') s++;
        if (*s == '"') s++;
    }
    while (*s && !isspace((unsigned char)*s)) s++;
    *p = s;
}

int testFlagsSetTable(const char* words, TestFlagRow* table) {
    const char* p = words ? words : "";
    char text[TF_TEXT_MAX + 1];
    for (;;) {
        while (*p && isspace((unsigned char)*p)) p++;
        if (!*p) return 0;
        char name[TF_NAME_MAX];
        size_t len = 0;
        while (*p && *p != ':' && !isspace((unsigned char)*p)) {
            if (len < sizeof name - 1) name[len++] = (char)toupper((unsigned char)*p);
            p++;
        }
        name[len] = '\0';
        int number = 0;
        bool hasText = false;
        if (*p == ':') {
            p++;
            if (strcmp(name, "INSTRUMENT") == 0)
                testFlagSkipValue(&p);
            else if (!testFlagValue(&p, &number, text, &hasText))
                return -1;
        }
        const char* value = hasText ? text : nullptr;
        if (strcmp(name, "ALL") == 0) {
            for (TestFlagRow* row = table; row->name; row++)
                testFlagAssign(row->flag, number, value);
        } else {
            int index = testFlagLookup(name, table);
            if (index < 0) return -1;
            testFlagAssign(table[index].flag, number, value);
        }
        if (table == TestClassTable) testFlagsCouple();
    }
}

int testFlagsSet(const char* words) {
    return testFlagsSetTable(words, TestClassTable);
}

void testFlagsShow(const TestFlagRow* table) {
    for (const TestFlagRow* row = table; row->name; row++) {
        const TestFlag* f = row->flag;
        if (f->text)
            printf("%-28s %s %d \"%s\"\n", row->name, f->set ? "on " : "off", f->number, f->text);
        else
            printf("%-28s %s %d\n", row->name, f->set ? "on " : "off", f->number);
    }
}

void testFlagsClearAtTraceInit() {
    for (TestFlagRow* row = TestClassTable; row->name; row++) {
        testFlagClear(row->flag);
        if (row->flag == &TEST_NWSKIPTRUSTEECHECK) break;
    }
}
