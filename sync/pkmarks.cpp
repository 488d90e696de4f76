// Marks of the pick list; see pkmarks.h.
#include "sync/pkmarks.h"

#include <stdlib.h>

#include "common/ut/trace.h"

namespace {

const char* const gotoName = "gotoListElement()";

SyncList::Node* walkForward(SyncList::Node* node, int32_t steps) {
    while (steps-- > 0) node = node->pNext;
    return node;
}

SyncList::Node* walkBack(SyncList::Node* node, int32_t steps) {
    while (steps-- > 0) node = node->pPrevious;
    return node;
}

}  // namespace

void pkCursorInit(PkCursor* cursor, SyncList* list) {
    cursor->list = list;
    cursor->node = nullptr;
    cursor->position = 0;
}

SyncList::Node* pkCursorGoto(PkCursor* cursor, int32_t number) {
    TRACE(TR_ORCLEVEL1, " %s: Enter\n", gotoName);
    int32_t count = static_cast<int32_t>(cursor->list->getCount());
    if (number < 1 || number > count) {
        TRACE(TR_ORCLEVEL1, " %s: Exit - no element %d\n\n", gotoName, number);
        return nullptr;
    }
    // Start from whichever known node is nearest: head, tail or the last one
    // reached.
    SyncList::Node* node = cursor->list->head();
    int32_t from = 1;
    if (count - number < number - 1) {
        node = cursor->list->tail();
        from = count;
    }
    if (cursor->node && abs(cursor->position - number) < abs(from - number)) {
        node = cursor->node;
        from = cursor->position;
    }
    node = number >= from ? walkForward(node, number - from) : walkBack(node, from - number);
    cursor->node = node;
    cursor->position = number;
    TRACE(TR_ORCLEVEL1, " %s: Exit - OK\n\n", gotoName);
    return node;
}

SyncList::Node* gotoListElement(SyncList* list, int32_t number) {
    TRACE(TR_ORCLEVEL1, " %s: Enter\n", gotoName);
    if (number < 1 || number > static_cast<int32_t>(list->getCount())) {
        TRACE(TR_ORCLEVEL1, " %s: Exit - no element %d\n\n", gotoName, number);
        return nullptr;
    }
    SyncList::Node* node = walkForward(list->head(), number - 1);
    TRACE(TR_ORCLEVEL1, " %s: Exit - OK\n\n", gotoName);
    return node;
}

void pkHighlightEntry(SyncList* list, int32_t number, int32_t count, int mode, PkCursor* cursor) {
    static const char* const fn = "pkHighlightEntry()";
    TRACE(TR_ORCLEVEL1, " %s: Enter\n", fn);
    if (number > count) {
        TRACE(TR_ORCLEVEL0, " %s: Exit - Value out of range Value: %d\n\n", fn, number);
        return;
    }
    SyncList::Node* node = cursor ? pkCursorGoto(cursor, number) : gotoListElement(list, number);
    if (node == nullptr) {
        // A count larger than the list: the entry does not exist after all.
        TRACE(TR_ORCLEVEL0, " %s: Exit - Value out of range Value: %d\n\n", fn, number);
        return;
    }
    uint32_t& picked = node->element.picked;
    switch (mode) {
        case PK_MARK_SET:
            picked = 1;
            break;
        case PK_MARK_FLIP:
            picked = picked ? 0 : 1;
            break;
        default:
            picked = 0;
            break;
    }
    TRACE(TR_ORCLEVEL1, " %s: Exit - OK\n\n", fn);
}

void pkMarkAll(PkCursor* cursor, int mode) {
    int32_t count = static_cast<int32_t>(cursor->list->getCount());
    for (int32_t number = 1; number <= count; ++number)
        pkHighlightEntry(cursor->list, number, count, mode, cursor);
}

void pkInitEntries(SyncList* list) {
    static const char* const fn = "pkInitEntries()";
    TRACE(TR_ORCLEVEL1, " %s: Enter\n", fn);
    PkCursor cursor;
    pkCursorInit(&cursor, list);
    pkMarkAll(&cursor, PK_MARK_CLEAR);
    TRACE(TR_ORCLEVEL2, " %s: Number of files in linked list: %d\n\n", fn,
          static_cast<int>(list->getCount()));
    TRACE(TR_ORCLEVEL1, " %s: Exit - OK\n\n", fn);
}
