// The message cache: two rings of parsed messages, most recently used first.
#include <stdlib.h>

#include "common/nls/nlscatalog.h"
#include "common/nls/nlsobject.h"
#include "common/unx/psenv.h"
#include "common/ut/trace.h"

namespace {

// A broken ring can only come from a fault elsewhere in the process; going
// on would format from freed memory.
void nlsAssert(bool ok, const char* what) {
    if (ok) return;
    TRACE(TR_NLS, "assertion failed: %s\n", what);
    abort();
}

}  // namespace

void nlsObject_t::AddList(NLSMsg** ring, NLSMsg* msg) {
    NLSMsg* head = *ring;
    if (!head) {
        msg->next = msg;
        msg->prev = msg;
    } else {
        msg->next = head;
        msg->prev = head->prev;
        head->prev->next = msg;
        head->prev = msg;
    }
    *ring = msg;
}

void nlsObject_t::DeleteList(NLSMsg** ring, NLSMsg* msg) {
    if (msg->next == msg) {
        *ring = nullptr;
    } else {
        msg->prev->next = msg->next;
        msg->next->prev = msg->prev;
        if (*ring == msg) *ring = msg->next;
    }
    msg->next = nullptr;
    msg->prev = nullptr;
}

NLSMsg* nlsObject_t::GetMsg(unsigned number) {
    TRACE(TR_NLS, "Searching for message number: %d\n", static_cast<int>(number));
    NLSMsg** ring = useEnglishOnce ? &englishRing : &userRing;
    int count = 0;
    if (NLSMsg* head = *ring) {
        NLSMsg* m = head;
        do {
            nlsAssert(m->next != nullptr, "nlsMsgP->next != __null");
            nlsAssert(m->prev != nullptr, "nlsMsgP->prev != __null");
            if (m->number == number) {
                TRACE(TR_NLS, "Found message: %d in cache.\n", static_cast<int>(number));
                DeleteList(ring, m);
                AddList(ring, m);
                useEnglishOnce = 0;
                return m;
            }
            ++count;
            m = m->next;
        } while (m != head);
    }

    NLSMsg* msg = nlReadMessage(this, number);
    if (!msg) {
        useEnglishOnce = 0;
        return nullptr;
    }
    if (count >= cacheLimit && *ring) {
        NLSMsg* oldest = (*ring)->prev;
        TRACE(TR_NLS, "Deleting message: %d from the cache.\n", static_cast<int>(oldest->number));
        DeleteList(ring, oldest);
        psAllocator.freeFn(oldest);
    }
    TRACE(TR_NLS, "Adding message: %d to the cache.\n", static_cast<int>(number));
    nlsAssert(msg->next == nullptr, "nlsMsgP->next == __null");
    AddList(ring, msg);
    useEnglishOnce = 0;
    return msg;
}

void nlsObject_t::FlushCache() {
    for (NLSMsg** ring : {&userRing, &englishRing}) {
        while (NLSMsg* m = *ring) {
            TRACE(TR_NLS, "Flushing cache entry for message: %d\n", static_cast<int>(m->number));
            DeleteList(ring, m);
            psAllocator.freeFn(m);
        }
    }
}
