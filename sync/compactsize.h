// A size in at most four characters for the pick list's size column: bytes
// below 1,000 as they are ("512B"), larger sizes in binary units with one
// decimal below ten ("9.5G", "12K", "999M"), the decimal separator the
// user's number layout's. The exact number is in the report and in the
// total before the deletion question.
#ifndef ZEBO_SYNC_COMPACTSIZE_H
#define ZEBO_SYNC_COMPACTSIZE_H

#include <stdint.h>

#include <string>

std::string utCompactSize(uint64_t bytes);

#endif
