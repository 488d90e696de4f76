#include "sync/linkedlist.h"

namespace {

void* defaultAllocate(size_t size) {
    return ::operator new(size, std::nothrow);
}
void defaultRelease(void* block) {
    ::operator delete(block);
}

}  // namespace

void* (*llNodeAllocate)(size_t size) = defaultAllocate;
void (*llNodeRelease)(void* block) = defaultRelease;
