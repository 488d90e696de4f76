// Answers typed at the pick list, on a model list of up to 63 entries:
// the commands (pkApplyCommand) and the entry numbers and ranges
// (ProcessAnswer). Input: the number of entries, the rows of a page, then
// one answer per line. A line that starts with "#" goes to ProcessAnswer
// directly with a count short of the list's end, as a list that grew after
// its count was taken.
//
// Invariants: the list keeps its entries; a mark is 0 or 1; entries past
// the count that ProcessAnswer was given never change; "+" marks every
// entry and "-" none; the page start stays on an entry, the scroll within
// 0..PK_MAX_OFFSET, and the cursor on the entry it names.
#include <ctype.h>
#include <string.h>

#include <string>
#include <vector>

#include "fuzz/fuzzcheck.h"
#include "sync/pkmarks.h"
#include "sync/pkmodel.h"

namespace {

std::vector<uint32_t> marks(SyncList* list) {
    std::vector<uint32_t> out;
    for (SyncList::Node* n = list->getFirst(); n != nullptr; n = list->getNext(n))
        out.push_back(n->element.picked);
    return out;
}

void checkModel(const PkModel& model, uint32_t entries) {
    FUZZ_CHECK(model.list->getCount() == entries, "list of %u entries now holds %u", entries,
               model.list->getCount());
    FUZZ_CHECK(model.firstShown >= 1 && model.firstShown <= (entries > 0 ? (int32_t)entries : 1),
               "page starts at %d of %u", model.firstShown, entries);
    FUZZ_CHECK(model.offset >= 0 && model.offset <= PK_MAX_OFFSET, "offset %d", model.offset);
    const PkCursor& c = model.cursor;
    if (c.node != nullptr) {
        FUZZ_CHECK(c.position >= 1 && c.position <= (int32_t)entries, "cursor at %d of %u",
                   c.position, entries);
        FUZZ_CHECK(gotoListElement(model.list, c.position) == c.node, "cursor at %d is not there",
                   c.position);
    }
    for (uint32_t m : marks(model.list)) FUZZ_CHECK(m == 0 || m == 1, "mark %u", m);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 2) return 0;
    uint32_t entries = data[0] % 64;
    int32_t rows = 1 + data[1] % 40;
    std::string answers = fuzzText(data + 2, size - 2);

    SyncList list;
    OrphanRecord record;
    memset(&record, 0, sizeof record);
    for (uint32_t i = 0; i < entries; ++i) {
        snprintf(record.name, sizeof record.name, "/fs/db/object%u", i + 1);
        if (list.addTail(record) != 0) return 0;
    }
    PkModel model;
    pkModelInit(&model, &list);
    model.step = rows;  // as drawing the first page sets it

    size_t start = 0;
    while (start <= answers.size()) {
        size_t end = answers.find('\n', start);
        if (end == std::string::npos) end = answers.size();
        std::string line = answers.substr(start, end - start);
        start = end + 1;
        line = line.substr(0, strlen(line.c_str()));
        size_t blanks = line.find_first_not_of(" \t");
        line = blanks == std::string::npos ? "" : line.substr(blanks);

        std::vector<uint32_t> before = marks(&list);
        if (!line.empty() && line[0] == '#') {
            int32_t count = static_cast<int32_t>(entries - entries / 4);
            ProcessAnswer(&list, line.c_str() + 1, count, &model.cursor);
            std::vector<uint32_t> after = marks(&list);
            for (uint32_t i = count; i < entries; ++i)
                FUZZ_CHECK(after[i] == before[i], "'%s' with count %d changed entry %u",
                           line.c_str() + 1, count, i + 1);
        } else {
            pkApplyCommand(&model, line.c_str());
            std::vector<uint32_t> after = marks(&list);
            char command = static_cast<char>(toupper(static_cast<unsigned char>(line[0])));
            for (uint32_t i = 0; i < entries; ++i) {
                if (command == '+') FUZZ_CHECK(after[i] == 1, "'+' left %u clear", i + 1);
                if (command == '-') FUZZ_CHECK(after[i] == 0, "'-' left %u marked", i + 1);
                if (strchr("BCDGLOQRTU", command) != nullptr && command != '\0')
                    FUZZ_CHECK(after[i] == before[i], "'%s' changed mark %u", line.c_str(), i + 1);
            }
        }
        model.step = rows;
        checkModel(model, entries);
    }
    list.freeAll();
    return 0;
}
