// The admin tool: creating a repository, nodes, settings, loading and
// listing objects, and refusing bad input without changing anything.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "vltapi/vltapi_testenv.h"

using namespace vltest;

namespace {

bool mentions(const zebotest::RunResult& r, const std::string& text) {
    return r.err.find(text) != std::string::npos;
}

TEST(Vltadm, LoadAndList) {
    Repo repo;
    repo.load("node1",
              "/fs\t/h\t/a\t2024-01-02 03:04:05\t100\r\n"
              "\n"
              "/fs\t\t/b\t2024-12-31 23:59:59\t9223372036854775807\n");
    auto r = repo.adm("list node1");
    ASSERT_EQ(r.status, 0) << r.err;
    auto lines = zebotest::lines(r.out);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0], "4294967001\t/fs\t/h\t/a\t2024-01-02 03:04:05\t100\tactive");
    EXPECT_EQ(lines[1], "4294967002\t/fs\t\t/b\t2024-12-31 23:59:59\t9223372036854775807\tactive");
    EXPECT_EQ(repo.count("NODE1"), 2u);
    EXPECT_EQ(repo.count("node2"), 0u);
}

TEST(Vltadm, MalformedLinesLoadNothing) {
    Repo repo;
    const std::string good = "/fs\t/h\t/a\t2024-01-02 03:04:05\t100\n";
    struct Case {
        std::string line, complaint;
    } cases[] = {
        {"/fs\t/h\t/b\t2024-01-02 03:04:05\n", "expected 5 tab-separated fields"},
        {"/fs\t/h\t/b\t2024-02-30 03:04:05\t1\n", "not a valid date"},
        {"/fs\t/h\t/b\t2024-01-02T03:04:05\t1\n", "not a valid date"},
        {"/fs\t/h\t/b\t2024-01-02 03:04:05\t-1\n", "not a whole number"},
        {"/fs\t/h\t/b\t2024-01-02 03:04:05\t12x\n", "not a whole number"},
        {"/fs\t/h\t/b\t2024-01-02 03:04:05\t9223372036854775808\n", "not a whole number"},
        {"/fs\t/h\t/b*\t2024-01-02 03:04:05\t1\n", "wildcard"},
        {"\t/h\t/b\t2024-01-02 03:04:05\t1\n", "file space name is empty"},
        {"/fs\t/h\t\t2024-01-02 03:04:05\t1\n", "low-level name is empty"},
    };
    for (const Case& c : cases) {
        auto r = repo.adm("load node1", good + good + c.line + good);
        EXPECT_NE(r.status, 0) << c.line;
        EXPECT_TRUE(mentions(r, "line 3: ")) << r.err;
        EXPECT_TRUE(mentions(r, c.complaint)) << r.err;
        EXPECT_TRUE(mentions(r, "nothing was loaded")) << r.err;
    }
    EXPECT_EQ(repo.count("node1"), 0u);
    EXPECT_EQ(repo.adm("list node1").out, "");
}

TEST(Vltadm, UnknownNodeAndMissingRepository) {
    Repo repo;
    auto r = repo.adm("load nosuchnode", "/fs\t/h\t/a\t2024-01-02 03:04:05\t100\n");
    EXPECT_NE(r.status, 0);
    EXPECT_TRUE(mentions(r, "node NOSUCHNODE is not registered")) << r.err;
    EXPECT_NE(repo.adm("count nosuchnode").status, 0);

    std::string opt = repo.path("missing.opt");
    zebotest::writeFile(opt, "REPOSITORY nowhere.db\n");
    auto m = zebotest::run("'" + vltadmPath() + "' -c '" + opt + "' count node1");
    EXPECT_NE(m.status, 0);
    EXPECT_TRUE(mentions(m, repo.path("nowhere.db"))) << m.err;
    EXPECT_TRUE(mentions(m, "init")) << m.err;
    EXPECT_FALSE(zebotest::fileExists(repo.path("nowhere.db")));

    auto noOpt =
        zebotest::run("'" + vltadmPath() + "' -c '" + repo.path("none.opt") + "' count node1");
    EXPECT_NE(noOpt.status, 0);
    EXPECT_TRUE(mentions(noOpt, "none.opt")) << noOpt.err;
}

TEST(Vltadm, InitNodesAndSettings) {
    Repo repo;
    auto again = repo.adm("init");
    EXPECT_NE(again.status, 0);
    EXPECT_TRUE(mentions(again, "already exists")) << again.err;
    auto dup = repo.adm("node add NODE1", "other\n");
    EXPECT_NE(dup.status, 0);
    EXPECT_TRUE(mentions(dup, "already registered")) << dup.err;
    EXPECT_NE(repo.adm("node add 'bad name'", "pw\n").status, 0);
    EXPECT_NE(repo.adm("node passwd ghost", "pw\n").status, 0);

    EXPECT_EQ(repo.adm("set maxobjpertxn 17").status, 0);
    auto bad = repo.adm("set maxobjpertxn lots");
    EXPECT_NE(bad.status, 0);
    EXPECT_TRUE(mentions(bad, "MAXOBJPERTXN")) << bad.err;
    EXPECT_NE(repo.adm("set nosuchsetting 1").status, 0);
    auto show = repo.adm("show");
    EXPECT_NE(show.out.find("MAXOBJPERTXN\t17\n"), std::string::npos) << show.out;
    EXPECT_NE(show.out.find("SERVERNAME\tTESTSRV\n"), std::string::npos) << show.out;

    auto nodes = repo.adm("node list");
    EXPECT_EQ(zebotest::lines(nodes.out).size(), 2u);
    EXPECT_NE(repo.adm("bogus").status, 0);
    EXPECT_NE(repo.adm("actlog").out.find("Setting MAXOBJPERTXN changed to 17"), std::string::npos);
}

TEST(Vltadm, GenerateStoresAPrivatePasswordFile) {
    // The password folder is made when it is missing, private to its owner.
    Repo repo("PASSWORDACCESS GENERATE\nPASSWORDDIR pw\n");
    struct stat dir;
    ASSERT_EQ(stat(repo.path("pw").c_str(), &dir), 0);
    EXPECT_EQ(dir.st_mode & 0777, 0700u);
    ASSERT_EQ(repo.adm("node add node3", "third\n").status, 0);
    struct stat st;
    ASSERT_EQ(stat(repo.path("pw/rvkpw.NODE3").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u);
    EXPECT_EQ(zebotest::readFile(repo.path("pw/rvkpw.NODE3")), "third\n");
}

}  // namespace
