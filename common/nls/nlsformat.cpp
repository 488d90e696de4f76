// Formatting a message with its inserts, and showing it.
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "catalogs/rvkclientV3_names.h"
#include "common/nls/nls.h"
#include "common/nls/nlsbuffer.h"
#include "common/nls/nlsdecode.h"
#include "common/nls/nlsobject.h"
#include "common/unx/nlsfmt.h"
#include "common/ut/testflags.h"
#include "common/ut/trace.h"

namespace {

// A printf-form message is formatted into a block of this size; a longer
// result is cut. It is the stated limit of such a message.
const size_t kPrintfScratch = 4860;
// Each literal piece of an ordered text passes through a block this size.
const size_t kPieceScratch = 2302;

// The display code page is the catalog's own on this platform.
void toDisplayCodePage(char*) {}

template <typename T>
int formatOne(char* out, size_t room, const char* spec, int stars, const int* star, T value) {
    switch (stars) {
        case 0:
            return snprintf(out, room, spec, value);
        case 1:
            return snprintf(out, room, spec, star[0], value);
        default:
            return snprintf(out, room, spec, star[0], star[1], value);
    }
}

// Formats the inserts in the caller's order into the insert area, each one
// into the slot its descriptor names, then joins pieces and slots.
void formatOrdered(nlsObject_t* obj, const nlOrderedView& v, va_list* ap, nlsCharBuffer* buf) {
    const char* slot[NL_MAX_INSERTS] = {};
    size_t used = 0;
    for (int k = 0; k < v.n; ++k) {
        int d = v.order[k] - 1;
        int star[2] = {0, 0};
        for (int s = 0; s < v.stars[d]; ++s) star[s] = va_arg(*ap, int);
        char* out = obj->insertArea + used;
        size_t room = NL_INSERT_AREA_SIZE - used;
        const char* spec = v.spec[d];
        int len = 0;
        switch (v.type[d]) {
            case 0: {
                const void* p = va_arg(*ap, const void*);
                char conv = spec[strlen(spec) - 1];
                if (conv == 'p')
                    len = formatOne(out, room, spec, v.stars[d], star, const_cast<void*>(p));
                else if (!p)
                    len = formatOne(out, room, "%s", 0, star, "(null)");
                else if (strstr(spec, "ls"))
                    len = formatOne(out, room, spec, v.stars[d], star,
                                    static_cast<const wchar_t*>(p));
                else
                    len = formatOne(out, room, spec, v.stars[d], star, static_cast<const char*>(p));
                break;
            }
            case 1:
                len = formatOne(out, room, spec, v.stars[d], star, va_arg(*ap, int));
                break;
            case 2:
                len = formatOne(out, room, spec, v.stars[d], star, va_arg(*ap, unsigned));
                break;
            default:
                len = formatOne(out, room, spec, v.stars[d], star, va_arg(*ap, double));
                break;
        }
        if (room <= 1 || len < 0) {
            slot[d] = "";
            continue;
        }
        if (static_cast<size_t>(len) >= room) len = static_cast<int>(room - 1);
        slot[d] = out;
        used += static_cast<size_t>(len) + 1;
    }
    for (int j = 0; j <= v.n; ++j) {
        if (j > 0) buf->append(slot[j - 1]);
        if (!*v.piece[j]) continue;
        char scratch[kPieceScratch];
        snprintf(scratch, sizeof scratch, "%s", v.piece[j]);
        toDisplayCodePage(scratch);
        buf->append(scratch);
    }
}

// The text of a cached message with the caller's inserts.
void formatMessage(nlsObject_t* obj, const NLSMsg* msg, va_list args, nlsCharBuffer* buf) {
    size_t start = nlBodyStart(msg);
    if (start > 0) buf->append(msg->body, start);
    const char* body = msg->body + start;
    size_t length = msg->length > start ? msg->length - start : 0;
    if (length == 0) {
        buf->append("");
    } else if (body[0] == 0x01) {
        char scratch[kPrintfScratch];
        vsnprintf(scratch, sizeof scratch, body + 1, args);
        buf->append(scratch);
    } else {
        nlOrderedView view;
        if (nlParseOrdered(body, length, &view)) {
            va_list ap;
            va_copy(ap, args);
            formatOrdered(obj, view, &ap, buf);
            va_end(ap);
        }
    }
    TRACE(TR_NLS, "return from nlOrderInsert (char), msgLen %d:\n",
          static_cast<int>(buf->length()));
}

// Looks the message up and formats it under the lock. *noMemory tells a
// failed allocation from a message that is not there.
char* formatLocked(nlsObject_t* obj, unsigned number, va_list args, int* severity, bool english,
                   bool* noMemory) {
    if (severity) *severity = 0;
    *noMemory = false;
    if (!obj || !nls_mutex) return nullptr;
    NlsLock lock(obj);
    if (!lock.held()) return nullptr;
    if (english) obj->useEnglishOnce = 1;
    NLSMsg* msg = obj->GetMsg(number);
    if (!msg) return nullptr;
    nlsCharBuffer buf(nlsBuffer::INIT_SIZE_KB);
    formatMessage(obj, msg, args, &buf);
    if (buf.failed()) {
        *noMemory = true;
        return nullptr;
    }
    char* text = static_cast<char*>(calloc(buf.length() + 10, 1));
    if (!text) {
        *noMemory = true;
        return nullptr;
    }
    memcpy(text, buf.text(), buf.length());
    if (severity) *severity = msg->severity;
    return text;
}

int showV(unsigned number, va_list args) {
    nlsObject_t* obj = nlGetGlobalObject();
    int severity = 0;
    bool noMemory = false;
    char* text = formatLocked(obj, number, args, &severity, false, &noMemory);
    if (!text) return 0;
    if (ScheduleMode == 1) nlAppendScheduleLog(text);
    if (severity > NL_SEV_I && obj->errorLogName[0]) nlAppendErrorLog(text);
    nlDispatch(obj, severity, text);
    free(text);
    return 0;
}

}  // namespace

char* nlFormatMsg(nlsObject_t* obj, unsigned number, va_list args, int* severity) {
    bool noMemory;
    return formatLocked(obj, number, args, severity, false, &noMemory);
}

char* nlFormatMsgEnglish(nlsObject_t* obj, unsigned number, va_list args, int* severity) {
    bool noMemory;
    return formatLocked(obj, number, args, severity, true, &noMemory);
}

char* nlFormatText(unsigned number, ...) {
    va_list args;
    va_start(args, number);
    char* text = nlFormatMsg(nlGetGlobalObject(), number, args, nullptr);
    va_end(args);
    if (text) {
        size_t n = strlen(text);
        if (n > 0 && text[n - 1] == '\n') text[n - 1] = 0;
    }
    return text;
}

int nlMsg(unsigned number, ...) {
    va_list args;
    va_start(args, number);
    int rc = showV(number, args);
    va_end(args);
    return rc;
}

int nlMsgFramed(unsigned number, ...) {
    nlMsg(CLI_SEPARATOR);
    va_list args;
    va_start(args, number);
    int rc = showV(number, args);
    va_end(args);
    nlMsg(CLI_SEPARATOR);
    return rc;
}

int nlGetSeverity(unsigned number) {
    TRACE(TR_NLS, "Getting severity for message %d\n", static_cast<int>(number));
    nlsObject_t* obj = nlGetGlobalObject();
    int severity = -1;
    if (obj && nls_mutex) {
        NlsLock lock(obj);
        if (lock.held()) {
            if (NLSMsg* msg = obj->GetMsg(number)) severity = msg->severity;
        }
    }
    TRACE(TR_NLS, "Severity is %d\n", severity);
    return severity;
}

short nlLogPrintf(nlMsgDesc* desc, char* buffer, int avail, ...) {
    nlsObject_t* obj = nlGetGlobalObject();
    va_list args;
    va_start(args, avail);
    desc->advance = 0;
    if (desc->flags & NL_LOG_STRUCTURED) {
        if (desc->structured) nlOrderInsertV(obj, desc, desc->structured, args);
        va_end(args);
        return 0;
    }
    int severity = 0;
    bool noMemory = false;
    char* text = formatLocked(obj, desc->number, args, &severity, false, &noMemory);
    va_end(args);
    if (!text) {
        if (noMemory)
            TRACE(TR_NLS, "nlLogPrintf(): No memory to generate %d message; returning.\n",
                  static_cast<int>(desc->number));
        return 0;
    }
    size_t len = strlen(text);
    bool newline = desc->flags & NL_LOG_NEWLINE;
    size_t size = len + (newline ? 1 : 0);
    if (!buffer || avail <= 0 || size >= static_cast<size_t>(avail)) {
        TRACE(TR_NLS, "nlLogPrintf(): msgSize(%d) greater than avail(%d); returning.\n",
              static_cast<int>(size), avail);
        free(text);
        return 0;
    }
    memcpy(buffer, text, len);
    if (newline) {
        TRACE(TR_NLS, "adding newline character to buffer\n");
        buffer[len] = '\n';
    }
    buffer[size] = 0;
    free(text);

    if (ScheduleMode == 1) nlAppendScheduleLog(buffer);
    if (desc->flags & NL_LOG_STDOUT) {
        if (TEST_CLC_TIMESTAMP.set) {
            char date[16], time[16];
            unsigned long ms = 0;
            nlDateTimeNow(date, sizeof date, time, sizeof time, &ms);
            printf("%s %s ", date, time);
        }
        fputs(buffer, stdout);
    }
    if (desc->flags & NL_LOG_ERRORLOG) nlAppendErrorLog(buffer);
    if (desc->flags & NL_LOG_OUTPUT) nlDispatch(obj, severity, buffer);
    desc->advance = static_cast<unsigned short>(size);
    return static_cast<short>(size);
}
