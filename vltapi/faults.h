// Fault injection for tests: RVK_FAULTS="name@N=rc,name@N-M=rc,..." makes
// the N-th (to M-th) call of entry point `name` in this process return rc
// without doing anything. Calls are counted per entry point from 1, all
// threads together; the list is read at the first call of any entry point.
// "rvkEndTxn@N=2302:reason" is a commit that the repository refuses: the
// transaction is rolled back and the call answers 2302 with that reason,
// as a failed commit does.
#ifndef VLTAPI_FAULTS_H
#define VLTAPI_FAULTS_H

#include <stdint.h>

#include "vltapi/include/rvkapi.h"

namespace vlt {

// The 43 entry points, in the order of the program's lookup table.
#define VLT_FN_ENUMERATOR(Name) Name,
enum class Fn { RVK_ENTRY_POINTS(VLT_FN_ENUMERATOR) Count };
#undef VLT_FN_ENUMERATOR

// Counts this call of `fn`; true (with *rc set) when it is to fail. A rule
// with a reason sets *reason when the caller passes one (else 0).
bool faultFires(Fn fn, int16_t* rc, uint16_t* reason = nullptr);

}  // namespace vlt

// First statement of every entry point that returns a code.
#define RVK_ENTRY(name)                                                 \
    do {                                                                \
        int16_t faultRc_ = 0;                                           \
        if (vlt::faultFires(vlt::Fn::name, &faultRc_)) return faultRc_; \
    } while (0)

#endif
