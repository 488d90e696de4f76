#include "sync/cmdline.h"

#include <ctype.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include "agent/agentenv.h"
#include "catalogs/zebo_names.h"
#include "common/nls/nls.h"

ZeboKeywordRow zeboCommandTable[CMD_COUNT] = {{"SHOWENVironment", CMD_SHOWENVIRONMENT, 7},
                                              {"SHOWCLIOPtions", CMD_SHOWCLIOPTIONS, 9},
                                              {"SHOWSESSOPtions", CMD_SHOWSESSOPTIONS, 10},
                                              {"SHOWSESSINFO", CMD_SHOWSESSINFO, 12},
                                              {"SHOWVERsions", CMD_SHOWVERSIONS, 7},
                                              {"PASSWord", CMD_PASSWORD, 5},
                                              {"SYNCdb", CMD_SYNCDB, 4},
                                              {"HELP", CMD_HELP, 4}};

ZeboKeywordRow zeboOptionsTable[OPTION_COUNT] = {{"-ZEBO_OPTfile", OPTION_ZEBO_OPTFILE, 9},
                                                 {"-OUTfile", OPTION_OUTFILE, 4},
                                                 {"-NUMCATalogs", OPTION_NUMCATALOGS, 7}};

uint32_t validOptions[CMD_COUNT][OPTION_COUNT];

namespace {

const char kCatalog[] = "zebo.cat";
const char kErrorLog[] = "zeboerror.log";

std::string upperCased(const char* text) {
    std::string result(text);
    for (char& c : result) c = static_cast<char>(toupper(static_cast<unsigned char>(c)));
    return result;
}

// The index of the first row that `word` (upper case) matches, or -1. A row
// matches when the word is not empty, not longer than the keyword, and its
// first max(length, minimum) characters equal the keyword's: a word shorter
// than the minimum never matches.
int matchRow(const std::string& word, ZeboKeywordRow* rows, int count) {
    if (word.empty()) return -1;
    for (int i = 0; i < count; ++i) {
        for (char* p = rows[i].keyword; *p; ++p) {
            *p = static_cast<char>(toupper(static_cast<unsigned char>(*p)));
        }
        size_t keywordLength = strlen(rows[i].keyword);
        if (word.size() > keywordLength) continue;
        size_t compared = word.size();
        if (rows[i].minLength > 0 && compared < static_cast<size_t>(rows[i].minLength)) {
            compared = static_cast<size_t>(rows[i].minLength);
        }
        if (strncmp(word.c_str(), rows[i].keyword, compared) == 0) return i;
    }
    return -1;
}

void buildValidOptions() {
    memset(validOptions, 0, sizeof validOptions);
    for (int command = CMD_SHOWENVIRONMENT; command <= CMD_SHOWVERSIONS; ++command) {
        validOptions[command][OPTION_ZEBO_OPTFILE] = 1;
        validOptions[command][OPTION_OUTFILE] = 1;
    }
    validOptions[CMD_PASSWORD][OPTION_ZEBO_OPTFILE] = 1;
    validOptions[CMD_SYNCDB][OPTION_ZEBO_OPTFILE] = 1;
    validOptions[CMD_SYNCDB][OPTION_NUMCATALOGS] = 1;
}

bool allDigits(const char* text) {
    for (; *text; ++text) {
        if (!isdigit(static_cast<unsigned char>(*text))) return false;
    }
    return true;
}

void storePath(char* field, const char* value) {
    snprintf(field, ZEBO_CMD_PATH_SIZE, "%s", value);
}

// Parses one -NAME=value argument. 0 or 4 (messages shown).
int16_t parseOption(const char* argument, ZeboCmdOptions* options) {
    if (!argument || !*argument) {
        nlMsgFramed(MSG_ARGUMENT_MISSING);
        return ZEBO_RC_BAD_OPTION;
    }
    // The value is looked at before the name, so that an option written
    // without a value is reported as such whatever its name (-optfile=).
    const char* equals = strchr(argument, '=');
    const char* value = equals ? equals + 1 : nullptr;
    if (!value || !*value) {
        nlMsgFramed(MSG_OPTION_WITHOUT_VALUE);
        return ZEBO_RC_BAD_OPTION;
    }
    int row =
        matchRow(upperCased(std::string(argument, equals).c_str()), zeboOptionsTable, OPTION_COUNT);
    if (row < 0) {
        nlMsg(MSG_SEPARATOR);
        nlMsg(MSG_UNKNOWN_OPTION);
        nlMsg(MSG_LINE, argument);
        return ZEBO_RC_BAD_OPTION;
    }
    uint32_t type = zeboOptionsTable[row].type;
    switch (type) {
        case OPTION_ZEBO_OPTFILE:
            storePath(options->optFile, value);
            break;
        case OPTION_OUTFILE:
            storePath(options->outFile, value);
            break;
        default:
            if (!allDigits(value)) {
                nlMsgFramed(MSG_BAD_NUMCATALOGS);
                return ZEBO_RC_BAD_OPTION;
            }
            options->numCatalogs = static_cast<uint32_t>(strtoul(value, nullptr, 10));
            break;
    }
    // Always the first command's row: see the header.
    if (validOptions[zeboCommandTable[0].type][type] != 1) {
        nlMsgFramed(MSG_OPTION_NOT_ALLOWED);
        return ZEBO_RC_BAD_OPTION;
    }
    return 0;
}

}  // namespace

int16_t zeboParseCmdLine(int argc, char** argv, uint32_t* cmdFlags, ZeboCmdOptions* options) {
    char installDir[ZEBO_CMD_PATH_SIZE];
    int rc = zeboGetAgentDir(installDir, sizeof installDir);
    if (rc == 2601) {
        printf("\n QEV2601E There is no Registry entry for ZEB for Oracle install path.");
        return static_cast<int16_t>(rc);
    }
    if (rc != 0) {
        printf("\n ERROR: Could not find ZEB for Oracle install path, rc = %d\n", rc);
        return static_cast<int16_t>(rc);
    }
    rc = nlInit(kCatalog, 10, kErrorLog, installDir, kErrorLog, 0, 'D', 100, 'S', NL_APP_AGENT, 1,
                1, 1, nullptr, kCatalog);
    if (rc != 0) {
        printf(
            "\nError: Couldn't initialize NLS object. Check that the message file, %s, exists "
            "in the ZEB for Oracle directory.  rc = %d\n",
            kCatalog, rc);
        return static_cast<int16_t>(rc);
    }
    buildValidOptions();

    if (argc < 2) {
        nlMsg(MSG_SEPARATOR);
        nlMsg(MSG_NO_COMMAND);
        cmdFlags[CMD_HELP] = 1;
        return ZEBO_RC_NO_COMMAND;
    }
    int row = matchRow(upperCased(argv[1]), zeboCommandTable, CMD_COUNT);
    if (row < 0) {
        nlMsg(MSG_SEPARATOR);
        nlMsg(MSG_UNKNOWN_COMMAND);
        nlMsg(MSG_LINE, argv[1]);
        cmdFlags[CMD_HELP] = 1;
        return ZEBO_RC_NO_COMMAND;
    }
    uint32_t type = zeboCommandTable[row].type;
    cmdFlags[type < static_cast<uint32_t>(CMD_COUNT) ? type : static_cast<uint32_t>(CMD_HELP)] = 1;
    if (argc == 2) return 0;

    for (int i = 2; i < argc; ++i) {
        int16_t optionRc = parseOption(argv[i], options);
        if (optionRc != 0) {
            cmdFlags[CMD_HELP] = 1;
            return optionRc;
        }
    }
    return 0;
}

void zeboShowBanner() {
    nlMsg(MSG_BANNER, 5, 5, 2, 2, 1, "1997", "2011");
}

void zeboShowUsage() {
    nlMsg(MSG_SEPARATOR);
    zeboShowBanner();
    nlMsg(MSG_USAGE_COMMANDS);
    nlMsgFramed(MSG_USAGE_OPTIONS);
    nlMsg(MSG_SEPARATOR);
}
