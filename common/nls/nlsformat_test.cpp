// Formatting and showing messages of the test catalog (testcatalogs/en_US/
// nlstest.cat), which holds one message for each layout the reader handles.
#include <string.h>

#include <atomic>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "common/nls/nlscatalog.h"
#include "common/nls/nlsdecode.h"
#include "common/nls/nlstestutil.h"
#include "common/thrd/psmutex.h"
#include "common/ut/testflags.h"
#include "testing/seam.h"

namespace {

class NlsFormatTest : public NlsTest {
  protected:
    void SetUp() override {
        NlsTest::SetUp();
        ASSERT_EQ(0, init("nlstest.cat", testCatalogs()));
    }
};

TEST_F(NlsFormatTest, OrderedFormPlacesEveryInsertTypeInItsSlot) {
    // Caller's order: width and int, string, unsigned, double, wide string, hex.
    EXPECT_EQ("QES0001W [ab  |    42|7|3.14|wide|ff]\n",
              nlsText(1, 6, 42, "ab", 7u, 3.14159, L"wide", 255u));
    // Order list 2, 1: the first argument lands in the second slot.
    EXPECT_EQ("QES0004E second B, first A\n", nlsText(4, "A", "B"));
    EXPECT_EQ("QES0004E second (null), first A\n", nlsText(4, "A", static_cast<char*>(nullptr)));
    std::string big(5000, 'n');
    EXPECT_EQ("QES0004E second " + big + ", first A\n", nlsText(4, "A", big.c_str()));
}

TEST_F(NlsFormatTest, PrefixTrailerAndLettersShapeTheText) {
    EXPECT_EQ("QES0003I 5 items in box.\n", nlsText(3, 5, "box"));
    EXPECT_EQ("QES0005I text before the trailer 9\n", nlsText(5, 9));
    EXPECT_EQ("QES2345K five digits x\n", nlsText(12345, "x"));
    EXPECT_EQ("letter T\n", nlsText(20));
    EXPECT_EQ("letter R\n", nlsText(21));
    EXPECT_EQ("letter L y\n", nlsText(22, "y"));
    EXPECT_EQ("QES0023S letter S\n", nlsText(23));
    EXPECT_EQ("", nlsText(7));  // an empty body is an empty text
}

TEST_F(NlsFormatTest, OutputGoesToTheRoutineOfItsSeverityAndErrorsToTheLog) {
    nlMsg(20);
    nlMsg(21);
    nlMsg(3, 1, "a");
    nlMsg(1, 1, 1, "s", 1u, 1.0, L"w", 1u);
    nlMsg(4, "A", "B");
    nlMsg(23);
    nlMsg(22, "l");
    nlPrintf(stderr, 12345, "k");  // the stream is not used
    ASSERT_EQ(8u, captured().size());
    int want[] = {NL_SEV_T, NL_SEV_R, NL_SEV_I, NL_SEV_W, NL_SEV_E, NL_SEV_S, NL_SEV_L, NL_SEV_K};
    for (size_t i = 0; i < 8; ++i) EXPECT_EQ(want[i], captured()[i].first) << i;

    // Severities above 4 are logged, each as one stamped line.
    std::vector<std::string> log = zebotest::lines(zebotest::readFile(errorLog()));
    ASSERT_EQ(4u, log.size());
    std::regex line(R"(\d\d/\d\d/\d{4} \d\d:\d\d:\d\d TID<\d+> ==> QES0004E second B, first A)");
    EXPECT_TRUE(std::regex_match(log[1], line)) << log[1];
    EXPECT_NE(std::string::npos, log[0].find("==> QES0001W ["));
    EXPECT_NE(std::string::npos, log[2].find("==> QES0023S letter S"));
    EXPECT_NE(std::string::npos, log[3].find("==> letter L l"));
}

TEST_F(NlsFormatTest, MissingCorruptedAndRetiredMessages) {
    nlMsg(999);
    ASSERT_EQ(1u, captured().size());
    EXPECT_EQ(NL_SEV_E, captured()[0].first);
    EXPECT_TRUE(std::regex_match(
        captured()[0].second,
        std::regex(R"(QES9999E nlscatalog\.cpp\(\d+\): Message No 999 could not be found\.\n)")))
        << captured()[0].second;
    // A catalog text equal to catgets' default counts as missing.
    EXPECT_EQ("(null)", nlsText(10));
    EXPECT_NE(std::string::npos, captured()[1].second.find("Message No 10 could not be found."));
    for (unsigned bad : {8u, 9u, 11u, 12u}) {
        captured().clear();
        EXPECT_EQ("(null)", nlsText(bad));
        ASSERT_EQ(1u, captured().size()) << bad;
        EXPECT_NE(std::string::npos, captured()[0].second.find("Message No " + std::to_string(bad) +
                                                               " is corrupted."));
    }
    // Letter M: nothing at all, not even an error.
    captured().clear();
    EXPECT_EQ("(null)", nlsText(6));
    nlMsg(6);
    EXPECT_TRUE(captured().empty()) << output();

    std::string log = zebotest::readFile(errorLog());
    EXPECT_NE(std::string::npos, log.find("Message No 999 could not be found."));
    EXPECT_NE(std::string::npos, log.find("Message No 12 is corrupted."));
    EXPECT_EQ(std::string::npos, log.find("No 6 "));

    captured().clear();
    EXPECT_EQ(NL_SEV_W, nlGetSeverity(1));
    EXPECT_EQ(NL_SEV_Z, nlGetSeverity(2));
    EXPECT_EQ(NL_SEV_K, nlGetSeverity(12345));
    EXPECT_EQ(-1, nlGetSeverity(6));
    EXPECT_EQ(-1, nlGetSeverity(999));
    EXPECT_EQ(1u, captured().size());  // QES9999E for 999 only
}

TEST_F(NlsFormatTest, NoMemoryForAMessageIsReportedWithoutLogging) {
    zebotest::ScopedSeam<void* (*)(size_t)> noMemory(psAllocator.mallocFn,
                                                     [](size_t) -> void* { return nullptr; });
    nlMsg(3, 1, "x");
    ASSERT_EQ(1u, captured().size());
    EXPECT_EQ("QES0109E Insufficient memory for allocation of message structure.\n",
              captured()[0].second);
    EXPECT_EQ("", zebotest::readFile(errorLog()));
}

TEST_F(NlsFormatTest, LogPrintfPlacesTheTextAndShowsItAsAsked) {
    char buf[64];
    nlMsgDesc desc = {4, 0, NL_LOG_NEWLINE | NL_LOG_ERRORLOG | NL_LOG_OUTPUT, nullptr};
    EXPECT_EQ(28, nlLogPrintf(&desc, buf, sizeof buf, "A", "B"));
    EXPECT_STREQ("QES0004E second B, first A\n\n", buf);
    EXPECT_EQ(28, desc.advance);
    ASSERT_EQ(1u, captured().size());
    EXPECT_EQ(NL_SEV_E, captured()[0].first);
    EXPECT_NE(std::string::npos, zebotest::readFile(errorLog()).find("second B, first A"));

    // 28 characters need 29 bytes.
    char small[28] = "untouched";
    EXPECT_EQ(0, nlLogPrintf(&desc, small, sizeof small, "A", "B"));
    EXPECT_STREQ("untouched", small);
    EXPECT_EQ(0, desc.advance);

    nlMsgDesc toStdout = {3, 0, NL_LOG_STDOUT, nullptr};
    TEST_CLC_TIMESTAMP.set = 1;
    testing::internal::CaptureStdout();
    EXPECT_EQ(static_cast<short>(strlen("QES0003I 2 items in bin.\n")),
              nlLogPrintf(&toStdout, buf, sizeof buf, 2, "bin"));
    std::string out = testing::internal::GetCapturedStdout();
    TEST_CLC_TIMESTAMP.set = 0;
    EXPECT_TRUE(std::regex_match(out, std::regex(R"(\S+ \S+ QES0003I 2 items in bin\.\n)"))) << out;
    EXPECT_EQ(1u, captured().size());  // no output routine without flag 32

    nlInsertResult r;
    nlMsgDesc structured = {3, 0, NL_LOG_STRUCTURED, &r};
    EXPECT_EQ(0, nlLogPrintf(&structured, buf, sizeof buf, 8, "crates"));
    EXPECT_EQ(2, r.insertCount);
    ASSERT_EQ(1, r.itemCount);
    EXPECT_EQ(8, r.items[0].value.i);
}

TEST_F(NlsFormatTest, StructuredLookupHandsOnTypedInserts) {
    nlInsertResult r;
    nlMsgDesc desc = {1, 0, 0, nullptr};
    const wchar_t* wide = L"w";
    const char* str = "s";
    ASSERT_EQ(0, nlOrderInsert(nlGetGlobalObject(), &desc, &r, 6, -42, str, 7u, 2.5, wide, 9u));
    EXPECT_EQ(3, r.severityClass);  // W
    EXPECT_EQ(6, r.insertCount);
    ASSERT_EQ(5, r.itemCount);  // the double is not handed on
    EXPECT_EQ(NL_ITEM_INT, r.items[0].type);
    EXPECT_EQ(-42, r.items[0].value.i);
    EXPECT_EQ(NL_ITEM_POINTER, r.items[1].type);
    EXPECT_EQ(str, r.items[1].value.p);
    EXPECT_EQ(NL_ITEM_UNSIGNED, r.items[2].type);
    EXPECT_EQ(7u, r.items[2].value.u);
    EXPECT_EQ(wide, r.items[3].value.p);
    EXPECT_EQ(9u, r.items[4].value.u);

    desc.number = 20;
    ASSERT_EQ(0, nlOrderInsert(nlGetGlobalObject(), &desc, &r));
    EXPECT_EQ(7, r.severityClass);  // T
    EXPECT_STREQ("", r.text);

    desc.number = 999;
    EXPECT_EQ(-1, nlOrderInsert(nlGetGlobalObject(), &desc, &r));
    EXPECT_STREQ("?????", r.text);
    EXPECT_EQ(-1, nlOrderInsert(nullptr, &desc, &r));
    EXPECT_STREQ("??????", r.text);

    nlInsertValue v;
    v.i = 1;
    EXPECT_EQ(-1, nlInsertItem(&r, 4, v));
}

TEST_F(NlsFormatTest, ThreadsShareASmallCache) {
    nlFreeRepository();
    ASSERT_EQ(0, init("nlstest.cat", testCatalogs(), NL_APP_AGENT, nullptr, 3));
    psThreadingInit(1);
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([t, &wrong] {
            for (int i = 0; i < 300; ++i) {
                bool ok = true;
                switch ((i + t) % 5) {
                    case 0:
                        ok = nlsText(3, i, "box") ==
                             "QES0003I " + std::to_string(i) + " items in box.\n";
                        break;
                    case 1:
                        ok = nlsText(4, "A", "B") == "QES0004E second B, first A\n";
                        break;
                    case 2:
                        ok = nlsText(20) == "letter T\n";
                        break;
                    case 3:
                        ok = nlsText(12345, "k") == "QES2345K five digits k\n";
                        break;
                    default: {
                        char want[64];
                        snprintf(want, sizeof want, "QES0001W [s   |%*d|1|0.50|w|10]\n", 2, i);
                        ok = nlsText(1, 2, i, "s", 1u, 0.5, L"w", 16u) == want;
                        break;
                    }
                }
                if (!ok) ++wrong;
            }
        });
    }
    for (std::thread& th : threads) th.join();
    psThreadingInit(0);
    EXPECT_EQ(0, wrong.load());
    EXPECT_TRUE(captured().empty()) << output();
}

TEST_F(NlsFormatTest, ScheduleModeAppendsToTheScheduleLog) {
    std::string sched = tmp.file("sched.log");
    nlSetScheduleLog(sched.c_str());
    nlMsg(20);
    EXPECT_EQ("", zebotest::readFile(sched));
    ScheduleMode = 1;
    nlMsg(21);
    EXPECT_NE(std::string::npos, zebotest::readFile(sched).find("==> letter R"));
}

TEST_F(NlsFormatTest, NothingIsShownOnceTheRepositoryIsReleased) {
    nlFreeRepository();
    EXPECT_EQ(nullptr, nlGetGlobalObject());
    EXPECT_EQ(0, nlMsg(3, 1, "x"));
    EXPECT_EQ(nullptr, nlFormatText(3, 1, "x"));
    EXPECT_EQ(-1, nlGetSeverity(3));
    EXPECT_TRUE(captured().empty());
}

}  // namespace
