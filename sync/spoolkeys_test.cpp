// Cutting a spool into keys, read ahead on a thread or not: the same lines
// and keys in the same order past many turns of the ring, SQL*Plus's own
// lines told apart, and a stop that ends the reading.
#include "sync/spoolkeys.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "testing/testutil.h"

namespace {

// Every line that adds keys, as "F:" or "H:" and its keys joined by "|".
std::vector<std::string> readAll(const std::string& path, bool ahead, size_t stopAfter = 0) {
    FILE* spool = fopen(path.c_str(), "r");
    EXPECT_NE(nullptr, spool);
    std::vector<std::string> lines;
    {
        UtSpoolKeys keys(spool, ahead);
        bool feedback = false;
        while (keys.nextLine(&feedback)) {
            std::string line = feedback ? "F:" : "H:";
            while (const char* key = keys.nextKey()) line += std::string(key) + "|";
            lines.push_back(line);
            if (lines.size() == stopAfter) {
                keys.stop();
                EXPECT_FALSE(keys.nextLine(&feedback));
                break;
            }
        }
    }
    fclose(spool);
    return lines;
}

TEST(SpoolKeysTest, AheadCutsTheSameKeysAsTheReaderItself) {
    zebotest::TempDir dir;
    std::string text = "\nSession altered.\n";
    // Past a turn of the ring.
    const int count = (AHEAD_BATCHES + 1) * UtSpoolKeys::kLines;
    for (int n = 0; n < count; ++n) {
        text += "c-" + std::to_string(n) + "-1\n";
        if (n % 1000 == 7) text += std::string(80, 'w') + "\n" + "tail\n";  // wrapped
        if (n % 700 == 3) text += "\n";
    }
    text += std::string(600, 'x') + "\n" + std::to_string(count) + " rows selected.\n";
    std::string path = dir.file("spool.out");
    zebotest::writeFile(path, text);

    std::vector<std::string> plain = readAll(path, false);
    const size_t wrapped = (count - 7 + 999) / 1000;
    ASSERT_EQ(count + 2 * wrapped + 2 + 1, plain.size());
    EXPECT_EQ("H:c-0-1|", plain.front());
    EXPECT_EQ("H:" + std::string(80, 'w') + "|", plain[8]);
    EXPECT_EQ("H:tail|" + std::string(80, 'w') + "tail|", plain[9]);
    EXPECT_EQ("H:" + std::string(88, 'x') + "|", plain[plain.size() - 2]) << "the piece after 512";
    EXPECT_EQ("F:" + std::to_string(count) + "|", plain.back());

    EXPECT_EQ(plain, readAll(path, true));
}

TEST(SpoolKeysTest, AStopEndsTheReadingAndAnEmptySpoolHasNoLines) {
    zebotest::TempDir dir;
    std::string text;
    for (int n = 0; n < 3 * AHEAD_BATCHES * UtSpoolKeys::kLines; ++n)
        text += "k" + std::to_string(n) + "\n";
    std::string path = dir.file("spool.out");
    zebotest::writeFile(path, text);
    std::vector<std::string> some = readAll(path, true, 10);
    ASSERT_EQ(10u, some.size());
    EXPECT_EQ("H:k9|", some.back());

    zebotest::writeFile(path, "");
    EXPECT_TRUE(readAll(path, true).empty());
    EXPECT_TRUE(readAll(path, false).empty());
}

}  // namespace
