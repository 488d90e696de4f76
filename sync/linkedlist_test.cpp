#include "sync/linkedlist.h"

#include <gtest/gtest.h>
#include <stdio.h>

#include <list>
#include <random>
#include <string>
#include <vector>

#include "testing/testutil.h"

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

TEST(LinkedListTest, RemovingTheOnlyNodeOrTheHeadOfTwo) {
    CLinkedList<Record> list;
    ASSERT_EQ(list.addTail(record(1)), 0);
    list.remove(list.getFirst());
    EXPECT_EQ(list.head(), nullptr);
    EXPECT_EQ(list.tail(), nullptr);
    EXPECT_EQ(list.getCount(), 0u);

    ASSERT_EQ(list.addTail(record(2)), 0);
    ASSERT_EQ(list.addTail(record(3)), 0);
    list.remove(list.getFirst());
    ASSERT_NE(list.head(), nullptr);
    EXPECT_EQ(list.head(), list.tail());
    EXPECT_EQ(list.head()->element.id, 3);
    EXPECT_EQ(list.head()->pPrevious, nullptr);
    EXPECT_EQ(list.getCount(), 1u);
}

TEST(LinkedListTest, FreeAllOnAnEmptyListCallsNoCallback) {
    gReleased.clear();
    CLinkedList<Record> list(noteRelease);
    list.freeAll();
    EXPECT_TRUE(gReleased.empty());
    ASSERT_EQ(list.addTail(record(4)), 0);
    list.freeAll();
    list.freeAll();
    EXPECT_EQ(gReleased, std::vector<int>{4});
    EXPECT_EQ(list.getFirst(), nullptr);
}

void* refuse(size_t) {
    return nullptr;
}

// Trace lines, the allocation failure among them, with the list's pointers.
TEST(LinkedListTest, TracesEveryOperation) {
    zebotest::TempDir dir;
    std::string path = dir.file("trace.out");
    trcInit(0, 0, 0);
    ASSERT_EQ(trOpen(path.c_str(), 0), 0);
    TR_LINKEDLIST = 1;
    auto hex = [](const void* p) {
        char buf[32];
        snprintf(buf, sizeof buf, "%#x", llTraceAddress(p));
        return std::string(buf);
    };
    std::vector<std::string> expected;
    {
        CLinkedList<Record> list;
        std::string self = hex(&list);
        expected.push_back("Enter CLinkedList::CLinkedList() - " + self + "\n");
        ASSERT_EQ(list.addTail(record(1)), 0);
        ASSERT_EQ(list.addTail(record(2)), 0);
        auto* first = list.head();
        auto* second = list.tail();
        void* (*saved)(size_t) = llNodeAllocate;
        llNodeAllocate = refuse;
        EXPECT_EQ(list.addTail(record(3)), LL_NO_MEMORY);
        llNodeAllocate = saved;
        EXPECT_EQ(list.getCount(), 2u);
        EXPECT_EQ(list.tail(), second);
        expected.push_back(
            "Insufficent memory, NEW() failed.\nExit CLinkedList::addTail(), rc = 102\n"
            "  m_pHead: " +
            hex(first) + "\n  m_pTail: " + hex(second) + "\n");
        EXPECT_EQ(list.getNext(list.getFirst()), second);
        expected.push_back("Enter CLinkedList::getNext() - " + self + "\n  pData: " + hex(first) +
                           "\nExit CLinkedList::getNext(), pNext = " + hex(second) + "\n");
        list.remove(first);
        expected.push_back(
            "Enter CLinkedList::remove() - " + self + "\n  pData              : " + hex(first) +
            "\n  m_pHead            : " + hex(first) + "\n  m_pTail            : " + hex(second) +
            "\n  pElement->pPrevious: 0\n  pElement->pNext    : " + hex(second) +
            "\nExit CLinkedList::remove(), pNext = " + hex(second) +
            "\n  m_pHead                : " + hex(second) + "\n  m_pTail                : " +
            hex(second) + "\n  pNext->pPrevious       : 0\n  pNext->pPrevious->pNext: 0\n");
        expected.push_back("Enter CLinkedList::freeAll() - " + self +
                           "\n  m_pHead: " + hex(second) + "\n  m_pTail: " + hex(second) +
                           "\nExit CLinkedList::freeAll(), rc = 0\n  m_pHead: 0\n  m_pTail: 0\n"
                           "Exit CLinkedList::~CLinkedList(), rc (not returned to caller) = 0\n");
    }
    trClose(1);
    std::string text = zebotest::readFile(path);
    for (const std::string& part : expected) EXPECT_NE(text.find(part), std::string::npos) << part;
}

}  // namespace
