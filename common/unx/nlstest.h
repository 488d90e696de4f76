// Test support for the locale layer: a fixture that restores the layouts,
// the seams, the C locale and TZ after each test, a fake langinfo table, and
// a fixed clock.
#ifndef ZEBO_COMMON_UNX_NLSTEST_H
#define ZEBO_COMMON_UNX_NLSTEST_H

#include <gtest/gtest.h>
#include <langinfo.h>
#include <time.h>

#include <map>
#include <optional>
#include <string>

#include "common/unx/nlsseam.h"
#include "testing/seam.h"

namespace nlstest {

// Items answered by the fake langinfo; others go to the real nl_langinfo.
extern std::map<nl_item, std::string> fakeItems;
const char* fakeLangInfo(nl_item item);

// Seconds since the epoch of a UTC date and time.
time_t utc(int year, int month, int day, int hour, int minute, int second);

class LocaleTest : public ::testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override;
    // Switches LC_ALL to a generated locale; fails the test if it is missing.
    void useLocale(const char* name);
    // Routes langinfo through fakeItems.
    void fakeLocale(std::map<nl_item, std::string> items);
    // Fixes the clock (UTC, as TZ is UTC during the tests).
    void fixClock(time_t secs, long nanos);

  private:
    std::optional<zebotest::ScopedSeam<NlLangInfoFn>> langInfo_;
    std::optional<zebotest::FixedClock> clock_;
    std::string oldTz_;
    bool hadTz_ = false;
};

}  // namespace nlstest

#endif
