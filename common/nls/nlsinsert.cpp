// The structured lookup: a message's severity class, its insert count and
// the caller's inserts as typed values, for callers that pass messages on
// instead of showing them.
#include <stdarg.h>
#include <string.h>

#include "common/nls/nls.h"
#include "common/nls/nlsdecode.h"
#include "common/nls/nlsobject.h"
#include "common/ut/trace.h"

namespace {

// Type code for a double in an ordered text: not something a structured
// caller can take, so nlInsertItem refuses it.
const int kItemDouble = 4;

void handOn(nlInsertResult* r, int type, nlInsertValue v) {
    nlInsertItem(r, type, v);
}

// Takes the argument of one conversion (its length modifiers already read)
// and hands it on, or only skips it.
void takeArgument(char conv, int longs, bool wide, bool longDouble, va_list* ap,
                  nlInsertResult* r) {
    nlInsertValue v;
    switch (conv) {
        case 'd':
        case 'i':
        case 'o':
        case 'x':
        case 'X':
            v.i = longs >= 2             ? va_arg(*ap, long long)
                  : (longs == 1 || wide) ? va_arg(*ap, long)
                                         : va_arg(*ap, int);
            TRACE(TR_NLS, "   found int '%d'\n", static_cast<int>(v.i));
            handOn(r, NL_ITEM_INT, v);
            break;
        case 'u':
            v.u = longs >= 2             ? va_arg(*ap, unsigned long long)
                  : (longs == 1 || wide) ? va_arg(*ap, unsigned long)
                                         : va_arg(*ap, unsigned);
            TRACE(TR_NLS, "   found unsigned '%u'\n", static_cast<unsigned>(v.u));
            handOn(r, NL_ITEM_UNSIGNED, v);
            break;
        case 'p':
            v.p = va_arg(*ap, void*);
            TRACE(TR_NLS, "   found pointer '%p'\n", v.p);
            handOn(r, NL_ITEM_POINTER, v);
            break;
        // The skipped arguments differ in type, which the branch-clone
        // check does not see through va_arg.
        case 's':  // NOLINT(bugprone-branch-clone)
            (void)va_arg(*ap, const void*);
            break;
        case 'c':
            (void)va_arg(*ap, int);
            break;
        default:
            if (longDouble)  // NOLINT(bugprone-branch-clone): see above
                (void)va_arg(*ap, long double);
            else
                (void)va_arg(*ap, double);
            break;
    }
}

// Walks a printf format, taking every argument it consumes; integers,
// unsigned values and pointers are handed on, the others only counted.
void scanPrintf(const char* fmt, va_list* ap, nlInsertResult* r) {
    const char* p = fmt;
    while ((p = strchr(p, '%')) != nullptr) {
        ++p;
        if (*p == '%') {
            ++p;
            continue;
        }
        int longs = 0;
        bool wide = false, longDouble = false;
        while (*p && strchr("-+ #0'123456789.*hlLqjzt", *p)) {
            if (*p == '*') (void)va_arg(*ap, int);
            if (*p == 'l') ++longs;
            if (*p == 'q') longs = 2;
            if (*p == 'j' || *p == 'z' || *p == 't') wide = true;
            if (*p == 'L') longDouble = true;
            ++p;
        }
        if (!*p) break;
        char conv = *p++;
        if (!strchr("cdeEfgGiopsuxX", conv)) continue;
        ++r->insertCount;
        takeArgument(conv, longs, wide, longDouble, ap, r);
    }
}

// Hands the arguments of an ordered text on in the caller's order.
void walkOrdered(const nlOrderedView& view, va_list* ap, nlInsertResult* r) {
    r->insertCount = view.n;
    for (int k = 0; k < view.n; ++k) {
        int d = view.order[k] - 1;
        for (int s = 0; s < view.stars[d]; ++s) (void)va_arg(*ap, int);
        nlInsertValue v;
        switch (view.type[d]) {
            case 1:
                v.i = va_arg(*ap, int);
                handOn(r, NL_ITEM_INT, v);
                break;
            case 2:
                v.u = va_arg(*ap, unsigned);
                handOn(r, NL_ITEM_UNSIGNED, v);
                break;
            case 0:
                v.p = va_arg(*ap, const void*);
                handOn(r, NL_ITEM_POINTER, v);
                break;
            default:
                (void)va_arg(*ap, double);
                v.u = 0;
                handOn(r, kItemDouble, v);
                break;
        }
    }
}

}  // namespace

int nlInsertItem(nlInsertResult* result, int type, nlInsertValue value) {
    if (type != NL_ITEM_INT && type != NL_ITEM_UNSIGNED && type != NL_ITEM_POINTER) {
        TRACE(TR_NLS, "nlInsertItem: unsupported type %d\n", type);
        return -1;
    }
    if (result->itemCount >= NL_MAX_ITEMS) return -1;
    result->items[result->itemCount].type = type;
    result->items[result->itemCount].value = value;
    ++result->itemCount;
    return 0;
}

int nlOrderInsertV(nlsObject_t* obj, const nlMsgDesc* desc, nlInsertResult* result, va_list args) {
    memset(result, 0, sizeof *result);
    if (!obj || !nls_mutex) {
        strcpy(result->text, "??????");
        return -1;
    }
    NlsLock lock(obj);
    NLSMsg* msg = lock.held() ? obj->GetMsg(desc->number) : nullptr;
    if (!msg) {
        strcpy(result->text, "?????");
        return -1;
    }
    result->severityClass = nlSeverityClass(msg->severity);
    size_t start = nlBodyStart(msg);
    if (msg->length <= start) return 0;
    const char* body = msg->body + start;
    va_list ap;
    va_copy(ap, args);
    if (body[0] == 0x01) {
        scanPrintf(body + 1, &ap, result);
    } else {
        nlOrderedView view;
        if (nlParseOrdered(body, msg->length - start, &view)) walkOrdered(view, &ap, result);
    }
    va_end(ap);
    return 0;
}

int nlOrderInsert(nlsObject_t* obj, const nlMsgDesc* desc, nlInsertResult* result, ...) {
    va_list args;
    va_start(args, result);
    int rc = nlOrderInsertV(obj, desc, result, args);
    va_end(args);
    return rc;
}
