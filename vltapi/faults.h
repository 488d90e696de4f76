// Fault injection for tests: RVK_FAULTS="name@N=rc,name@N-M=rc,..." makes
// the N-th (to M-th) call of entry point `name` in this process return rc
// without doing anything. Calls are counted per entry point from 1, all
// threads together; the list is read at the first call of any entry point.
#ifndef VLTAPI_FAULTS_H
#define VLTAPI_FAULTS_H

#include <stdint.h>

#include "vltapi/include/rvkapi.h"

namespace vlt {

// The 43 entry points, in the order of the program's lookup table.
#define VLT_FN_ENUMERATOR(Name) Name,
enum class Fn { RVK_ENTRY_POINTS(VLT_FN_ENUMERATOR) Count };
#undef VLT_FN_ENUMERATOR

// Counts this call of `fn`; true (with *rc set) when it is to fail.
bool faultFires(Fn fn, int16_t* rc);

}  // namespace vlt

// First statement of every entry point that returns a code.
#define RVK_ENTRY(name)                                                 \
    do {                                                                \
        int16_t faultRc_ = 0;                                           \
        if (vlt::faultFires(vlt::Fn::name, &faultRc_)) return faultRc_; \
    } while (0)

#endif
