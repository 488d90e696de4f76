// The lower bound of a synchronisation run: the same spool loaded into a
// std::unordered_set, the same names looked up, nothing else. Timed as a
// whole process by scripts/bench.sh, like the program itself.
//
//   hashset_bench SPOOL NAMES
//
// Prints "keys=K names=N missing=M" on standard output.
#include <stdio.h>
#include <string.h>

#include <string>
#include <unordered_set>

int main(int argc, char** argv) {
    if (argc != 3) {
        fprintf(stderr, "usage: hashset_bench SPOOL NAMES\n");
        return 2;
    }
    std::unordered_set<std::string> keys;
    FILE* f = fopen(argv[1], "r");
    if (!f) return 1;
    char line[1025];
    while (fgets(line, sizeof line, f)) {
        char* save = nullptr;
        char* word = strtok_r(line, " ,\n\t", &save);
        if (word && strcmp(word, "Session") != 0) keys.emplace(word);
    }
    fclose(f);
    f = fopen(argv[2], "r");
    if (!f) return 1;
    unsigned long names = 0, missing = 0;
    std::string name;
    while (fgets(line, sizeof line, f)) {
        size_t n = strcspn(line, "\n");
        name.assign(line, n);
        ++names;
        if (keys.find(name) == keys.end()) ++missing;
    }
    fclose(f);
    printf("keys=%zu names=%lu missing=%lu\n", keys.size(), names, missing);
    return 0;
}
