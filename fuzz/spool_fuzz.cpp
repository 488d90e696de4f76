// The spool loader on spool files as SQL*Plus, a damaged disk or another
// program could leave them, loaded into the real filename index.
//
// Invariant: the index holds exactly the keys that a reference reading
// gives, and in order. The reference reads the file in pieces as the loader
// does (up to a line end, at most 512 characters), takes each piece's first
// token (blanks, commas, tabs and line ends separate; one byte is one
// character in the C locale the target runs in), skips "Session", and adds
// for each token its joins with the run of full 80-character lines right
// before it, at most as many as make up the longest handle.
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include <set>
#include <string>
#include <vector>

#include "fuzz/fuzzcheck.h"
#include "sync/btree.h"
#include "sync/loadbtree.h"

namespace {

const size_t kWidth = 80;
const size_t kLongestRun = 1024 / 80;

std::set<std::string> reference(const std::string& spool) {
    std::set<std::string> keys;
    std::vector<std::string> run;  // full lines just before, oldest first
    size_t at = 0;
    while (at < spool.size()) {
        size_t end = spool.find('\n', at);
        end = end == std::string::npos ? spool.size() : end + 1;
        if (end - at > 512) end = at + 512;
        std::string piece = spool.substr(at, end - at);
        at = end;
        piece = piece.substr(0, strlen(piece.c_str()));
        size_t first = piece.find_first_not_of(" ,\n\t");
        if (first == std::string::npos) {
            run.clear();
            continue;
        }
        size_t last = piece.find_first_of(" ,\n\t", first);
        std::string token =
            piece.substr(first, last == std::string::npos ? std::string::npos : last - first);
        if (token != "Session") {
            std::string joined = token;
            keys.insert(joined);
            for (size_t i = run.size(); i-- > 0;) {
                joined = run[i] + joined;
                keys.insert(joined);
            }
        }
        if (token.size() == kWidth) {
            run.push_back(token);
            if (run.size() > kLongestRun) run.erase(run.begin());
        } else {
            run.clear();
        }
    }
    return keys;
}

void walk(const BTreeNode* node, std::vector<std::string>* out) {
    if (node == nullptr) return;
    FUZZ_CHECK(node->count >= 1 && node->count <= BT_MAX_KEYS, "node with %d keys", node->count);
    for (int i = 0; i < node->count; ++i) {
        walk(node->branch[i], out);
        const BTreeKey* key = node->key[i];
        FUZZ_CHECK(key != nullptr && key->data != nullptr, "empty slot %d", i);
        const char* text = static_cast<const char*>(key->data);
        FUZZ_CHECK(key->size == strlen(text) + 1, "key size %u for %zu characters", key->size,
                   strlen(text));
        out->push_back(text);
    }
    walk(node->branch[node->count], out);
}

std::string gPath;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    gPath = fuzzMakeScratchDir("zebo-fuzz-spool") + "/spool.lst";
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string spool = fuzzText(data, size);
    const char* path = gPath.c_str();
    FILE* file = fopen(path, "wb");
    if (file == nullptr) abort();
    fwrite(spool.data(), 1, spool.size(), file);
    fclose(file);

    BTree* index = utNewTree();
    FUZZ_CHECK(index != nullptr, "no tree");
    int rc = utLoadBTree(path, index);
    FUZZ_CHECK(rc == 0, "load failed with %d", rc);
    FUZZ_CHECK(access(path, F_OK) != 0, "spool file left behind");

    std::vector<std::string> held;
    walk(index->root, &held);
    for (size_t i = 1; i < held.size(); ++i)
        FUZZ_CHECK(strcmp(held[i - 1].c_str(), held[i].c_str()) < 0, "keys out of order at %zu", i);
    std::set<std::string> want = reference(spool);
    std::set<std::string> got(held.begin(), held.end());
    if (got != want) {
        for (const std::string& k : want)
            if (!got.count(k)) fprintf(stderr, "missing: '%s'\n", k.c_str());
        for (const std::string& k : got)
            if (!want.count(k)) fprintf(stderr, "extra: '%s'\n", k.c_str());
    }
    FUZZ_CHECK(got == want, "index holds %zu keys, reference %zu", got.size(), want.size());
    utDeleteTree(index);
    return 0;
}
