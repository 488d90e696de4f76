#include "common/unx/nlstest.h"

#include <locale.h>
#include <stdlib.h>

#include "common/unx/nlsfmt.h"
#include "common/unx/nlsseam.h"

namespace nlstest {

std::map<nl_item, std::string> fakeItems;

const char* fakeLangInfo(nl_item item) {
    auto it = fakeItems.find(item);
    return it != fakeItems.end() ? it->second.c_str() : nl_langinfo(item);
}

time_t utc(int year, int month, int day, int hour, int minute, int second) {
    struct tm t = {};
    t.tm_year = year - 1900;
    t.tm_mon = month - 1;
    t.tm_mday = day;
    t.tm_hour = hour;
    t.tm_min = minute;
    t.tm_sec = second;
    return timegm(&t);
}

void LocaleTest::SetUp() {
    const char* tz = getenv("TZ");
    hadTz_ = tz != nullptr;
    if (hadTz_) oldTz_ = tz;
    setenv("TZ", "UTC0", 1);
    tzset();
}

void LocaleTest::TearDown() {
    langInfo_.reset();
    clock_.reset();
    fakeItems.clear();
    setlocale(LC_ALL, "C");
    nlSetDateFormat(1);
    nlSetTimeFormat(1);
    nlSetNumberFormat(1);
    if (hadTz_) {
        setenv("TZ", oldTz_.c_str(), 1);
    } else {
        unsetenv("TZ");
    }
    tzset();
}

void LocaleTest::useLocale(const char* name) {
    ASSERT_NE(setlocale(LC_ALL, name), nullptr) << name << " (LOCPATH=" << getenv("LOCPATH") << ")";
}

void LocaleTest::fakeLocale(std::map<nl_item, std::string> items) {
    fakeItems = std::move(items);
    langInfo_.emplace(nlLangInfoSeam, fakeLangInfo);
}

void LocaleTest::fixClock(time_t secs, long nanos) {
    clock_.emplace(secs, nanos);
}

}  // namespace nlstest
