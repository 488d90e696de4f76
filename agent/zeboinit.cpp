#include "agent/zeboinit.h"

#include <stdio.h>
#include <stdlib.h>

#include "agent/errorlog.h"
#include "agent/zebotrace.h"
#include "catalogs/zebo_names.h"
#include "common/nls/nls.h"
#include "common/ut/trace.h"

namespace {

const char kCatalog[] = "zebo.cat";

// The option's decimal value when it lies in [0, highest], else 1.
int clampFormat(const char* value, long highest) {
    long number = strtol(value, nullptr, 10);
    return (number >= 0 && number <= highest) ? static_cast<int>(number) : 1;
}

}  // namespace

ZeboFormats zeboClampFormats(const AgentContext* context) {
    ZeboFormats formats;
    formats.dateFmt = clampFormat(context->optValue[OPT_ZEBO_DATE_FMT], 5);
    formats.timeFmt = clampFormat(context->optValue[OPT_ZEBO_TIME_FMT], 4);
    formats.numberFmt = clampFormat(context->optValue[OPT_ZEBO_NUM_FMT], 6);
    return formats;
}

int16_t zeboInit(AgentContext* context) {
    static const char kName[] = "zeboInit()";
    TRACE(TR_ORCLEVEL1, " %s: Enter\n", kName);
    char errorLog[ZEBO_LOG_PATH_SIZE];
    int16_t rc = zeboGetErrorLogName(errorLog);
    if (rc != 0) {
        TRACE(TR_ORCLEVEL0, " %s: Exit - zeboGetErrorLogName() failed, rc = %d\n\n", kName, rc);
        return rc;
    }
    ZeboFormats formats = zeboClampFormats(context);
    int nlsRc = nlInit(kCatalog, 10, errorLog, context->optValue[OPT_RVKI_ORC_DIR], errorLog, 0,
                       'D', 100, 'S', context->msgMode, formats.dateFmt, formats.timeFmt,
                       formats.numberFmt, nullptr, kCatalog);
    if (nlsRc != 0) {
        char text[512];
        snprintf(text, sizeof text,
                 "Error: Could not initialize NLS object. Check that the message file, %s, "
                 "exists in the ZEB for Oracle installation directory. rc = %d\n",
                 kCatalog, nlsRc);
        zeboErrorMsg(text);
        nlFreeRepository();
        TRACE(TR_ORCLEVEL0, " %s: Exit - nlInit() failed, rc = %d\n\n", kName, nlsRc);
        return static_cast<int16_t>(nlsRc);
    }
    TRACE(TR_ORCLEVEL1, " %s: Exit - OK\n\n", kName);
    return 0;
}

void zeboSetTrace(AgentContext* context) {
    if (!trcClass) return;
    const char* testFlags = context->optValue[OPT_ZEBO_TEST_FLAGS];
    const char* traceFile = context->optValue[OPT_ZEBO_TRACE_FILE];
    const char* traceMax = context->optValue[OPT_ZEBO_TRACE_MAX];
    const char* traceFlags = context->optValue[OPT_ZEBO_TRACE_FLAGS];
    if (*testFlags) trcClass->setTestFlags(testFlags);
    if (!*traceFile) return;
    if (*traceMax) trcClass->setMax(strtoul(traceMax, nullptr, 10));
    int rc = trcClass->open(traceFile);
    if (rc != 0) {
        char* text = (rc == 406) ? nlFormatText(MSG_TRACE_FILE_NOT_OPENED, traceFile)
                                 : nlFormatText(MSG_TRACE_NOT_OPENED);
        if (text) {
            zeboErrorMsg(text);
            free(text);
        }
        return;
    }
    if (*traceFlags) trcClass->setFlags(traceFlags);
}
