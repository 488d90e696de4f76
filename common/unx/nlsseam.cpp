#include "common/unx/nlsseam.h"

const char* nlDefaultLangInfo(nl_item item) {
    const char* text = nl_langinfo(item);
    return text ? text : "";
}

NlLangInfoFn nlLangInfoSeam = nlDefaultLangInfo;
