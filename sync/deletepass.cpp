// The record of a deletion pass; see deletepass.h.
#include "sync/deletepass.h"

#include "catalogs/zebo_names.h"
#include "common/nls/nls.h"
#include "common/unx/nlsfmt.h"
#include "common/ut/trace.h"
#include "sync/visible.h"

namespace {

const char fn[] = "utDeleteFiles()";

std::string number(uint64_t value) {
    char text[40];
    nlFormatNumber64(value, text, sizeof text);
    return text;
}

}  // namespace

void UtDeletePass::collect(SyncList* syncList) {
    entries.clear();
    firstOpen = 0;
    ran = false;
    for (SyncList::Node* n = syncList->getFirst(); n != nullptr; n = syncList->getNext(n))
        if (n->element.picked != 0)
            entries.push_back({utObjectFacts(n->element), DEL_NOT_ATTEMPTED});
}

uint64_t UtDeletePass::markedBytes() const {
    uint64_t total = 0;
    for (const UtDeleteEntry& e : entries) total += e.object.size;
    return total;
}

size_t UtDeletePass::count(UtDeleteOutcome outcome) const {
    size_t n = 0;
    for (const UtDeleteEntry& e : entries)
        if (e.outcome == outcome) ++n;
    return n;
}

void UtDeletePass::endTransaction(bool committed, size_t upTo) {
    size_t done = 0;
    if (!committed)
        TRACE(TR_ORCLEVEL0, " %s: Transaction rolled back; these deletions were undone:\n", fn);
    for (size_t i = firstOpen; i < upTo && i < entries.size(); ++i) {
        if (entries[i].outcome != DEL_PENDING) continue;
        entries[i].outcome = committed ? DEL_COMMITTED : DEL_ROLLED_BACK;
        ++done;
        if (!committed)
            TRACE(TR_ORCLEVEL0, " %s: Rolled back: '%s' is still on the VLT Server\n", fn,
                  utVisibleText(entries[i].object.name.c_str()).c_str());
    }
    if (committed)
        TRACE(TR_ORCLEVEL0, " %s: Transaction committed: %lu deletions\n", fn,
              static_cast<unsigned long>(done));
    firstOpen = upTo;
}

const char* utOutcomeName(UtDeleteOutcome outcome) {
    switch (outcome) {
        case DEL_COMMITTED:
            return "committed";
        case DEL_ROLLED_BACK:
            return "rolled back";
        case DEL_FAILED:
            return "failed";
        case DEL_PENDING:
        case DEL_NOT_ATTEMPTED:
            break;
    }
    return "not attempted";
}

void utShowMarkedTotal(const UtDeletePass& pass) {
    nlMsg(MSG_MARKED_TOTAL, number(pass.entries.size()).c_str(),
          number(pass.markedBytes()).c_str());
}

void utShowDeleteSummary(const UtDeletePass& pass) {
    nlMsg(MSG_SEPARATOR);
    nlMsg(MSG_DELETED_TOTAL, number(pass.count(DEL_COMMITTED)).c_str());
    size_t rolledBack = pass.count(DEL_ROLLED_BACK);
    size_t notDeleted = pass.count(DEL_FAILED) + pass.count(DEL_NOT_ATTEMPTED);
    if (rolledBack > 0 || notDeleted > 0) {
        nlMsg(MSG_ROLLED_BACK, number(rolledBack).c_str());
        nlMsg(MSG_NOT_DELETED, number(notDeleted).c_str());
    }
    nlMsg(MSG_SEPARATOR);
}
