// Support for the pick list's tests; see picklist_testutil.h.
#include "sync/picklist_testutil.h"

#include <string.h>

#include "sync/consoleline.h"

namespace pktest {

namespace {

struct FakeState {
    int rows = 0;
    int cols = 0;
    int clears = 0;
    std::vector<std::vector<std::string>> pages;
};
FakeState fake;

void fakeSize(int* rows, int* cols) {
    *rows = fake.rows;
    *cols = fake.cols;
}

int fakeClear() {
    ++fake.clears;
    return 0;
}

void fakeShow(const std::vector<std::string>& lines) {
    fake.pages.push_back(lines);
}

}  // namespace

void fillList(SyncList* list, int count, const char* owner) {
    for (int n = 1; n <= count; ++n) {
        OrphanRecord record;
        memset(&record, 0, sizeof record);
        snprintf(record.name, sizeof record.name, "/fs/hl/obj%d", n);
        snprintf(record.id, sizeof record.id, "NODE1");
        snprintf(record.owner, sizeof record.owner, "%s", owner);
        record.objIdLo = n;
        record.sizeLo = n * 1000;
        record.insYear = 2024;
        record.insMonth = 3;
        record.insDay = static_cast<uint8_t>(n % 28 + 1);
        record.insHour = 10;
        record.insMinute = 20;
        record.insSecond = 30;
        list->addTail(record);
    }
}

std::string marked(SyncList* list) {
    std::string text;
    for (SyncList::Node* node = list->head(); node; node = node->pNext) {
        if (!node->element.picked) continue;
        if (!text.empty()) text += ' ';
        text += strstr(node->element.name, "obj") + 3;
    }
    return text;
}

void mark(SyncList* list, const std::vector<int>& wanted) {
    int number = 1;
    for (SyncList::Node* node = list->head(); node; node = node->pNext, ++number)
        for (int n : wanted)
            if (n == number) node->element.picked = 1;
}

FakeTerminal::FakeTerminal(int rows, int cols, const std::string& answers) : saved_(pkTerminal) {
    fake = FakeState();
    fake.rows = rows;
    fake.cols = cols;
    pkTerminal = {fakeSize, fakeClear, fakeShow};
    input_ = tmpfile();
    fputs(answers.c_str(), input_);
    rewind(input_);
    savedInput_ = zeboSetConsoleInput(input_);
}

FakeTerminal::~FakeTerminal() {
    pkTerminal = saved_;
    zeboSetConsoleInput(savedInput_);
    fclose(input_);
}

const std::vector<std::vector<std::string>>& FakeTerminal::pages() const {
    return fake.pages;
}

int FakeTerminal::clears() const {
    return fake.clears;
}

}  // namespace pktest
