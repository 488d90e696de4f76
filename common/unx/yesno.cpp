#include "common/unx/yesno.h"

#include <ctype.h>
#include <string.h>

#include <string>

const char* const nlYesWords =
    " YES YE Y YUP TRUE T ON YOUBETCHA OUI SI JA 1 COOL AFFIRMATIVE 10-4 WAY EXCELLENT "
    "BODACIOUS SURE ";
const char* const nlNoWords =
    " NO N NOPE FALSE F OFF OF NOWAYMAN NON NEIN 0 UNCOOL NEGATIVE BOGUS ";

namespace {

bool inList(const char* list, const char* answer) {
    if (answer == nullptr) return false;
    const char* begin = answer;
    while (isspace(static_cast<unsigned char>(*begin))) ++begin;
    const char* end = begin + strlen(begin);
    while (end > begin && isspace(static_cast<unsigned char>(end[-1]))) --end;
    if (begin == end) return false;
    std::string word = " ";
    for (const char* p = begin; p < end; ++p) {
        unsigned char c = static_cast<unsigned char>(*p);
        if (isspace(c)) return false;
        word += static_cast<char>(toupper(c));
    }
    word += ' ';
    return strstr(list, word.c_str()) != nullptr;
}

}  // namespace

bool nlIsYesWord(const char* answer) {
    return inList(nlYesWords, answer);
}
bool nlIsNoWord(const char* answer) {
    return inList(nlNoWords, answer);
}
