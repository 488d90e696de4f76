#include "agent/zebomem.h"

#include <stdint.h>
#include <stdlib.h>

#include "common/unx/psenv.h"
#include "common/ut/trace.h"

namespace {

// Trace lines print addresses with "%x", as the agent always has.
unsigned addressText(const void* p) {
    return static_cast<unsigned>(reinterpret_cast<uintptr_t>(p));
}

const char* fileText(const char* file) {
    return file ? file : trNullString;
}

}  // namespace

void* MALLOC(const char* file, unsigned long line, size_t size) {
    if (size == 0) {
        TRACE(TR_MEM, "ERROR: Tried to MALLOC() <%lu> bytes in ==> %s(%lu).\n", 0UL, fileText(file),
              line);
        return nullptr;
    }
    void* p = psAllocator.mallocFn(size);
    if (!p) {
        // The missing "in" is the line as it has always read.
        TRACE(TR_MEM, "ERROR: Failed to malloc() <%lu> bytes ==> %s(%lu).\n",
              static_cast<unsigned long>(size), fileText(file), line);
        return nullptr;
    }
    TRACE(TR_MEM, "MALLOC()ed <%lu> bytes at address: <%x> in ==> %s(%lu).\n",
          static_cast<unsigned long>(size), addressText(p), fileText(file), line);
    return p;
}

void* CALLOC(const char* file, unsigned long line, size_t count, size_t size) {
    if (count == 0) {
        TRACE(TR_MEM, "ERROR: Tried to CALLOC() <%lu> elements in ==> %s(%lu).\n", 0UL,
              fileText(file), line);
        return nullptr;
    }
    if (size == 0) {
        TRACE(TR_MEM, "ERROR: Tried to CALLOC() elements of size <%lu> in ==> %s(%lu).\n", 0UL,
              fileText(file), line);
        return nullptr;
    }
    void* p = psAllocator.callocFn(count, size);
    if (!p) {
        TRACE(TR_MEM, "ERROR: Failed to calloc() <%lu> elements of size <%lu> in ==> %s(%lu).\n",
              static_cast<unsigned long>(count), static_cast<unsigned long>(size), fileText(file),
              line);
        return nullptr;
    }
    TRACE(TR_MEM, "CALLOC()ed <%lu> elements of size <%lu> at address <%x> in ==> %s(%lu).\n",
          static_cast<unsigned long>(count), static_cast<unsigned long>(size), addressText(p),
          fileText(file), line);
    return p;
}

void* REALLOC(const char* file, unsigned long line, void** slot, size_t size) {
    if (!slot || !*slot) {
        TRACE(TR_MEM, "ERROR: Tried to REALLOC() <%lu> bytes with NULL pointer in ==> %s(%lu).\n",
              static_cast<unsigned long>(size), fileText(file), line);
        return nullptr;
    }
    // Kept deliberately: the result replaces the caller's pointer even when
    // it is null.
    *slot = psAllocator.reallocFn(*slot, size);
    if (!*slot) {
        // The doubled blank after "==>" is the line as it has always read.
        TRACE(TR_MEM, "ERROR: Failed to realloc() <%lu> bytes in ==>  %s(%lu).\n",
              static_cast<unsigned long>(size), fileText(file), line);
        return nullptr;
    }
    TRACE(TR_MEM, "REALLOC()ed memory to <%lu> bytes at address: <%x> in ==> %s(%lu).\n",
          static_cast<unsigned long>(size), addressText(*slot), fileText(file), line);
    return *slot;
}

void FREE(void** slot, const char* file, unsigned long line) {
    if (!slot || !*slot) {
        TRACE(TR_MEM, "ERROR: Tried to free NULL pointer in ==> %s(%lu).\n", fileText(file), line);
        return;
    }
    TRACE(TR_MEM, "FREE()ing memory at address <%x> in ==> %s(%lu).\n", addressText(*slot),
          fileText(file), line);
    psAllocator.freeFn(*slot);
    *slot = nullptr;
}
