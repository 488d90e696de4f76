// The warning before an implausible pick list; see plausibility.h.
#include "sync/plausibility.h"

#include <unistd.h>

#include <string>

#include "catalogs/zebo_names.h"
#include "common/nls/nls.h"
#include "common/unx/nlsfmt.h"
#include "common/ut/trace.h"
#include "sync/consoleline.h"

namespace {

bool bothTerminals() {
    return isatty(STDIN_FILENO) == 1 && isatty(STDOUT_FILENO) == 1;
}

std::string number(unsigned long value) {
    char text[40];
    nlFormatNumber64(value, text, sizeof text);
    return text;
}

}  // namespace

UtInteractiveFn utWarningWaits = bothTerminals;

unsigned utImplausibleResult(unsigned long handles, unsigned long examined, unsigned long listed) {
    if (listed == 0) return 0;
    if (handles == 0) return MSG_NO_HANDLES;
    // More than half: exactly half is still a plausible loss.
    if (2 * listed > examined) return MSG_MOSTLY_LISTED;
    return 0;
}

void utWarnImplausible(unsigned long handles, unsigned long examined, unsigned long listed) {
    unsigned warning = utImplausibleResult(handles, examined, listed);
    if (warning == 0) return;
    TRACE(TR_ORCLEVEL0,
          " utWarnImplausible(): %lu handles, %lu objects examined, %lu listed: warning %u\n",
          handles, examined, listed, warning);
    nlMsgFramed(warning, number(listed).c_str(), number(examined).c_str());
    if (utWarningWaits()) {
        nlMsg(MSG_PRESS_ENTER);
        char ignored[2];
        zeboReadConsoleLine(ignored, sizeof ignored);
    }
}
