#include "common/nls/nlstestutil.h"

#include <locale.h>
#include <pthread.h>
#include <stdarg.h>
#include <stdlib.h>

#include <mutex>

#include "common/nls/nlscatalog.h"
#include "common/nls/nlsdecode.h"
#include "common/nls/nlsobject.h"
#include "common/nls/nlssignature.h"
#include "zebo_config.h"

namespace {

std::mutex gCaptureLock;
std::vector<std::pair<int, std::string>> gCaptured;
bool gOutputUnderLock = false;

template <int S>
int capture(const char* text) {
    if (nls_mutex && nls_mutex->count > 0 && pthread_equal(nls_mutex->owner, pthread_self()))
        gOutputUnderLock = true;
    std::lock_guard<std::mutex> hold(gCaptureLock);
    gCaptured.emplace_back(S, text);
    return 0;
}

const nlOutputRoutine kRoutines[NL_SEVERITY_COUNT] = {
    capture<0>, capture<1>, capture<2>, capture<3>, capture<4>,
    capture<5>, capture<6>, capture<7>, capture<8>,
};

}  // namespace

void NlsTest::SetUp() {
    nlFreeRepository();
    gCaptured.clear();
    gOutputUnderLock = false;
    nlCatgetsSeam = catgets;
    ScheduleMode = 0;
    nlSetScheduleLog(nullptr);
    setLang("C");
}

void NlsTest::TearDown() {
    nlFreeRepository();
    nlSetSignatures(nullptr, 0);
    nlCatgetsSeam = catgets;
    ScheduleMode = 0;
    nlSetScheduleLog(nullptr);
    setLang("C");
    setlocale(LC_ALL, "C");
    EXPECT_FALSE(gOutputUnderLock) << "an output routine ran while nls_mutex was held";
}

int NlsTest::init(const char* msgFile, const std::string& installDir, int appType,
                  const char* reposFile, int cacheLimit) {
    if (!newNlsGlobalObject(kRoutines, 0)) return -1;
    return nlInit(msgFile, cacheLimit, errorLog().c_str(), installDir.c_str(), errorLog().c_str(),
                  0, 'D', 100, 'S', appType, 1, 1, 1, localeField, reposFile);
}

void NlsTest::setLang(const char* lang) {
    setenv("LANG", lang, 1);
}

std::vector<std::pair<int, std::string>>& NlsTest::captured() {
    return gCaptured;
}

std::string NlsTest::output() {
    std::string all;
    for (const auto& c : gCaptured) all += c.second;
    return all;
}

std::string NlsTest::catalogs() {
    return zebotest::catalogDir();
}
std::string NlsTest::testCatalogs() {
    return ZEBO_BINARY_DIR "/testcatalogs";
}

std::string nlsFormatted(bool english, unsigned number, ...) {
    va_list args;
    va_start(args, number);
    int severity = -1;
    char* t =
        (english ? nlFormatMsgEnglish : nlFormatMsg)(nlGetGlobalObject(), number, args, &severity);
    va_end(args);
    std::string s = t ? t : "(null)";
    if (!t) {
        EXPECT_EQ(0, severity);
    }
    free(t);
    return s;
}
