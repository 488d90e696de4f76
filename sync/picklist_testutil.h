// Support for the pick list's tests: orphan lists made up in memory, the
// marks of a list as text, and a terminal of fixed size that keeps the
// pages drawn instead of showing them.
#ifndef ZEBO_SYNC_PICKLIST_TESTUTIL_H
#define ZEBO_SYNC_PICKLIST_TESTUTIL_H

#include <stdio.h>

#include <string>
#include <vector>

#include "sync/orphan.h"
#include "sync/picklist.h"

namespace pktest {

// Appends `count` orphans named "/fs/hl/obj<n>" (n from 1), all of one
// session node id "NODE1" and the given owner, inserted on 2024-03-<n%28+1>
// 10:20:30 with a size of n * 1000 bytes.
void fillList(SyncList* list, int count, const char* owner = "");

// The numbers n ("obj<n>") of the marked entries, blank-separated ("3 4 5").
std::string marked(SyncList* list);

// Marks the entries with the given numbers directly.
void mark(SyncList* list, const std::vector<int>& numbers);

// While it lives, the pick list sees a terminal of rows x cols (as the
// console reports them), clears nothing, and keeps every page drawn; its
// answers are read from `answers` (a line per answer).
class FakeTerminal {
  public:
    FakeTerminal(int rows, int cols, const std::string& answers);
    ~FakeTerminal();
    FakeTerminal(const FakeTerminal&) = delete;
    FakeTerminal& operator=(const FakeTerminal&) = delete;

    const std::vector<std::vector<std::string>>& pages() const;
    int clears() const;

  private:
    PkTerminal saved_;
    FILE* input_;
    FILE* savedInput_;
};

}  // namespace pktest

#endif
