// The report file: its two layouts with names that would break them, the
// outcomes of a pass, and writing it whole or not at all.
#include "sync/orphanreport.h"

#include <dirent.h>
#include <errno.h>
#include <gtest/gtest.h>
#include <string.h>

#include <algorithm>
#include <string>
#include <vector>

#include "testing/testutil.h"

namespace {

OrphanRecord orphan(const char* name, uint32_t idLo, uint32_t sizeLo) {
    OrphanRecord r;
    memset(&r, 0, sizeof r);
    snprintf(r.name, sizeof r.name, "%s", name);
    r.objIdHi = 1;
    r.objIdLo = idLo;
    r.insYear = 2024;
    r.insMonth = 3;
    r.insDay = 7;
    r.insHour = 9;
    r.insMinute = 5;
    r.insSecond = 1;
    r.sizeHi = 2;
    r.sizeLo = sizeLo;
    return r;
}

class ReportTest : public ::testing::Test {
  protected:
    void SetUp() override {
        list.addTail(orphan("/fs/db/plain", 7, 10));
        list.addTail(orphan("/fs/db/tab\there\nnew\\back\"q\x01", 8, 20));
        list.addTail(orphan("/fs/db/third", 9, 30));
        for (SyncList::Node* n = list.getFirst(); n != nullptr; n = list.getNext(n))
            n->element.picked = 1;
        pass.collect(&list);
        pass.entries[0].outcome = DEL_COMMITTED;
        pass.entries[1].outcome = DEL_ROLLED_BACK;
        pass.ran = true;
    }
    zebotest::TempDir dir;
    SyncList list;
    UtDeletePass pass;
};

TEST_F(ReportTest, TabSeparatedAndJsonHoldTheSameRecords) {
    UtReport tsv(dir.file("r.tsv"));
    tsv.setOrphans(&list);
    tsv.addPass(pass);
    std::vector<std::string> lines = zebotest::lines(tsv.render());
    const std::string id = std::to_string((1ull << 32) + 8);
    const std::string size = std::to_string((2ull << 32) + 20);
    ASSERT_EQ(7u, lines.size());
    EXPECT_EQ("kind\tpass\toutcome\tobject_id\tinserted\tsize\tname", lines[0]);
    EXPECT_EQ("orphan\t\t\t" + id + "\t2024-03-07T09:05:01\t" + size +
                  "\t/fs/db/tab\\x09here\\x0anew\\\\back\"q\\x01",
              lines[2]);
    EXPECT_EQ(0u, lines[4].find("deletion\t1\tcommitted\t"));
    EXPECT_EQ(0u, lines[5].find("deletion\t1\trolled back\t" + id + "\t"));
    EXPECT_EQ(0u, lines[6].find("deletion\t1\tnot attempted\t"));
    for (const std::string& line : lines)
        EXPECT_EQ(6, std::count(line.begin(), line.end(), '\t')) << line;

    UtReport json(dir.file("r.json"));
    EXPECT_TRUE(json.json());
    EXPECT_FALSE(tsv.json());
    json.setOrphans(&list);
    std::string empty = json.render();
    EXPECT_NE(std::string::npos, empty.find("\"passes\": []\n}\n")) << empty;
    json.addPass(pass);
    std::string text = json.render();
    EXPECT_NE(std::string::npos,
              text.find("{\"object_id\": " + id + ", \"inserted\": \"2024-03-07T09:05:01\", " +
                        "\"size\": " + size +
                        ", \"name\": \"/fs/db/tab\\\\x09here\\\\x0anew\\\\\\\\back\\\"q\\\\x01\"}"))
        << text;
    EXPECT_NE(std::string::npos, text.find("\"outcome\": \"rolled back\"}")) << text;
    // The lists of orphans, of passes and of the one pass's entries.
    EXPECT_EQ(3, std::count(text.begin(), text.end(), '[')) << text;
}

TEST_F(ReportTest, WrittenWholeBesideItsPathOrNotAtAll) {
    std::string path = dir.file("report.tsv");
    zebotest::writeFile(path, "the report before\n");
    UtReport report(path);
    std::string reason;
    EXPECT_TRUE(report.check(&reason)) << reason;
    report.setOrphans(&list);
    ASSERT_TRUE(report.write(&reason)) << reason;
    EXPECT_EQ(report.render(), zebotest::readFile(path));
    // Nothing left beside it.
    DIR* folder = opendir(dir.path().c_str());
    std::vector<std::string> names;
    while (struct dirent* e = readdir(folder))
        if (e->d_name[0] != '.' || strlen(e->d_name) > 2) names.push_back(e->d_name);
    closedir(folder);
    EXPECT_EQ(std::vector<std::string>{"report.tsv"}, names);

    UtReport missing(dir.file("no/such/folder/r.tsv"));
    EXPECT_FALSE(missing.check(&reason));
    EXPECT_EQ(strerror(ENOENT), reason);
    EXPECT_FALSE(missing.write(&reason));
    UtReport folderPath(dir.path());
    EXPECT_FALSE(folderPath.check(&reason));
    EXPECT_EQ(strerror(EISDIR), reason);
}

}  // namespace
