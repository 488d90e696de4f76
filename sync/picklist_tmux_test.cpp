// The pick list in a real terminal: zebosync runs in a tmux window of a set
// size, answers are typed with send-keys and the screen is read back with
// capture-pane. The console reports the window's size less one in each
// direction, so a window of 80 by 24 shows a page for 79 by 23.
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <sstream>
#include <thread>

#include "sync/syncrun_testutil.h"
#include "testing/testutil.h"

namespace {

using agenttest::shellQuoted;

// A private tmux server with one window running a command; killed at the end.
class Tmux {
  public:
    Tmux(int cols, int rows, const std::string& command) {
        static int serial = 0;
        socket_ = "zebopk" + std::to_string(getpid()) + "_" + std::to_string(++serial);
        std::string shell = command + "; echo ZEBOSYNC-EXIT=$?; sleep 600";
        zebotest::RunResult r = tmux("new-session -d -x " + std::to_string(cols) + " -y " +
                                     std::to_string(rows) + " -s pk " + shellQuoted(shell));
        EXPECT_EQ(0, r.status) << r.err;
        socketPath_ = tmux("display-message -p -t pk '#{socket_path}'").out;
        while (!socketPath_.empty() && socketPath_.back() == '\n') socketPath_.pop_back();
    }
    ~Tmux() {
        tmux("kill-server");
        if (!socketPath_.empty()) unlink(socketPath_.c_str());
    }
    Tmux(const Tmux&) = delete;
    Tmux& operator=(const Tmux&) = delete;

    std::string screen() { return tmux("capture-pane -p -t pk").out; }

    // Waits (at most 20 seconds) until the screen satisfies `ready`.
    bool waitUntil(const std::function<bool(const std::string&)>& ready) {
        for (int i = 0; i < 400; ++i) {
            if (ready(screen())) return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        return false;
    }
    bool waitFor(const std::string& text) {
        return waitUntil([&](const std::string& s) { return s.find(text) != std::string::npos; });
    }

    // Types lines ahead, without waiting for the program.
    void typeAhead(const std::string& line) {
        tmux("send-keys -t pk -l -- " + shellQuoted(line));
        tmux("send-keys -t pk Enter");
    }

    // Types a command at the pick list's prompt and waits for the next page.
    bool command(const std::string& text) {
        tmux("send-keys -t pk -l -- " + shellQuoted(text));
        if (!waitFor("Command: " + text)) return false;
        tmux("send-keys -t pk Enter");
        return waitUntil([](const std::string& s) { return promptReady(s); });
    }

    // The page is drawn and waits for a command.
    static bool promptReady(const std::string& screen) {
        std::string last;
        std::istringstream lines(screen);
        for (std::string line; std::getline(lines, line);)
            if (line.find_first_not_of(' ') != std::string::npos) last = line;
        return last == "Command:" || last == "Command: ";
    }

  private:
    zebotest::RunResult tmux(const std::string& args) {
        return zebotest::run("tmux -L " + socket_ + " -f /dev/null " + args);
    }
    std::string socket_;
    std::string socketPath_;
};

struct Row {
    bool marked;
    int number;
};

// The entry rows of a page: a mark (blank or "x"), blanks, the entry's
// number, a blank and "|".
std::vector<Row> entryRows(const std::string& screen) {
    std::vector<Row> rows;
    std::istringstream lines(screen);
    for (std::string line; std::getline(lines, line);) {
        if (line.size() < 4 || (line[0] != ' ' && line[0] != 'x')) continue;
        size_t digits = line.find_first_not_of(' ', 1);
        if (digits == std::string::npos || digits == 1) continue;
        size_t end = line.find_first_not_of("0123456789", digits);
        if (end == digits || end == std::string::npos || line.compare(end, 2, " |") != 0) continue;
        rows.push_back({line[0] == 'x', std::stoi(line.substr(digits, end - digits))});
    }
    return rows;
}

std::string marked(const std::string& screen) {
    std::string numbers;
    for (const Row& r : entryRows(screen))
        if (r.marked) numbers += (numbers.empty() ? "" : " ") + std::to_string(r.number);
    return numbers;
}

int firstEntry(const std::string& screen) {
    std::vector<Row> rows = entryRows(screen);
    return rows.empty() ? 0 : rows.front().number;
}

// The ruler: eight blanks, then column numbers and dashes.
std::string ruler(const std::string& screen) {
    std::istringstream lines(screen);
    for (std::string line; std::getline(lines, line);)
        if (line.compare(0, 8, "        ") == 0 &&
            line.find_first_of("0123456789") != std::string::npos)
            return line.substr(8);
    return "";
}

// Types each command of `steps` in turn and checks what `read` makes of
// the page that follows it.
template <typename Expected, size_t N, typename Read>
void expectAfterEach(Tmux& window, const std::pair<const char*, Expected> (&steps)[N], Read read) {
    for (const auto& step : steps) {
        ASSERT_TRUE(window.command(step.first)) << step.first << "\n" << window.screen();
        EXPECT_EQ(step.second, read(window.screen())) << "after " << step.first;
    }
}

class PickListTmuxTest : public ::testing::Test {
  protected:
    void SetUp() override {
        if (!syncrun::Scratch::programsBuilt()) GTEST_SKIP() << "zebosync or its tools not built";
        if (zebotest::run("tmux -V").status != 0) GTEST_SKIP() << "tmux is not installed";
    }

    // Starts zebosync in a window and answers the catalog prompts and the
    // warning that a catalog without any of the objects brings; true when
    // the pick list is on the screen.
    bool open(Tmux& window) {
        for (const char* answer : {"rman", "rmanpw", "CAT1", "", ""}) window.typeAhead(answer);
        if (!window.waitFor("Press Enter to see the list.")) return false;
        window.typeAhead("");
        return window.waitUntil(
            [](const std::string& s) { return Tmux::promptReady(s) && !entryRows(s).empty(); });
    }
};

// Without an owner a page has 13 rows: the paging test below.
TEST_F(PickListTmuxTest, AnOwnerLineTakesAPageRow) {
    syncrun::Scratch owned(20, {}, 5, "dbowner");
    Tmux window(80, 24, owned.command());
    ASSERT_TRUE(open(window)) << window.screen();
    EXPECT_EQ(12u, entryRows(window.screen()).size()) << window.screen();
    EXPECT_NE(std::string::npos, window.screen().find("dbowner"));
}

// A catalog that lists none of the objects: the warning stays on the screen
// until Enter, with the progress lines already gone, and the list then shows
// enough of a long name to tell it from its neighbours.
TEST_F(PickListTmuxTest, TheWarningWaitsForEnterAndLongNamesAreReadable) {
    syncrun::Scratch scratch(3, {}, 5);
    const std::string longName = "ORA_FINDB_df1236807628_s21754_p1_with_a_long_tail";
    scratch.addPieces({longName}, true, false);
    Tmux window(80, 24, scratch.command());
    for (const char* answer : {"rman", "rmanpw", "CAT1", "", ""}) window.typeAhead(answer);
    ASSERT_TRUE(window.waitFor("Press Enter to see the list.")) << window.screen();
    std::string screen = window.screen();
    EXPECT_NE(std::string::npos, screen.find("QEV2631W")) << screen;
    EXPECT_NE(std::string::npos, screen.find("all 4 of")) << screen;
    EXPECT_EQ(std::string::npos, screen.find("Loading the catalog")) << screen;
    EXPECT_EQ(std::string::npos, screen.find("Examining objects")) << screen;
    window.typeAhead("");
    ASSERT_TRUE(window.waitUntil([](const std::string& s) {
        return Tmux::promptReady(s) && !entryRows(s).empty();
    })) << window.screen();
    std::string shown = "/koruorc/db1/" + longName;
    EXPECT_NE(std::string::npos, window.screen().find(shown.substr(0, 40))) << window.screen();
}

TEST_F(PickListTmuxTest, NineteenColumnsAreTooFew) {
    syncrun::Scratch scratch(3, {}, 5);
    Tmux window(20, 24, scratch.command());
    for (const char* answer : {"rman", "rmanpw", "CAT1", "", "", ""}) window.typeAhead(answer);
    ASSERT_TRUE(window.waitFor("ZEBOSYNC-EXIT=0")) << window.screen();
    EXPECT_NE(std::string::npos, window.screen().find("QEV2530E")) << window.screen();
    EXPECT_EQ("1 2 3", scratch.onServer());
}

TEST_F(PickListTmuxTest, MarkingAnswers) {
    syncrun::Scratch scratch(10, {}, 5);
    Tmux window(80, 24, scratch.command());
    ASSERT_TRUE(open(window)) << window.screen();
    const std::pair<const char*, const char*> steps[] = {
        {"5", "5"},   {"5,7", "7"}, {"3:7+", "3 4 5 6 7"},
        {"3:7-", ""}, {"3:7", "7"}, {"+", "1 2 3 4 5 6 7 8 9 10"},
        {"-5", ""},
    };
    expectAfterEach(window, steps, marked);
}

TEST_F(PickListTmuxTest, ScrollingGoingToAndPagingAtBothEnds) {
    syncrun::Scratch scratch(20, {}, 5);
    Tmux window(80, 24, scratch.command());
    ASSERT_TRUE(open(window)) << window.screen();
    std::vector<Row> rows = entryRows(window.screen());
    ASSERT_EQ(13u, rows.size()) << window.screen();
    EXPECT_EQ(13, rows.back().number);
    EXPECT_EQ(0u, ruler(window.screen()).find("0---------10"));
    ASSERT_TRUE(window.command("R"));
    EXPECT_EQ(0u, ruler(window.screen()).find("20--------30"));
    ASSERT_TRUE(window.command("R 2000"));  // stops at 1053
    EXPECT_EQ(0u, ruler(window.screen()).find("-------1060"));
    ASSERT_TRUE(window.command("L"));
    EXPECT_EQ(0u, ruler(window.screen()).find("-------1040"));

    const std::pair<const char*, int> moves[] = {
        // 20 entries, 13 rows a page: the last page starts at 8.
        {"G 0", 1}, {"G 21", 1}, {"G 5", 5}, {"T", 1}, {"U", 1}, {"D", 14}, {"D", 14},
        {"B", 14},  {"U", 1},    {"B", 8},   {"B", 8}, {"D", 8}, {"t", 1},
    };
    expectAfterEach(window, moves, firstEntry);
}

TEST_F(PickListTmuxTest, AfterADeletionTheListOpensWithoutMarks) {
    syncrun::Scratch scratch(5, {}, 5);
    Tmux window(80, 24, scratch.command());
    ASSERT_TRUE(open(window)) << window.screen();
    ASSERT_TRUE(window.command("2,4"));
    window.typeAhead("o");
    ASSERT_TRUE(window.waitFor("(yes/no)")) << window.screen();
    window.typeAhead("y");
    ASSERT_TRUE(window.waitUntil([](const std::string& s) {
        return Tmux::promptReady(s) && entryRows(s).size() == 3 &&
               s.find("piece4") == std::string::npos;
    })) << window.screen();
    std::string page = window.screen();
    EXPECT_EQ("", marked(page));
    EXPECT_NE(std::string::npos, page.find("/koruorc/db1/piece5"));
    EXPECT_EQ(std::string::npos, page.find("/koruorc/db1/piece2"));
    window.typeAhead("q");
    EXPECT_TRUE(window.waitFor("ZEBOSYNC-EXIT=0")) << window.screen();
    EXPECT_EQ("1 3 5", scratch.onServer());
}

}  // namespace
