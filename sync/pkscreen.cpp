// Drawing the pick list into lines; see pkscreen.h.
#include "sync/pkscreen.h"

#include <stdlib.h>
#include <string.h>

#include "catalogs/zebo_names.h"
#include "common/nls/nls.h"
#include "common/unx/nlsdate.h"
#include "common/unx/nlsfmt.h"
#include "common/ut/trace.h"
#include "sync/compactsize.h"
#include "sync/visible.h"

namespace {

// The left margin of the dashed rule and the ruler, under the "| " of the
// entry rows; the column titles and entry texts start two further on.
const int32_t rulerMargin = 8;
const int32_t titleMargin = 10;
const int32_t entryMargin = 12;

const char* const emptyRow = "        | ";

// A formatted message as a string; a missing message is an empty text.
std::string takeText(char* text) {
    std::string result = text ? text : "";
    free(text);
    return result;
}

// A fixed-size text field of a record, which may fill its field entirely.
std::string fieldText(const char* field, size_t size) {
    return std::string(field, strnlen(field, size));
}

}  // namespace

void FitStringToScreenSize(char* destination, const char* source, int32_t offset, int32_t width) {
    if (source == nullptr) {
        destination[0] = '\0';
        return;
    }
    size_t length = strlen(source);
    if (offset < 0) offset = 0;
    if (length < static_cast<size_t>(offset)) {
        strcpy(destination, " ");
        return;
    }
    size_t take = length - offset;
    if (width < 0) width = 0;
    if (take > static_cast<size_t>(width)) take = width;
    memcpy(destination, source + offset, take);
    destination[take] = '\0';
}

std::string pkFit(const char* source, int32_t offset, int32_t width) {
    std::string buffer(static_cast<size_t>(width > 1 ? width : 1) + 1, '\0');
    FitStringToScreenSize(&buffer[0], source, offset, width);
    buffer.resize(strlen(buffer.c_str()));
    return buffer;
}

int pkFormatEntry(PkCursor* cursor, int32_t number, std::string* text) {
    static const char* const fn = "pkFormatEntry()";
    TRACE(TR_ORCLEVEL1, " %s: Enter\n", fn);
    SyncList::Node* node = pkCursorGoto(cursor, number);
    if (node == nullptr) {
        text->clear();
        TRACE(TR_ORCLEVEL0, " %s: Exit - Invalid element\n\n", fn);
        return -1;
    }
    const OrphanRecord& record = node->element;
    nlDateTime inserted = {record.insYear, record.insMonth,  record.insDay,
                           record.insHour, record.insMinute, record.insSecond};
    char dateText[32];
    char timeText[32];
    nlFormatDate(inserted, dateText, sizeof dateText);
    nlFormatTime(inserted, timeText, sizeof timeText);
    // Four characters for the size leave an 80-column row room for 40 and
    // more characters of the name; the exact size is in the report and in
    // the total before the deletion question.
    uint64_t size = (static_cast<uint64_t>(record.sizeHi) << 32) | record.sizeLo;
    std::string sizeText = utCompactSize(size);
    std::string raw = fieldText(record.name, sizeof record.name).substr(0, PK_ENTRY_NAME_MAX);
    std::string name = utVisibleText(raw.c_str());

    TRACE(TR_ORCLEVEL2, " %s: ObjectName = '%s'\n", fn, name.c_str());
    if (record.picked)
        TRACE(TR_ORCLEVEL1, " %s: Element is picked\n", fn);
    else
        TRACE(TR_ORCLEVEL1, " %s: Element is not picked\n", fn);
    *text =
        takeText(nlFormatText(MSG_ENTRY_TEXT, dateText, timeText, sizeText.c_str(), name.c_str()));
    TRACE(TR_ORCLEVEL1, " %s: Exit - OK\n\n", fn);
    return 0;
}

std::string pkRuler(int32_t offset, int32_t width) {
    int64_t length = static_cast<int64_t>(width) - rulerMargin;
    std::string numbers;
    // A number takes as many columns as it has digits up to three; from 1000
    // on the fourth digit pushes the rest of the ruler one column right, as
    // the ruler has always been drawn.
    for (int64_t column = offset; static_cast<int64_t>(numbers.size()) < length; ++column) {
        if (column % 10 == 0) {
            int64_t shown = column;
            numbers += std::to_string(shown);
            if (shown >= 10) ++column;
            if (shown > 99) ++column;
        } else {
            numbers += '-';
        }
    }
    if (length < 0) length = 0;
    numbers.resize(static_cast<size_t>(length));
    return std::string(rulerMargin, ' ') + numbers;
}

void pkDrawPage(PkModel* model, int rows, int cols, std::vector<std::string>* lines) {
    lines->clear();
    const OrphanRecord& first = model->list->head()->element;
    std::string node = utVisibleText(fieldText(first.id, sizeof first.id).c_str());
    std::string owner = utVisibleText(fieldText(first.owner, sizeof first.owner).c_str());
    auto addLine = [&](const std::string& text) { lines->push_back(pkFit(text.c_str(), 0, cols)); };

    addLine(takeText(nlFormatText(MSG_TITLE)));
    addLine(takeText(nlFormatText(MSG_NODE, node.c_str())));
    if (!owner.empty()) addLine(takeText(nlFormatText(MSG_OWNER, owner.c_str())));
    addLine(takeText(nlFormatText(MSG_SEPARATOR)));
    std::string titles = takeText(nlFormatText(MSG_COLUMN_TITLES));
    addLine(pkFit(titles.c_str(), model->offset, cols - titleMargin));
    addLine(std::string(rulerMargin, ' ') + std::string(cols - rulerMargin, '-'));
    addLine(takeText(nlFormatText(MSG_SEPARATOR)));

    int entryRows = rows - PK_FIXED_ROWS - (owner.empty() ? 0 : 1);
    if (entryRows < 0) entryRows = 0;
    for (int row = 0; row < entryRows; ++row) {
        int64_t number = static_cast<int64_t>(model->firstShown) + row;
        std::string text;
        if (number > model->count || number < 1 ||
            pkFormatEntry(&model->cursor, static_cast<int32_t>(number), &text) != 0) {
            lines->push_back(emptyRow);
            continue;
        }
        std::string shown = pkFit(text.c_str(), model->offset, cols - entryMargin);
        int mark = model->cursor.node->element.picked ? int{'x'} : int{' '};
        lines->push_back(
            takeText(nlFormatText(MSG_ENTRY_ROW, mark, static_cast<int>(number), shown.c_str())));
    }
    model->step = entryRows;

    lines->push_back(pkRuler(model->offset, cols));
    addLine(takeText(nlFormatText(MSG_HELP_1)));
    addLine(takeText(nlFormatText(MSG_HELP_2)));
    addLine(takeText(nlFormatText(MSG_HELP_3)));
}
