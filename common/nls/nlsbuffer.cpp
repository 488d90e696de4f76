#include "common/nls/nlsbuffer.h"

#include <stdlib.h>
#include <string.h>

#include "common/unx/psenv.h"

namespace {
const size_t kKB = 1024;
const size_t kStep = 4096;
}  // namespace

nlsBuffer::nlsBuffer(unsigned sizeKB, size_t charSize)
    : data_(nullptr), capacityKB_(0), length_(0) {
    unsigned kb = sizeKB > INIT_SIZE_KB ? sizeKB : INIT_SIZE_KB;
    data_ = psAllocator.reallocFn(nullptr, kb * kKB);
    if (!data_) return;
    capacityKB_ = kb;
    // The text starts empty, so clearing its first character is all the
    // zeroing it needs.
    memset(data_, 0, charSize);
}

nlsBuffer::~nlsBuffer() {
    psAllocator.freeFn(data_);
}

bool nlsBuffer::reserve(size_t count, size_t charSize) {
    size_t needed = (length_ + count + 1) * charSize;
    if (data_ && capacityKB_ * kKB >= needed) return true;
    size_t bytes = (needed / kStep + 1) * kStep;
    void* grown = psAllocator.reallocFn(data_, bytes);
    if (!grown) {
        psAllocator.freeFn(data_);
        data_ = nullptr;
        capacityKB_ = 0;
        length_ = 0;
        return false;
    }
    if (!data_) memset(grown, 0, charSize);  // starting again after a failure
    data_ = grown;
    capacityKB_ = static_cast<unsigned>(bytes / kKB);
    return true;
}

nlsCharBuffer::nlsCharBuffer(unsigned sizeKB) : nlsBuffer(sizeKB, 1) {}

bool nlsCharBuffer::append(const char* text, size_t count) {
    if (count == 0) count = strlen(text);
    if (!reserve(count, 1)) return false;
    char* d = static_cast<char*>(data_);
    memcpy(d + length_, text, count);
    length_ += count;
    d[length_] = 0;
    return true;
}

nlsWcharBuffer::nlsWcharBuffer(unsigned sizeKB) : nlsBuffer(sizeKB, sizeof(wchar_t)) {}

bool nlsWcharBuffer::append(const wchar_t* text, size_t count) {
    if (count == 0) count = wcslen(text);
    if (!reserve(count, sizeof(wchar_t))) return false;
    wchar_t* d = static_cast<wchar_t*>(data_);
    memcpy(d + length_, text, count * sizeof(wchar_t));
    length_ += count;
    d[length_] = 0;
    return true;
}
