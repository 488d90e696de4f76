// Test support for the message repository: a fresh repository object per
// test whose nine output routines record what they are given, and a check
// that no output routine ran while nls_mutex was held.
#ifndef ZEBO_COMMON_NLS_NLSTESTUTIL_H
#define ZEBO_COMMON_NLS_NLSTESTUTIL_H

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "common/nls/nls.h"
#include "testing/testutil.h"

class NlsTest : public ::testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override;

    // Creates the object and opens the catalogs; returns nlInit's result.
    // The error log is errorLog().
    int init(const char* msgFile, const std::string& installDir, int appType = NL_APP_AGENT,
             const char* reposFile = nullptr, int cacheLimit = 10);

    // Sets LANG (and the process locale through nlInit later).
    static void setLang(const char* lang);

    std::string errorLog() const { return tmp.file("zeboerror.log"); }
    // Texts given to output routines, with their severity, in order.
    static std::vector<std::pair<int, std::string>>& captured();
    // All captured texts joined.
    static std::string output();

    // Folders of compiled catalogs.
    static std::string catalogs();      // zebo.cat, rvkclientV3.cat
    static std::string testCatalogs();  // nlstest.cat (en_US only)

    zebotest::TempDir tmp;
    char localeField[1024] = "";
};

// A message formatted by the repository, "(null)" when it has none; in the
// user's language or from the English catalog.
std::string nlsFormatted(bool english, unsigned number, ...);
template <typename... Inserts>
std::string nlsText(unsigned number, Inserts... inserts) {
    return nlsFormatted(false, number, inserts...);
}
template <typename... Inserts>
std::string nlsEnglish(unsigned number, Inserts... inserts) {
    return nlsFormatted(true, number, inserts...);
}

#endif
