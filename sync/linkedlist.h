// CLinkedList: the synchronisation's doubly linked list. Elements are stored
// by value inside the nodes and the list owns the nodes. A node pointer is
// also the caller's handle to its element: the caller reads and changes the
// element in place through it, and walks the list with getFirst/getNext.
//
// An optional release callback receives a copy of each element just before
// its node is destroyed (remove, freeAll, destructor).
//
// Every operation traces under the class LINKEDLIST. Nodes are allocated
// through the program's allocator (psAllocator) so that tests can make an
// allocation fail.
//
// Thread safety: none; a list belongs to the one thread that uses it.
#ifndef ZEBO_SYNC_LINKEDLIST_H
#define ZEBO_SYNC_LINKEDLIST_H

#include <stddef.h>
#include <stdint.h>

#include <new>

#include "common/unx/psenv.h"
#include "common/ut/trace.h"

// Result of addTail when no node can be allocated.
enum { LL_NO_MEMORY = 102 };

// Pointers appear in the list's trace lines as "%#x".
inline unsigned llTraceAddress(const void* p) {
    return static_cast<unsigned>(reinterpret_cast<uintptr_t>(p));
}

template <class T>
class CLinkedList {
  public:
    struct Node {
        T element;
        Node* pNext;
        Node* pPrevious;
    };
    typedef void (*ReleaseFn)(T element);

    explicit CLinkedList(ReleaseFn release = nullptr)
        : m_pHead(nullptr), m_pTail(nullptr), m_pfnRelease(release), m_count(0) {
        TRACE(TR_LINKEDLIST, "Enter %s - %#x\n", "CLinkedList::CLinkedList()",
              llTraceAddress(this));
        TRACE(TR_LINKEDLIST, "Exit %s, rc (not returned to caller) = %d\n",
              "CLinkedList::CLinkedList()", 0);
    }

    ~CLinkedList() {
        TRACE(TR_LINKEDLIST, "Enter %s - %#x\n", "CLinkedList::~CLinkedList()",
              llTraceAddress(this));
        freeAll();
        TRACE(TR_LINKEDLIST, "Exit %s, rc (not returned to caller) = %d\n",
              "CLinkedList::~CLinkedList()", 0);
    }

    CLinkedList(const CLinkedList&) = delete;
    CLinkedList& operator=(const CLinkedList&) = delete;

    // Appends a copy of `element`. Returns 0, or LL_NO_MEMORY with the list
    // unchanged.
    int addTail(const T& element);

    Node* getFirst();
    Node* getNext(Node* pData);

    // Unlinks and destroys the node. REQUIRES: pElement is a node of this
    // list; the caller fetched its successor beforehand.
    void remove(Node* pElement);

    // Destroys every node; the list is empty afterwards.
    void freeAll();

    // Untraced inspection.
    Node* head() const { return m_pHead; }
    Node* tail() const { return m_pTail; }
    uint32_t getCount() const { return m_count; }

  private:
    void destroy(Node* node);
    void traceExit(const char* name, int rc) const {
        TRACE(TR_LINKEDLIST, "Exit %s, rc = %d\n  m_pHead: %#x\n  m_pTail: %#x\n", name, rc,
              llTraceAddress(m_pHead), llTraceAddress(m_pTail));
    }
    void traceEnter(const char* name) const {
        TRACE(TR_LINKEDLIST, "Enter %s - %#x\n  m_pHead: %#x\n  m_pTail: %#x\n", name,
              llTraceAddress(this), llTraceAddress(m_pHead), llTraceAddress(m_pTail));
    }

    Node* m_pHead;
    Node* m_pTail;
    ReleaseFn m_pfnRelease;
    uint32_t m_count;
};

template <class T>
int CLinkedList<T>::addTail(const T& element) {
    static const char* const fn = "CLinkedList::addTail()";
    traceEnter(fn);
    void* block = psAllocator.mallocFn(sizeof(Node));
    if (!block) {
        TRACE(TR_LINKEDLIST, "Insufficent memory, NEW() failed.\n");
        traceExit(fn, LL_NO_MEMORY);
        return LL_NO_MEMORY;
    }
    ++m_count;
    // cppcheck-suppress [unreadVariable, unusedAllocatedMemory] ; placement new, linked below
    Node* node = new (block) Node{element, nullptr, m_pTail};
    if (m_pTail)
        m_pTail->pNext = node;
    else
        m_pHead = node;
    m_pTail = node;
    traceExit(fn, 0);
    return 0;
}

template <class T>
typename CLinkedList<T>::Node* CLinkedList<T>::getFirst() {
    TRACE(TR_LINKEDLIST, "Enter %s - %#x\n", "CLinkedList::getFirst()", llTraceAddress(this));
    TRACE(TR_LINKEDLIST, "Exit %s, pData = %#x\n", "CLinkedList::getFirst()",
          llTraceAddress(m_pHead));
    return m_pHead;
}

template <class T>
typename CLinkedList<T>::Node* CLinkedList<T>::getNext(Node* pData) {
    TRACE(TR_LINKEDLIST, "Enter %s - %#x\n  pData: %#x\n", "CLinkedList::getNext()",
          llTraceAddress(this), llTraceAddress(pData));
    Node* pNext = pData->pNext;
    TRACE(TR_LINKEDLIST, "Exit %s, pNext = %#x\n", "CLinkedList::getNext()", llTraceAddress(pNext));
    return pNext;
}

template <class T>
void CLinkedList<T>::remove(Node* pElement) {
    static const char* const fn = "CLinkedList::remove()";
    TRACE(TR_LINKEDLIST,
          "Enter %s - %#x\n  pData              : %#x\n  m_pHead            : %#x\n"
          "  m_pTail            : %#x\n  pElement->pPrevious: %#x\n  pElement->pNext    : %#x\n",
          fn, llTraceAddress(this), llTraceAddress(pElement), llTraceAddress(m_pHead),
          llTraceAddress(m_pTail), llTraceAddress(pElement->pPrevious),
          llTraceAddress(pElement->pNext));
    Node* pNext = pElement->pNext;
    if (pElement == m_pHead && pElement == m_pTail) {
        m_pHead = m_pTail = nullptr;
    } else if (pElement == m_pHead) {
        m_pHead = pNext;
        m_pHead->pPrevious = nullptr;
    } else if (pElement == m_pTail) {
        m_pTail = pElement->pPrevious;
        m_pTail->pNext = nullptr;
    } else {
        pElement->pPrevious->pNext = pNext;
        pNext->pPrevious = pElement->pPrevious;
    }
    destroy(pElement);
    --m_count;
    Node* back = pNext ? pNext->pPrevious : nullptr;
    TRACE(TR_LINKEDLIST,
          "Exit %s, pNext = %#x\n  m_pHead                : %#x\n  m_pTail                : %#x\n"
          "  pNext->pPrevious       : %#x\n  pNext->pPrevious->pNext: %#x\n",
          fn, llTraceAddress(pNext), llTraceAddress(m_pHead), llTraceAddress(m_pTail),
          llTraceAddress(back), llTraceAddress(back ? back->pNext : nullptr));
}

template <class T>
void CLinkedList<T>::freeAll() {
    static const char* const fn = "CLinkedList::freeAll()";
    traceEnter(fn);
    Node* node = m_pHead;
    while (node) {
        Node* pNext = node->pNext;
        destroy(node);
        node = pNext;
    }
    m_pHead = m_pTail = nullptr;
    m_count = 0;
    traceExit(fn, 0);
}

template <class T>
void CLinkedList<T>::destroy(Node* node) {
    if (m_pfnRelease) m_pfnRelease(node->element);
    node->~Node();
    psAllocator.freeFn(node);
}

#endif
