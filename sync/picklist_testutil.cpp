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

// The numbers n of the entries named "...obj<n>", marked ones only or all.
std::string numbers(SyncList* list, bool onlyMarked) {
    std::string text;
    for (SyncList::Node* node = list->head(); node; node = node->pNext) {
        if (onlyMarked && !node->element.picked) continue;
        const char* digits = strstr(node->element.name, "obj");
        if (!text.empty()) text += ' ';
        text += digits ? digits + 3 : "?";
    }
    return text;
}

}  // namespace

void fillList(SyncList* list, int count, const char* owner) {
    for (int n = 1; n <= count; ++n) {
        OrphanRecord record;
        memset(&record, 0, sizeof record);
        snprintf(record.name, sizeof record.name, "/fs/hl/obj%d", n);
        snprintf(record.id, sizeof record.id, "NODE1");
        snprintf(record.owner, sizeof record.owner, "%s", owner);
        record.objIdHi = 0;
        record.objIdLo = n;
        record.insYear = 2024;
        record.insMonth = 3;
        record.insDay = static_cast<uint8_t>(n % 28 + 1);
        record.insHour = 10;
        record.insMinute = 20;
        record.insSecond = 30;
        uint64_t size = static_cast<uint64_t>(n) * 1000;
        record.sizeHi = static_cast<uint32_t>(size >> 32);
        record.sizeLo = static_cast<uint32_t>(size);
        list->addTail(record);
    }
}

std::string marked(SyncList* list) {
    return numbers(list, true);
}
std::string remaining(SyncList* list) {
    return numbers(list, false);
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

const std::vector<std::string>& FakeTerminal::lastPage() const {
    static const std::vector<std::string> none;
    return fake.pages.empty() ? none : fake.pages.back();
}

int FakeTerminal::clears() const {
    return fake.clears;
}

}  // namespace pktest
