// Benchmark driver for the pick list: builds a list of N orphans in memory
// and runs the pick list over it with the commands read from standard input,
// so that a script can time whole runs (opening, marking everything, a range
// over the whole list, paging to the bottom, many redraws) for growing N.
//
//   picklist_bench N CATALOG_DIR < commands > /dev/null
//
// Prints "entries=N marked=M result=R" on standard error.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "common/nls/nls.h"
#include "sync/orphan.h"
#include "sync/picklist.h"

int main(int argc, char** argv) {
    if (argc != 3) {
        fprintf(stderr, "usage: picklist_bench N CATALOG_DIR < commands\n");
        return 2;
    }
    long count = atol(argv[1]);
    nlsObject_t* nls = newNlsGlobalObject(nullptr, 0);
    nlSetPrefix(nls, "QEV");
    if (nlInit("zebo.cat", 10, "", argv[2], "", 0, 'D', 100, 'S', NL_APP_AGENT, 1, 1, 1, nullptr,
               "zebo.cat") != 0) {
        fprintf(stderr, "picklist_bench: no catalogs in %s\n", argv[2]);
        return 2;
    }

    SyncList list;
    OrphanRecord record;
    memset(&record, 0, sizeof record);
    strcpy(record.id, "BENCHNODE");
    for (long n = 1; n <= count; ++n) {
        snprintf(record.name, sizeof record.name, "/koruorc/db1/piece_%ld_of_%ld", n, count);
        record.objIdLo = static_cast<uint32_t>(n);
        record.insYear = 2024;
        record.insMonth = 1 + n % 12;
        record.insDay = 1 + n % 28;
        record.sizeLo = static_cast<uint32_t>(n * 4096);
        if (list.addTail(record) != 0) {
            fprintf(stderr, "picklist_bench: out of memory at %ld\n", n);
            return 1;
        }
    }

    int16_t result = pkPickHandle(&list);
    long marked = 0;
    for (SyncList::Node* node = list.head(); node; node = node->pNext)
        marked += node->element.picked;
    fprintf(stderr, "entries=%ld marked=%ld result=%d\n", count, marked, result);
    nlFreeRepository();
    return 0;
}
