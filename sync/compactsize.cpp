// Sizes in four characters; see compactsize.h.
#include "sync/compactsize.h"

#include <stdio.h>

#include "common/unx/nlsfmt.h"

std::string utCompactSize(uint64_t bytes) {
    static const char units[] = "BKMGTPE";
    double value = static_cast<double>(bytes);
    size_t unit = 0;
    // A value that would round to 1000 goes to the next unit ("1.0K").
    while (value >= 999.5 && unit + 1 < sizeof units - 1) {
        value /= 1024.0;
        ++unit;
    }
    char text[16];
    if (unit > 0 && value < 9.95) {
        snprintf(text, sizeof text, "%.1f%c", value, units[unit]);
        for (char* p = text; *p != '\0'; ++p)
            if (*p == '.') *p = decimal_sep != '\0' ? decimal_sep : '.';
    } else {
        snprintf(text, sizeof text, "%.0f%c", value, units[unit]);
    }
    return text;
}
