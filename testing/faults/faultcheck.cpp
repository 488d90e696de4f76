// Reading a run's traces on the server, the report and the screen; see
// faultcheck.h.
#include "testing/faults/faultcheck.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <sstream>

#include "testing/testutil.h"

namespace faultcheck {
namespace {

// The piece number of a name ending in "/piece<n>", or -1.
int pieceOf(const std::string& name) {
    size_t at = name.rfind("/piece");
    if (at == std::string::npos) return -1;
    return atoi(name.c_str() + at + 6);
}

std::vector<std::string> fields(const std::string& line) {
    std::vector<std::string> out;
    std::istringstream in(line);
    for (std::string f; std::getline(in, f, '\t');) out.push_back(f);
    return out;
}

// The sum of the numbers that follow the message id `id` ("QEV2635I 12
// objects ...") on the screen, or -1 when it is not there.
long countAfter(const std::string& screen, const std::string& id) {
    long sum = -1;
    for (size_t at = screen.find(id); at != std::string::npos; at = screen.find(id, at + 1)) {
        std::string digits;
        for (size_t i = at + id.size() + 1; i < screen.size(); ++i) {
            if (screen[i] == ',') continue;  // thousands separator
            if (screen[i] < '0' || screen[i] > '9') break;
            digits += screen[i];
        }
        sum = (sum < 0 ? 0 : sum) + atol(digits.c_str());
    }
    return sum;
}

}  // namespace

Pieces onServer(const syncrun::Scratch& scratch) {
    Pieces pieces;
    std::istringstream in(scratch.onServer());
    for (int n; in >> n;) pieces.insert(n);
    return pieces;
}

std::vector<int> loggedDeletions(const syncrun::Scratch& scratch) {
    std::vector<int> pieces;
    for (const std::string& line : zebotest::lines(scratch.activityLog()))
        if (line.find("Deleted backup object") != std::string::npos)
            pieces.push_back(pieceOf(line));
    return pieces;
}

void reload(syncrun::Scratch& scratch, const Pieces& pieces) {
    std::vector<std::string> handles;
    for (int n : pieces) handles.push_back("piece" + std::to_string(n));
    if (!handles.empty()) scratch.addPieces(handles, true, false);
}

Report readReport(const std::string& path) {
    Report report;
    report.present = zebotest::fileExists(path);
    for (const std::string& line : zebotest::lines(zebotest::readFile(path))) {
        std::vector<std::string> f = fields(line);
        if (f.size() != 7) continue;
        if (f[0] == "orphan") report.orphans.insert(pieceOf(f[6]));
        if (f[0] == "deletion") report.outcomes[f[2]].insert(pieceOf(f[6]));
    }
    return report;
}

Summary readSummary(const std::string& screen) {
    Summary s;
    s.committed = countAfter(screen, "QEV2635I");
    s.rolledBack = countAfter(screen, "QEV2636W");
    s.notDeleted = countAfter(screen, "QEV2637W");
    return s;
}

bool sanitizerReport(const std::string& err) {
    return err.find("Sanitizer") != std::string::npos ||
           err.find("runtime error:") != std::string::npos;
}

Pieces expectOneStory(const syncrun::Scratch& scratch, const Pieces& before, size_t logBefore,
                      const Pieces& picked, const std::string& screen, const Report& report) {
    Pieces after = onServer(scratch);
    Pieces gone;
    for (int n : before)
        if (!after.count(n)) gone.insert(n);
    for (int n : after) EXPECT_TRUE(before.count(n)) << "piece" << n << " appeared";
    for (int n : gone) EXPECT_TRUE(picked.count(n)) << "piece" << n << " was not picked";

    std::vector<int> log = loggedDeletions(scratch);
    Pieces logged;
    for (size_t i = logBefore; i < log.size(); ++i)
        EXPECT_TRUE(logged.insert(log[i]).second) << "piece" << log[i] << " logged twice";
    EXPECT_EQ(gone, logged) << "the activity log names exactly the objects gone";

    auto outcome = [&report](const char* name) {
        auto it = report.outcomes.find(name);
        return it == report.outcomes.end() ? Pieces() : it->second;
    };
    if (report.present) {
        EXPECT_EQ(gone, outcome("committed")) << "the report's committed deletions";
        for (const char* stays : {"rolled back", "failed", "not attempted"})
            for (int n : outcome(stays)) EXPECT_TRUE(after.count(n)) << stays << " piece" << n;
        // A query that fails half-way lists the orphans found so far.
        for (int n : report.orphans) EXPECT_TRUE(picked.count(n)) << "listed piece" << n;
        for (const auto& o : report.outcomes)
            for (int n : o.second) EXPECT_TRUE(report.orphans.count(n)) << o.first << " piece" << n;
    } else {
        EXPECT_TRUE(gone.empty()) << "deleted without a report";
    }

    Summary s = readSummary(screen);
    if (s.committed < 0) {
        EXPECT_TRUE(gone.empty()) << "deleted without a summary";
        EXPECT_TRUE(report.outcomes.empty()) << "a pass in the report, none on the screen";
        return gone;
    }
    EXPECT_EQ(static_cast<long>(gone.size()), s.committed);
    if (!report.present) return gone;
    size_t stopped = outcome("failed").size() + outcome("not attempted").size();
    EXPECT_EQ(static_cast<long>(outcome("rolled back").size()),
              s.rolledBack < 0 ? 0 : s.rolledBack);
    EXPECT_EQ(static_cast<long>(stopped), s.notDeleted < 0 ? 0 : s.notDeleted);
    return gone;
}

}  // namespace faultcheck
