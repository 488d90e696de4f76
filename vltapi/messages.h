// Texts of the library's return codes.
#ifndef VLTAPI_MESSAGES_H
#define VLTAPI_MESSAGES_H

#include <stdint.h>

#include <string>

namespace vlt {

// "RVKnnnnS text" for a code; `known` false (and a text saying so) for a
// code the library does not use.
std::string rcText(int16_t rc, bool& known);

}  // namespace vlt

#endif
