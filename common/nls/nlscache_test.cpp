// The message cache, seen from outside as catalog reads.
#include <stdlib.h>

#include "common/nls/nlscatalog.h"
#include "common/nls/nlsobject.h"
#include "common/nls/nlstestutil.h"
#include "common/ut/trace.h"
#include "common/ut/traceclasses.h"

namespace {

class NlsCacheTest : public NlsTest {
  protected:
    // Formats a message without inserts; returns the catalog reads it cost.
    unsigned long show(unsigned number) {
        unsigned long before = nlCatalogReads;
        char* t = nlFormatText(number, "x");
        EXPECT_NE(nullptr, t) << number;
        free(t);
        return nlCatalogReads - before;
    }

    // The user ring's numbers from the most recently used on.
    static std::vector<unsigned> ring() {
        std::vector<unsigned> numbers;
        NLSMsg* head = nlGetGlobalObject()->userRing;
        if (!head) return numbers;
        NLSMsg* m = head;
        do {
            numbers.push_back(m->number);
            EXPECT_EQ(m, m->next->prev);
            m = m->next;
        } while (m != head);
        return numbers;
    }
};

const unsigned kMessages[] = {2, 3, 4, 100, 102, 103, 104, 105, 131, 156, 2522};

TEST_F(NlsCacheTest, EleventhMessageEvictsTheLeastRecentlyUsed) {
    trcInit(4, 0, 0);
    std::string trace = tmp.file("trace.out");
    ASSERT_EQ(0, trOpen(trace.c_str(), 0));
    TR_NLS = 1;
    ASSERT_EQ(0, init("zebo.cat", catalogs()));
    for (int i = 0; i < 10; ++i) EXPECT_EQ(1u, show(kMessages[i]));
    EXPECT_EQ(10u, ring().size());
    EXPECT_EQ(0u, show(kMessages[0]));  // a hit moves 2 to the head
    EXPECT_EQ(kMessages[0], ring().front());
    EXPECT_EQ(1u, show(kMessages[10]));  // evicts 3, now the least recently used
    EXPECT_EQ(10u, ring().size());
    EXPECT_EQ(0u, show(kMessages[0]));
    EXPECT_EQ(1u, show(kMessages[1]));  // read again
    EXPECT_EQ(0u, show(kMessages[1]));  // and then served from the cache
    std::vector<unsigned> want = {3, 2, 2522, 156, 131, 105, 104, 103, 102, 100};
    EXPECT_EQ(want, ring());
    TR_NLS = 0;
    trClose(1);
    std::string text = zebotest::readFile(trace);
    EXPECT_NE(std::string::npos, text.find("Found message: 2 in cache."));
    EXPECT_NE(std::string::npos, text.find("Deleting message: 3 from the cache."));
    EXPECT_NE(std::string::npos, text.find("Adding message: 2522 to the cache."));
    EXPECT_EQ(std::string::npos, text.find("Deleting message: 2 from the cache."));
}

TEST_F(NlsCacheTest, MissingMessagesAreNotCachedAndLimitIsPerRing) {
    ASSERT_EQ(0, init("zebo.cat", catalogs(), NL_APP_AGENT, nullptr, 2));
    EXPECT_EQ(1u, show(2));
    EXPECT_EQ(1u, show(3));
    char* t = nlFormatText(9998);
    EXPECT_EQ(nullptr, t);
    EXPECT_EQ(2u, ring().size());
    unsigned long before = nlCatalogReads;
    EXPECT_EQ(nullptr, nlFormatText(9998));  // read again: nothing was kept
    EXPECT_EQ(before + 1, nlCatalogReads);
    std::vector<unsigned> want = {3, 2};
    EXPECT_EQ(want, ring());
    EXPECT_EQ(2u, captured().size());  // QES9999E both times
}

}  // namespace
