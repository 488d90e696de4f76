// The agent's memory wrappers: the only way agent code gets and gives back
// heap memory. Every call names the source file and line that made it, and
// with the trace class MEM switched on every allocation and release leaves a
// trace line, so that a trace can be read as a ledger: each address's
// allocation line pairs with its FREE() line. There are no counters; the
// trace lines are the accounting.
//
// Callers write MALLOC(__FILE__, __LINE__, n) and FREE(&p, __FILE__, __LINE__).
//
// The C library's malloc, calloc, realloc and free are reached through the
// program's allocator table (psAllocator, common/unx/psenv.h) so that tests
// can make an allocation fail.
#ifndef ZEBO_AGENT_ZEBOMEM_H
#define ZEBO_AGENT_ZEBOMEM_H

#include <stddef.h>

// Null for a size of 0 (refused: nothing is allocated) or when the
// allocation fails.
void* MALLOC(const char* file, unsigned long line, size_t size);

// Zero-filled memory for `count` elements of `size` bytes. Null when either
// is 0 (refused) or when the allocation fails.
void* CALLOC(const char* file, unsigned long line, size_t count, size_t size);

// Resizes the block in *slot and stores the result in *slot, even when it is
// null: kept deliberately, a failed reallocation loses the caller's hold on
// the old block. A null slot or a null *slot is refused (this is not an
// allocation from nothing) and returns null with the slot unchanged.
void* REALLOC(const char* file, unsigned long line, void** slot, size_t size);

// Releases the block in *slot and sets *slot to null. A null slot or *slot
// only writes the error trace.
void FREE(void** slot, const char* file, unsigned long line);

// Typed slots, so that callers need no cast: FREE(&node, ...) for a Node*.
template <class T>
inline void* REALLOC(const char* file, unsigned long line, T** slot, size_t size) {
    void* block = slot ? (void*)*slot : nullptr;
    void* result = REALLOC(file, line, slot ? &block : nullptr, size);
    if (slot) *slot = static_cast<T*>(block);
    return result;
}

template <class T>
inline void FREE(T** slot, const char* file, unsigned long line) {
    void* block = slot ? (void*)*slot : nullptr;
    FREE(slot ? &block : nullptr, file, line);
    if (slot) *slot = nullptr;
}

#endif
