// The filename index: a B-tree of order 6 (at most 5 keys and 6 branches per
// node) over opaque byte-string keys. The tree keeps its own copy of every
// key; the caller hands in, with each insertion or lookup, the function that
// copies a key and the one that compares two keys. The synchronisation keeps
// the handles of the Recovery Catalog's backup pieces in it, as
// NUL-terminated strings with utInsertFilename and utFindFilename.
//
// Insertion follows the classic push-down scheme: the key goes into a leaf;
// a full node splits and pushes its median up, and a split of the root makes
// a new root. Keys move between slots by value (copied into a fresh block,
// the old block released). Memory comes from the agent's MALLOC/FREE.
//
// An insertion that runs out of memory returns 10 and leaves the tree exactly
// as it was before the call: every node it changed is restored.
//
// Thread safety: none; a tree belongs to one thread.
#ifndef ZEBO_SYNC_BTREE_H
#define ZEBO_SYNC_BTREE_H

#include <stdint.h>

// Results of the tree functions.
enum {
    BT_OK = 0,
    BT_NO_MEMORY = 10,
    DUP_VAL = 11,      // the key is already in the tree
    PUSH_UP = 12,      // internal: a key moves up to the parent
    BT_BAD_SLOT = 13,  // a key slot that should be empty is not
};

// Results of a compare function.
enum { bEqualTo = 0, bGreaterThan = 1, bLessThan = 2 };

enum { BT_ORDER = 6, BT_MAX_KEYS = BT_ORDER - 1 };

// Compares the key looked for with a stored key: bEqualTo, bGreaterThan (the
// key looked for is greater) or bLessThan.
typedef int (*BTreeCompareFn)(const void* looked, const void* stored);
// Copies a key into a buffer of the key's size.
typedef int (*BTreeCopyFn)(const void* source, void* destination);
typedef void (*BTreeReleaseFn)(void* block);

struct BTreeKey {
    uint32_t size;  // bytes of the key, its NUL included
    void* data;     // the tree's copy; null in an unused slot
};

struct BTreeNode {
    int16_t count;                // keys held, 1 to 5
    BTreeNode* branch[BT_ORDER];  // branch i right of key i-1; all null in a leaf
    BTreeKey* key[BT_MAX_KEYS];   // all 5 items exist as long as the node does
    BTreeNode* rightLink;         // the node that the last split of this one made
};

struct BTree {
    BTreeNode* root;  // null while the tree is empty
    void* reserved;   // always 0
    BTreeCompareFn compare;
    BTreeCopyFn copy;
    BTreeReleaseFn release;  // utFreeTree
    BTreeKey current;        // the tree's copy of the key being inserted
};

// A new empty tree, or null when there is no memory. Release it with
// utDeleteTree.
BTree* utNewTree();
// Releases every node and key of the tree, then the tree itself. A null tree
// is ignored.
void utDeleteTree(BTree* tree);

// Inserts a copy of the key (`keySize` bytes, made with `copyFunction`).
// Returns 0, 10 (out of memory, the tree unchanged), DUP_VAL (the key is
// already there; nothing changes) or 13 (a damaged node, the tree unchanged).
int IsertItem(BTree* tree, const void* key, uint32_t keySize, BTreeCopyFn copyFunction,
              BTreeCompareFn compareFunction);

// The stored copy of a key equal to `key`, or null.
void* SearchItem(BTree* tree, const void* key, BTreeCompareFn compareFunction);

// Releases a subtree: its nodes, their key items and the keys' data.
void FreeMemory(BTreeNode* node);

// The index's key functions, for handles kept as NUL-terminated strings.
// utInsertFilename copies the string and returns 0; utFindFilename compares
// with strcmp (case-sensitive); utFreeTree releases a block unless it is null.
int utInsertFilename(const void* source, void* destination);
int utFindFilename(const void* looked, const void* stored);
void utFreeTree(void* block);

#endif
