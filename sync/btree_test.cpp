#include "sync/btree.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "agent/zebomem.h"
#include "testing/seam.h"

namespace {

// Counts the blocks alive and fails the allocation numbered gFailAt.
long gAllocations = 0;
long gFailAt = 0;
long gLive = 0;
void* track(void* p) {
    return p ? (++gLive, p) : nullptr;
}
void* testMalloc(size_t n) {
    return ++gAllocations == gFailAt ? nullptr : track(malloc(n));
}
void* testCalloc(size_t c, size_t n) {
    return ++gAllocations == gFailAt ? nullptr : track(calloc(c, n));
}
void* testRealloc(void* p, size_t n) {
    return realloc(p, n);
}
void testFree(void* p) {
    if (p) --gLive;
    free(p);
}

// The keys in order, after checking the tree's shape: 1 to 5 keys per node
// (at least 2 below the root), every leaf at the same depth, used key slots
// exactly the first `count`, branches present exactly in inner nodes.
void walk(const BTreeNode* n, int depth, int* leafDepth, std::vector<std::string>* keys) {
    ASSERT_LE(n->count, BT_MAX_KEYS);
    ASSERT_GE(n->count, depth == 0 ? 1 : 2);
    const bool leaf = n->branch[0] == nullptr;
    for (int i = 0; i < BT_ORDER; ++i)
        ASSERT_EQ(n->branch[i] != nullptr, !leaf && i <= n->count) << "branch " << i;
    for (int i = 0; i < BT_MAX_KEYS; ++i) ASSERT_EQ(n->key[i]->data != nullptr, i < n->count);
    if (leaf) {
        if (*leafDepth < 0) *leafDepth = depth;
        ASSERT_EQ(depth, *leafDepth);
    }
    for (int i = 0; i <= n->count; ++i) {
        if (!leaf) walk(n->branch[i], depth + 1, leafDepth, keys);
        if (i < n->count) {
            const char* k = static_cast<const char*>(n->key[i]->data);
            ASSERT_EQ(n->key[i]->size, strlen(k) + 1);
            keys->push_back(k);
        }
    }
}

std::vector<std::string> contents(const BTree* tree) {
    std::vector<std::string> keys;
    int leafDepth = -1;
    if (tree->root) walk(tree->root, 0, &leafDepth, &keys);
    for (size_t i = 1; i < keys.size(); ++i) EXPECT_LT(keys[i - 1], keys[i]);
    return keys;
}

class BTreeTest : public ::testing::Test {
  protected:
    void SetUp() override {
        gAllocations = gFailAt = gLive = 0;
        tree = utNewTree();
        ASSERT_NE(tree, nullptr);
    }
    void TearDown() override {
        utDeleteTree(tree);
        EXPECT_EQ(gLive, 0) << "blocks left after the tree was deleted";
    }
    zebotest::ScopedSeam<PsAllocator> allocator_{psAllocator,
                                                 {testMalloc, testCalloc, testRealloc, testFree}};
    int insert(const std::string& key) {
        return IsertItem(tree, key.c_str(), static_cast<uint32_t>(key.size() + 1), utInsertFilename,
                         utFindFilename);
    }
    bool has(const std::string& key) {
        const char* found = static_cast<const char*>(SearchItem(tree, key.c_str(), utFindFilename));
        if (found) {
            EXPECT_STREQ(found, key.c_str());
        }
        return found != nullptr;
    }
    std::string keyText(const BTreeNode* n, int i) {
        return static_cast<const char*>(n->key[i]->data);
    }
    BTree* tree = nullptr;
};

TEST_F(BTreeTest, TheSixthKeySplitsTheRootIntoTwoAndThree) {
    EXPECT_FALSE(has("a"));
    // The new key lands right of the median (d e f) or left of it (a b c):
    // either way the left node keeps 2 keys and the right one gets 3.
    for (const char* order : {"abcdef", "bcdefa"}) {
        utDeleteTree(tree);
        tree = utNewTree();
        for (const char* c = order; *c; ++c) ASSERT_EQ(insert(std::string(1, *c)), BT_OK);
        const BTreeNode* root = tree->root;
        ASSERT_EQ(root->count, 1);
        EXPECT_EQ(keyText(root, 0), "c");
        EXPECT_EQ(root->rightLink, nullptr);
        const BTreeNode* left = root->branch[0];
        const BTreeNode* right = root->branch[1];
        ASSERT_EQ(left->count, 2);
        ASSERT_EQ(right->count, 3);
        EXPECT_EQ(keyText(left, 0) + keyText(left, 1), "ab");
        EXPECT_EQ(keyText(right, 0) + keyText(right, 1) + keyText(right, 2), "def");
        EXPECT_EQ(left->rightLink, right);
        EXPECT_EQ(contents(tree), (std::vector<std::string>{"a", "b", "c", "d", "e", "f"}));
    }
}

TEST_F(BTreeTest, DuplicatesAreRefusedAndCaseMatters) {
    EXPECT_EQ(insert("abc"), BT_OK);
    EXPECT_EQ(insert("abc"), DUP_VAL);
    EXPECT_FALSE(has("ABC"));
    EXPECT_EQ(insert("ABC"), BT_OK);
    EXPECT_EQ(contents(tree), (std::vector<std::string>{"ABC", "abc"}));
    EXPECT_EQ(utFindFilename("abc", "ABC"), bGreaterThan);
    EXPECT_EQ(utFindFilename("ABC", "abc"), bLessThan);
    EXPECT_EQ(utFindFilename("abc", "abc"), bEqualTo);
}

TEST_F(BTreeTest, RandomHandlesAgreeWithASet) {
    std::mt19937 rng(20110307);
    std::uniform_int_distribution<int> pick(0, 400000);
    std::set<std::string> model;
    auto handle = [&](int n) { return "c-" + std::to_string(n) + std::string(n % 7, 'x'); };
    for (int i = 0; i < 200000; ++i) {
        std::string key = handle(pick(rng));
        ASSERT_EQ(insert(key), model.insert(key).second ? BT_OK : DUP_VAL) << key;
    }
    for (const std::string& key : model) ASSERT_TRUE(has(key)) << key;
    for (int i = 0; i < 100000; ++i) {
        std::string key = handle(pick(rng));
        ASSERT_EQ(has(key), model.count(key) == 1) << key;
        ASSERT_FALSE(has(key + "!"));
    }
    std::vector<std::string> keys = contents(tree);
    EXPECT_TRUE(std::equal(keys.begin(), keys.end(), model.begin(), model.end()));
}

// Every allocation of every insertion is made to fail once: the insertion
// returns 10 and the tree is exactly as before, then the next attempt goes on.
TEST_F(BTreeTest, OutOfMemoryLeavesTheTreeAsItWas) {
    std::mt19937 rng(7);
    std::set<std::string> model;
    int failures = 0;
    for (int i = 0; i < 400; ++i) {
        std::string key = "h" + std::to_string(rng() % 100000);
        if (model.count(key)) continue;
        for (long failAt = 1;; ++failAt) {
            gAllocations = 0;
            gFailAt = failAt;
            int rc = insert(key);
            gFailAt = 0;
            if (rc == BT_OK) break;
            ASSERT_EQ(rc, BT_NO_MEMORY);
            ++failures;
            ASSERT_FALSE(has(key));
            std::vector<std::string> keys = contents(tree);
            ASSERT_TRUE(std::equal(keys.begin(), keys.end(), model.begin(), model.end()));
        }
        model.insert(key);
    }
    EXPECT_GT(failures, 1000);  // splits up to the root were among them
    std::vector<std::string> keys = contents(tree);
    EXPECT_TRUE(std::equal(keys.begin(), keys.end(), model.begin(), model.end()));
}

// A stray block in the slot that the next key must move into: the insertion
// is refused and the node keeps its keys.
TEST_F(BTreeTest, AnOccupiedFreeSlotIsRefused) {
    ASSERT_EQ(insert("m"), BT_OK);
    void* stray = malloc(4);
    tree->root->key[1]->data = stray;
    EXPECT_EQ(insert("z"), BT_BAD_SLOT);
    EXPECT_EQ(tree->root->count, 1);
    tree->root->key[1]->data = nullptr;
    free(stray);
    EXPECT_EQ(insert("z"), BT_OK);
    EXPECT_EQ(contents(tree), (std::vector<std::string>{"m", "z"}));
}

}  // namespace
