#include "sync/btree.h"

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include "agent/zebomem.h"
#include "common/ut/trace.h"
#include "sync/phasetime.h"

namespace {

// The allocator keeps a block's size just in front of it, and free() reads
// it first. Only a hint: an address that is no block costs nothing.
inline void prefetchBlockHeader(const void* block) {
    __builtin_prefetch(
        reinterpret_cast<const void*>(reinterpret_cast<uintptr_t>(block) - sizeof(size_t)), 1);
}

// The deepest tree an insertion handles. Every node but the root holds at
// least 2 keys, so a tree this deep would hold far more than 3^38 keys.
const int kMaxDepth = 40;

// What one insertion changed, so that a failure can put the tree back as it
// was: the nodes as they were before their first change, the nodes and key
// blocks it allocated (released on failure) and the key blocks it moved out
// of their slots (released only on success).
struct Journal {
    struct Saved {
        BTreeNode* node;
        BTreeNode shape;
        BTreeKey keys[BT_MAX_KEYS];
    };
    Saved saved[kMaxDepth + 1];
    int savedCount = 0;
    BTreeNode* created[kMaxDepth + 1];
    int createdCount = 0;
    void* fresh[(BT_MAX_KEYS + 1) * (kMaxDepth + 1)];
    int freshCount = 0;
    void* stale[(BT_MAX_KEYS + 1) * (kMaxDepth + 1)];
    int staleCount = 0;
};

bool isCreated(const Journal* j, const BTreeNode* node) {
    for (int i = 0; i < j->createdCount; ++i)
        if (j->created[i] == node) return true;
    return false;
}

// Records the node before its first change in this insertion. A node made by
// the insertion itself is discarded whole on failure and needs no record.
void journalSave(Journal* j, BTreeNode* node) {
    if (isCreated(j, node)) return;
    for (int i = 0; i < j->savedCount; ++i)
        if (j->saved[i].node == node) return;
    Journal::Saved& s = j->saved[j->savedCount++];
    s.node = node;
    s.shape = *node;
    for (int i = 0; i < BT_MAX_KEYS; ++i) s.keys[i] = *node->key[i];
}

// A node and its 5 key items, without the keys' data.
void releaseShell(BTreeNode* node) {
    for (int i = 0; i < BT_MAX_KEYS; ++i)
        if (node->key[i]) FREE(&node->key[i], __FILE__, __LINE__);
    FREE(&node, __FILE__, __LINE__);
}

void journalUndo(Journal* j) {
    for (int i = j->savedCount - 1; i >= 0; --i) {
        Journal::Saved& s = j->saved[i];
        *s.node = s.shape;
        for (int k = 0; k < BT_MAX_KEYS; ++k) *s.node->key[k] = s.keys[k];
    }
    for (int i = 0; i < j->createdCount; ++i) releaseShell(j->created[i]);
    for (int i = 0; i < j->freshCount; ++i) FREE(&j->fresh[i], __FILE__, __LINE__);
}

void journalCommit(Journal* j) {
    for (int i = 0; i < j->staleCount; ++i) FREE(&j->stale[i], __FILE__, __LINE__);
}

// A node with its 5 key items, all empty; null when there is no memory.
BTreeNode* newNode(Journal* j) {
    BTreeNode* node = static_cast<BTreeNode*>(CALLOC(__FILE__, __LINE__, 1, sizeof(BTreeNode)));
    if (!node) return nullptr;
    for (int i = 0; i < BT_MAX_KEYS; ++i) {
        node->key[i] = static_cast<BTreeKey*>(CALLOC(__FILE__, __LINE__, 1, sizeof(BTreeKey)));
        if (!node->key[i]) {
            releaseShell(node);
            return nullptr;
        }
    }
    j->created[j->createdCount++] = node;
    return node;
}

// Puts a copy of `source` into the empty slot `destination`.
int copyKey(BTree* tree, Journal* j, BTreeKey* destination, const BTreeKey& source) {
    void* block = MALLOC(__FILE__, __LINE__, source.size);
    if (!block) return BT_NO_MEMORY;
    j->fresh[j->freshCount++] = block;
    tree->copy(source.data, block);
    destination->data = block;
    destination->size = source.size;
    return BT_OK;
}

// Takes a key's block out of its slot; the block is released once the
// insertion succeeds.
void vacate(Journal* j, BTreeKey* slot) {
    j->stale[j->staleCount++] = slot->data;
    slot->data = nullptr;
    slot->size = 0;
}

// Whether `key` is in the node; *position is its slot, or the branch to
// follow when it is not there.
bool SearchNode(BTree* tree, const void* key, const BTreeNode* node, int* position) {
    TRACE(TR_ORCLEVEL2, " %s: Enter\n", "SearchNode()");
    int k = 0;
    int rc = bLessThan;
    while (k < node->count && (rc = tree->compare(key, node->key[k]->data)) == bGreaterThan) ++k;
    *position = k;
    TRACE(TR_ORCLEVEL2, " %s: Exit - OK\n\n", "SearchNode()");
    return k < node->count && rc == bEqualTo;
}

void* SearchTree(BTree* tree, const void* key, const BTreeNode* node) {
    TRACE(TR_ORCLEVEL2, " %s: Enter\n", "SearchTree()");
    while (node) {
        int position;
        if (SearchNode(tree, key, node, &position)) {
            TRACE(TR_ORCLEVEL2, " %s: Exit - found\n\n", "SearchTree()");
            return node->key[position]->data;
        }
        node = node->branch[position];
    }
    TRACE(TR_ORCLEVEL2, " %s: Exit - not found\n\n", "SearchTree()");
    return nullptr;
}

// Shifts the keys and branches from `position` one place right and puts a
// copy of `key` there with `right` as its right branch.
int PushIn(BTree* tree, Journal* j, const BTreeKey& key, BTreeNode* right, BTreeNode* node,
           int position) {
    static const char* const fn = "PushIn()";
    TRACE(TR_ORCLEVEL2, " %s: Enter\n", fn);
    journalSave(j, node);
    for (int i = node->count; i >= position; --i) {
        BTreeKey* slot = node->key[i];
        if (slot->data) {
            TRACE(TR_ORCLEVEL0, " %s: Something wrong with Memory\n", fn);
            return BT_BAD_SLOT;
        }
        const BTreeKey& source = i > position ? *node->key[i - 1] : key;
        if (copyKey(tree, j, slot, source) != BT_OK) {
            TRACE(TR_ORCLEVEL0, " %s: Exit - no memory\n", fn);
            return BT_NO_MEMORY;
        }
        if (i > position) {
            vacate(j, node->key[i - 1]);
            node->branch[i + 1] = node->branch[i];
        }
    }
    node->branch[position + 1] = right;
    ++node->count;
    TRACE(TR_ORCLEVEL2, " %s: Exit - OK\n\n", fn);
    return BT_OK;
}

// Splits a full node around the new key: the left node keeps 2 keys, a new
// right node takes 3, and the key between them moves up (*up, *upRight).
int Split(BTree* tree, Journal* j, const BTreeKey& key, BTreeNode* right, BTreeNode* node,
          int position, BTreeKey* up, BTreeNode** upRight) {
    static const char* const fn = "Split()";
    TRACE(TR_ORCLEVEL2, " %s: Enter\n", fn);
    const int median = position < 3 ? 2 : 3;
    BTreeNode* sibling = newNode(j);
    if (!sibling) {
        TRACE(TR_ORCLEVEL0, " %s: Exit - no memory\n", fn);
        return BT_NO_MEMORY;
    }
    journalSave(j, node);
    for (int i = median; i < BT_MAX_KEYS; ++i) {
        *sibling->key[i - median] = *node->key[i];
        node->key[i]->data = nullptr;
        node->key[i]->size = 0;
        sibling->branch[i - median + 1] = node->branch[i + 1];
        node->branch[i + 1] = nullptr;
    }
    sibling->count = static_cast<int16_t>(BT_MAX_KEYS - median);
    node->count = static_cast<int16_t>(median);
    int rc = position < 3 ? PushIn(tree, j, key, right, node, position)
                          : PushIn(tree, j, key, right, sibling, position - median);
    if (rc != BT_OK) return rc;
    const int last = node->count - 1;
    *up = *node->key[last];
    vacate(j, node->key[last]);
    sibling->branch[0] = node->branch[last + 1];
    node->branch[last + 1] = nullptr;
    --node->count;
    sibling->rightLink = node->rightLink;
    node->rightLink = sibling;
    *upRight = sibling;
    TRACE(TR_ORCLEVEL2, " %s: Exit - OK\n\n", fn);
    return BT_OK;
}

// Inserts `key` into the subtree. PUSH_UP: the subtree's top node split (or
// the subtree is empty) and *up with its right branch *upRight must go into
// the parent.
int PushDown(BTree* tree, Journal* j, const BTreeKey& key, BTreeNode* node, BTreeKey* up,
             BTreeNode** upRight) {
    static const char* const fn = "PushDown()";
    TRACE(TR_ORCLEVEL2, " %s: Enter\n", fn);
    if (!node) {
        *up = key;
        *upRight = nullptr;
        TRACE(TR_ORCLEVEL2, " %s: Exit - PUSH_UP\n\n", fn);
        return PUSH_UP;
    }
    int position;
    if (SearchNode(tree, key.data, node, &position)) {
        TRACE(TR_ORCLEVEL2, " %s: Exit - DUP_VAL\n\n", fn);
        return DUP_VAL;
    }
    BTreeKey moving;
    BTreeNode* movingRight;
    int rc = PushDown(tree, j, key, node->branch[position], &moving, &movingRight);
    if (rc == PUSH_UP) {
        if (node->count > BT_MAX_KEYS - 1) {
            rc = Split(tree, j, moving, movingRight, node, position, up, upRight);
            if (rc == BT_OK) rc = PUSH_UP;
        } else {
            rc = PushIn(tree, j, moving, movingRight, node, position);
        }
    }
    TRACE(TR_ORCLEVEL2, " %s: Exit - rc = %d\n\n", fn, rc);
    return rc;
}

// Inserts the tree's current key; on failure the tree is put back as it was.
int InsertNode(BTree* tree) {
    static const char* const fn = "InsertNode()";
    TRACE(TR_ORCLEVEL2, " %s: Enter\n", fn);
    int depth = 0;
    for (const BTreeNode* n = tree->root; n; n = n->branch[0]) ++depth;
    if (depth >= kMaxDepth) {
        TRACE(TR_ORCLEVEL0, " %s: Exit - NO MEMORY\n", fn);
        return BT_NO_MEMORY;
    }
    Journal j;
    BTreeNode* oldRoot = tree->root;
    BTreeKey up;
    BTreeNode* upRight;
    int rc = PushDown(tree, &j, tree->current, tree->root, &up, &upRight);
    if (rc == PUSH_UP) {
        BTreeNode* root = newNode(&j);
        rc = root ? copyKey(tree, &j, root->key[0], up) : BT_NO_MEMORY;
        if (rc == BT_OK) {
            root->count = 1;
            root->branch[0] = oldRoot;
            root->branch[1] = upRight;
            tree->root = root;
        } else {
            TRACE(TR_ORCLEVEL0, " %s: Exit - NO MEMORY\n", fn);
        }
    }
    if (rc == BT_OK) {
        journalCommit(&j);
    } else if (rc != DUP_VAL) {
        journalUndo(&j);
        tree->root = oldRoot;
    }
    TRACE(TR_ORCLEVEL2, " %s: Exit - rc = %d\n\n", fn, rc);
    return rc;
}

}  // namespace

BTree* utNewTree() {
    BTree* tree = static_cast<BTree*>(CALLOC(__FILE__, __LINE__, 1, sizeof(BTree)));
    if (tree) tree->release = utFreeTree;
    return tree;
}

void utDeleteTree(BTree* tree) {
    if (!tree) return;
    utBenchMark("release.start");
    FreeMemory(tree->root);
    tree->root = nullptr;
    FREE(&tree, __FILE__, __LINE__);
    utBenchMark("release.end");
}

int IsertItem(BTree* tree, const void* key, uint32_t keySize, BTreeCopyFn copyFunction,
              BTreeCompareFn compareFunction) {
    static const char* const fn = "IsertItem()";
    TRACE(TR_ORCLEVEL1, " %s: Enter\n", fn);
    tree->copy = copyFunction;
    tree->compare = compareFunction;
    tree->current.size = keySize;
    tree->current.data = MALLOC(__FILE__, __LINE__, keySize);
    if (!tree->current.data) {
        TRACE(TR_ORCLEVEL0, " %s: Exit - NO MEMORY\n", fn);
        return BT_NO_MEMORY;
    }
    copyFunction(key, tree->current.data);
    int rc = InsertNode(tree);
    tree->release(tree->current.data);
    tree->current.data = nullptr;
    if (rc == BT_OK)
        TRACE(TR_ORCLEVEL1, " %s: Exit - OK\n\n", fn);
    else if (rc == DUP_VAL)
        TRACE(TR_ORCLEVEL1, " %s: Exit - DUP_VAL\n\n", fn);
    else
        TRACE(TR_ORCLEVEL0, " %s: Exit - InsertNode() failed rc = %d\n\n", fn, rc);
    return rc;
}

void* SearchItem(BTree* tree, const void* key, BTreeCompareFn compareFunction) {
    TRACE(TR_ORCLEVEL1, " %s: Enter\n", "SearchItem()");
    tree->compare = compareFunction;
    void* found = SearchTree(tree, key, tree->root);
    TRACE(TR_ORCLEVEL1, " %s: Exit - OK\n\n", "SearchItem()");
    return found;
}

void FreeMemory(BTreeNode* node) {
    TRACE(TR_ORCLEVEL2, " %s: Enter\n", "FreeMemory()");
    if (node) {
        // A million keys and their nodes lie scattered over the heap, and
        // each visit and each free waits for memory. Asking for all of a
        // node's children, and then all of its keys, before touching any
        // lets those waits overlap.
        for (int i = 0; i < BT_ORDER && node->branch[i]; ++i) __builtin_prefetch(node->branch[i]);
        for (int i = 0; i < BT_ORDER && node->branch[i]; ++i) {
            FreeMemory(node->branch[i]);
            node->branch[i] = nullptr;
        }
        for (int i = 0; i < BT_MAX_KEYS; ++i) __builtin_prefetch(node->key[i]);
        for (int i = 0; i < node->count; ++i) prefetchBlockHeader(node->key[i]->data);
        for (int i = 0; i < node->count; ++i) FREE(&node->key[i]->data, __FILE__, __LINE__);
        for (int i = 0; i < BT_MAX_KEYS; ++i) FREE(&node->key[i], __FILE__, __LINE__);
        FREE(&node, __FILE__, __LINE__);
    }
    TRACE(TR_ORCLEVEL2, " %s: Exit - OK\n\n", "FreeMemory()");
}

int utInsertFilename(const void* source, void* destination) {
    TRACE(TR_ALL, " %s: Enter\n", "utInsertFilename()");
    strcpy(static_cast<char*>(destination), static_cast<const char*>(source));
    TRACE(TR_ALL, " %s: Exit - OK\n\n", "utInsertFilename()");
    return 0;
}

int utFindFilename(const void* looked, const void* stored) {
    TRACE(TR_ALL, " %s: Enter\n", "utFindFilename()");
    int diff = strcmp(static_cast<const char*>(looked), static_cast<const char*>(stored));
    int rc = diff == 0 ? bEqualTo : diff > 0 ? bGreaterThan : bLessThan;
    TRACE(TR_ALL, " %s: Exit - rc = %d\n\n", "utFindFilename()", rc);
    return rc;
}

void utFreeTree(void* block) {
    TRACE(TR_ALL, " %s: Enter\n", "utFreeTree()");
    if (block) FREE(&block, __FILE__, __LINE__);
    TRACE(TR_ALL, " %s: Exit - OK\n\n", "utFreeTree()");
}
