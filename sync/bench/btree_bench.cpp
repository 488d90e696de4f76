// The filename index driven directly: the spool's keys, already in memory,
// inserted with IsertItem; then the server's names looked up with
// SearchItem; then the tree released. Each step is timed on its own, so
// that scripts/bench.sh can set the program's load and matching phases
// against the index's own work.
//
//   btree_bench SPOOL NAMES
//
// Prints "insert_s=... lookup_s=... release_s=... missing=M".
#include <stdio.h>

#include "sync/bench/spoolkeys.h"
#include "sync/btree.h"

int main(int argc, char** argv) {
    if (argc != 3) {
        fprintf(stderr, "usage: btree_bench SPOOL NAMES\n");
        return 2;
    }
    std::vector<std::string> keys, names;
    if (!benchReadWords(argv[1], true, &keys) || !benchReadWords(argv[2], false, &names)) {
        fprintf(stderr, "btree_bench: cannot read the input files\n");
        return 1;
    }
    BTree* tree = utNewTree();
    double t0 = benchNow();
    for (const std::string& k : keys) {
        int rc = IsertItem(tree, k.c_str(), static_cast<uint32_t>(k.size() + 1), utInsertFilename,
                           utFindFilename);
        if (rc != 0 && rc != DUP_VAL) return 1;
    }
    double t1 = benchNow();
    unsigned long missing = 0;
    for (const std::string& n : names)
        if (!SearchItem(tree, n.c_str(), utFindFilename)) ++missing;
    double t2 = benchNow();
    utDeleteTree(tree);
    double t3 = benchNow();
    printf("insert_s=%.3f lookup_s=%.3f release_s=%.3f missing=%lu\n", t1 - t0, t2 - t1, t3 - t2,
           missing);
    return 0;
}
