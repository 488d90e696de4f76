// The pick list's view and its commands; see pkmodel.h.
#include "sync/pkmodel.h"

#include <ctype.h>
#include <stdint.h>
#include <string.h>

namespace {

// Separators of the number after G, L and R.
const char* const commandSeparators = " :,\t\n";

// The first token after the command character: true and its value (as
// atoi reads it, saturated to 32 bits) when there is one.
bool commandNumber(const char* answer, int64_t* value) {
    const char* p = answer + 1;
    p += strspn(p, commandSeparators);
    if (*p == '\0') return false;
    size_t length = strcspn(p, commandSeparators);
    int64_t sign = 1;
    size_t i = 0;
    if (i < length && (p[i] == '-' || p[i] == '+')) {
        if (p[i] == '-') sign = -1;
        ++i;
    }
    int64_t number = 0;
    for (; i < length && isdigit(static_cast<unsigned char>(p[i])); ++i) {
        number = number * 10 + (p[i] - '0');
        if (number > INT32_MAX) number = INT32_MAX;
    }
    *value = sign * number;
    return true;
}

// Whether the last entry is on the page that starts at firstShown.
bool lastEntryShown(const PkModel* model) {
    return static_cast<int64_t>(model->firstShown) + model->step - 1 >= model->count;
}

// L and R never leave 0..PK_MAX_OFFSET, whatever sign the number has.
int32_t clampOffset(int64_t offset) {
    if (offset < 0) return 0;
    if (offset > PK_MAX_OFFSET) return PK_MAX_OFFSET;
    return static_cast<int32_t>(offset);
}

}  // namespace

void pkModelInit(PkModel* model, SyncList* list) {
    model->list = list;
    model->count = static_cast<int32_t>(list->getCount());
    model->firstShown = 1;
    model->offset = 0;
    model->step = 0;
    pkCursorInit(&model->cursor, list);
}

PkAction pkApplyCommand(PkModel* model, const char* answer) {
    int64_t number = 0;
    switch (toupper(static_cast<unsigned char>(answer[0]))) {
        case '+':
            pkMarkAll(&model->cursor, PK_MARK_SET);
            break;
        case '-':
            pkMarkAll(&model->cursor, PK_MARK_CLEAR);
            break;
        case 'B':
            if (!lastEntryShown(model)) model->firstShown = model->count - model->step + 1;
            break;
        case 'C':
        case 'Q':
            return PK_ACTION_LEAVE;
        case 'D':
            if (!lastEntryShown(model)) model->firstShown += model->step;
            break;
        case 'G':
            if (commandNumber(answer, &number) && number >= 1 && number <= model->count)
                model->firstShown = static_cast<int32_t>(number);
            break;
        case 'L':
            if (!commandNumber(answer, &number)) number = PK_SCROLL_DEFAULT;
            model->offset = clampOffset(model->offset - number);
            break;
        case 'O':
            return PK_ACTION_GO_ON;
        case 'R':
            if (!commandNumber(answer, &number)) number = PK_SCROLL_DEFAULT;
            model->offset = clampOffset(model->offset + number);
            break;
        case 'T':
            model->firstShown = 1;
            break;
        case 'U':
            model->firstShown -= model->step;
            if (model->firstShown < 1) model->firstShown = 1;
            break;
        default:
            ProcessAnswer(model->list, answer, model->count, &model->cursor);
            break;
    }
    return PK_ACTION_REDRAW;
}
