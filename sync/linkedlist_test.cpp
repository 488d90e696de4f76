#include "sync/linkedlist.h"

#include <gtest/gtest.h>
#include <stdio.h>

#include <list>
#include <random>
#include <string>
#include <vector>

#include "testing/seam.h"

namespace {

struct Record {
    int id;
    char name[12];
};

std::vector<int> gReleased;
void noteRelease(Record r) {
    gReleased.push_back(r.id);
}

Record record(int id) {
    Record r = {id, {}};
    snprintf(r.name, sizeof r.name, "r%d", id);
    return r;
}

// The list read forwards and backwards must both match the model.
void expectSame(const CLinkedList<Record>& list, const std::list<int>& model) {
    std::vector<int> forward, backward;
    for (auto* n = list.head(); n; n = n->pNext) forward.push_back(n->element.id);
    for (auto* n = list.tail(); n; n = n->pPrevious)
        backward.insert(backward.begin(), n->element.id);
    std::vector<int> expected(model.begin(), model.end());
    ASSERT_EQ(forward, expected);
    ASSERT_EQ(backward, expected);
    ASSERT_EQ(list.getCount(), model.size());
    if (list.head()) {
        ASSERT_EQ(list.head()->pPrevious, nullptr);
        ASSERT_EQ(list.tail()->pNext, nullptr);
    }
}

// The early steps empty the list and remove the head of two several times.
TEST(LinkedListTest, RandomAddsAndRemovesAgreeWithStdList) {
    gReleased.clear();
    std::mt19937 rng(1990);
    std::list<int> model;
    std::vector<int> removed;
    {
        CLinkedList<Record> list(noteRelease);
        for (int step = 0; step < 5000; ++step) {
            if (model.empty() || rng() % 5 < 3) {
                ASSERT_EQ(list.addTail(record(step)), 0);
                model.push_back(step);
            } else {
                size_t at = rng() % model.size();
                auto* n = list.getFirst();
                for (size_t i = 0; i < at; ++i) n = list.getNext(n);
                auto* next = list.getNext(n);
                ASSERT_STREQ(n->element.name, ("r" + std::to_string(n->element.id)).c_str());
                removed.push_back(n->element.id);
                list.remove(n);
                auto it = model.begin();
                std::advance(it, at);
                it = model.erase(it);
                ASSERT_EQ(next ? next->element.id : -1, it == model.end() ? -1 : *it);
            }
            expectSame(list, model);
        }
        ASSERT_EQ(gReleased, removed);
        removed.insert(removed.end(), model.begin(), model.end());
    }
    EXPECT_EQ(gReleased, removed);  // the destructor released the rest in order
}

TEST(LinkedListTest, FreeAllAndAFailedAddLeaveTheListWhole) {
    gReleased.clear();
    CLinkedList<Record> list(noteRelease);
    list.freeAll();
    EXPECT_TRUE(gReleased.empty());
    ASSERT_EQ(list.addTail(record(4)), 0);
    // No node for the second record: the list stays as it was.
    {
        zebotest::RefusedAllocation noNode(sizeof(CLinkedList<Record>::Node));
        EXPECT_EQ(list.addTail(record(5)), LL_NO_MEMORY);
    }
    expectSame(list, {4});
    list.freeAll();
    list.freeAll();
    EXPECT_EQ(gReleased, std::vector<int>{4});
    EXPECT_EQ(list.getFirst(), nullptr);
}

}  // namespace
