#include "common/unx/codepage.h"

#include "common/unx/codepage_tables.inc"

int CodePageId = 367;

const uint16_t* cpTable(int codePage) {
    switch (codePage) {
        case 437:
            return kCp437;
        case 850:
            return kCp850;
        case 819:
            return kCp819;
        case 367:
            return kCp367;
        default:
            return nullptr;
    }
}

int cpWideToByte(int codePage, wchar_t c) {
    const uint16_t* table = cpTable(codePage);
    if (table == nullptr) return CP_UNKNOWN;
    // wchar_t is 32 bits here; the check takes it for a signed char.
    long wc = static_cast<long>(c);  // NOLINT(bugprone-signed-char-misuse)
    if (wc == 0xFFFF || wc < 32 || wc == 127) return CP_NOT_CONVERTIBLE;
    switch (codePage) {
        case 367:
            return wc <= 126 ? static_cast<int>(wc) : CP_NOT_CONVERTIBLE;
        case 819:
            if (wc >= 128 && wc <= 159) return CP_NOT_CONVERTIBLE;
            return wc <= 255 && table[wc] == wc ? static_cast<int>(wc) : CP_NOT_CONVERTIBLE;
        default:  // 437, 850: ASCII as it is, the rest by its place in the upper half
            if (wc <= 126) return static_cast<int>(wc);
            for (int b = 128; b < 256; ++b) {
                if (table[b] == wc) return b;
            }
            return CP_NOT_CONVERTIBLE;
    }
}

int cpByteToWide(int codePage, unsigned char b) {
    const uint16_t* table = cpTable(codePage);
    return table == nullptr ? CP_UNKNOWN : table[b];
}
