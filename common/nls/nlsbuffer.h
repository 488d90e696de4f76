// Growable text buffers into which messages are formatted: nlsCharBuffer
// for 8-bit text and nlsWcharBuffer for wide text, both NUL-terminated.
//
// Capacity is kept in KB and grows in whole 4 KB steps. When the memory for
// a larger buffer cannot be had, the buffer drops its text and stays empty
// (capacity and length 0): the message is then lost, not cut, and a later
// append may succeed again.
//
// Thread safety: one buffer per caller; no shared state. Memory comes from
// the program's allocator (psAllocator), which tests make fail.
#ifndef ZEBO_COMMON_NLS_NLSBUFFER_H
#define ZEBO_COMMON_NLS_NLSBUFFER_H

#include <stddef.h>
#include <wchar.h>

class nlsBuffer {
  public:
    static const unsigned INIT_SIZE_KB = 4;

    virtual ~nlsBuffer();
    // Bytes per character.
    virtual size_t charSize() const = 0;

    unsigned capacityKB() const { return capacityKB_; }
    size_t length() const { return length_; }  // in characters
    bool failed() const { return data_ == nullptr; }

  protected:
    // Capacity: the larger of sizeKB and INIT_SIZE_KB.
    nlsBuffer(unsigned sizeKB, size_t charSize);
    // Makes room for `count` more characters and the NUL; false (and an
    // emptied buffer) when memory is short.
    bool reserve(size_t count, size_t charSize);

    void* data_;
    unsigned capacityKB_;
    size_t length_;
};

class nlsCharBuffer : public nlsBuffer {
  public:
    explicit nlsCharBuffer(unsigned sizeKB = INIT_SIZE_KB);
    size_t charSize() const override { return 1; }
    // Appends count characters of text (count 0: up to its NUL).
    bool append(const char* text, size_t count = 0);
    const char* text() const { return data_ ? static_cast<const char*>(data_) : ""; }
};

class nlsWcharBuffer : public nlsBuffer {
  public:
    explicit nlsWcharBuffer(unsigned sizeKB = INIT_SIZE_KB);
    size_t charSize() const override { return sizeof(wchar_t); }
    bool append(const wchar_t* text, size_t count = 0);
    const wchar_t* text() const { return data_ ? static_cast<const wchar_t*>(data_) : L""; }
};

#endif
