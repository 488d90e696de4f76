// The pick list's terminal glue; see picklist.h.
#include "sync/picklist.h"

#include <stdio.h>
#include <string.h>

#include "api/psconsole.h"
#include "catalogs/zebo_names.h"
#include "common/nls/nls.h"
#include "common/ut/trace.h"
#include "sync/answer.h"
#include "sync/phasetime.h"
#include "sync/pkmarks.h"
#include "sync/pkmodel.h"
#include "sync/pkscreen.h"

PkTerminal pkTerminal = {psGetConsoleSize, psClearScreen, pkShowPage};

void pkShowPage(const std::vector<std::string>& lines) {
    for (const std::string& line : lines) nlMsg(MSG_LINE, line.c_str());
    nlMsg(MSG_PROMPT);
    fflush(stdout);
}

int16_t pkPickHandle(SyncList* syncList) {
    static const char* const fn = "pkPickHandle()";
    utBenchMark("pick.start");
    TRACE(TR_ORCLEVEL1, " %s: Enter\n", fn);
    pkInitEntries(syncList);
    if (syncList->getCount() == 0) {
        TRACE(TR_ORCLEVEL1, " %s: Exit - no file PICK list\n\n", fn);
        return PK_LEAVE;
    }

    PkModel model;
    pkModelInit(&model, syncList);
    std::vector<std::string> lines;
    for (;;) {
        int rows = 0;
        int cols = 0;
        pkTerminal.getSize(&rows, &cols);
        if (cols < PK_MIN_COLUMNS || rows < PK_MIN_ROWS) {
            nlMsg(MSG_SMALL_SCREEN);
            TRACE(TR_ORCLEVEL0, " %s: Exit - small screen size\n\n", fn);
            return PK_LEAVE;
        }
        pkTerminal.clearScreen();
        pkDrawPage(&model, rows, cols, &lines);
        pkTerminal.showPage(lines);

        char answer[PK_ANSWER_SIZE];
        if (utReadAnswer(answer, sizeof answer) < 0) {
            // A closed input can never bring another command.
            strcpy(answer, "Q");
        }
        TRACE(TR_ORCLEVEL2, " %s: Command = '%s'\n", fn, answer);
        switch (pkApplyCommand(&model, answer)) {
            case PK_ACTION_LEAVE:
                TRACE(TR_ORCLEVEL1, " %s: Exit - pick canceled\n\n", fn);
                return PK_LEAVE;
            case PK_ACTION_GO_ON:
                TRACE(TR_ORCLEVEL1, " %s: Exit - OK\n\n", fn);
                return PK_GO_ON;
            case PK_ACTION_REDRAW:
                break;
        }
    }
}
