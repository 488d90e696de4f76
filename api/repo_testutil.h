// Test support: the real client library loaded for each test and closed
// again afterwards (through gRvkApiObjP), with the library's directories in
// a fresh folder; and a repository made there with the admin tool, holding
// node ORANODE with password "secret" and a maximum of 7 objects per
// transaction.
#ifndef ZEBO_API_REPO_TESTUTIL_H
#define ZEBO_API_REPO_TESTUTIL_H

#include <gtest/gtest.h>

#include <string>

#include "api/api_testutil.h"
#include "api/drvkapidl.h"

class LibraryTest : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(0, loader_.Setup());
        gRvkApiObjP = &loader_;
        setenv("RVKI_DIR", (dir_.path() + "/").c_str(), 1);
        setenv("RVKI_LOG", (dir_.path() + "/").c_str(), 1);
        setenv("RVKI_CONFIG", dir_.file("rvk.opt").c_str(), 1);
    }
    void TearDown() override {
        loader_.Term(&status_);
        loader_.Cleanup();
        gRvkApiObjP = nullptr;
        DRvkApi::SetSetupData(nullptr);
    }

    EnvGuard env_{"RVKI_DIR", "RVKI_LOG", "RVKI_CONFIG"};
    zebotest::TempDir dir_;
    DRvkApiDL loader_;
    ApiStatusObj status_ = {};
};

class RepositoryTest : public LibraryTest {
  protected:
    void SetUp() override {
        LibraryTest::SetUp();
        writeOptions("PROMPT");
        admin("init");
        admin("node add ORANODE", "secret\n");
        admin("set maxobjpertxn 7");
        ASSERT_EQ(0, loader_.Init(&status_, nullptr));
    }
    void writeOptions(const std::string& access) {
        zebotest::writeFile(dir_.file("rvk.opt"), "REPOSITORY " + dir_.file("repo.db") +
                                                      "\nNODENAME ORANODE\nPASSWORDACCESS " +
                                                      access + "\n");
    }
    void admin(const std::string& args, const std::string& input = "") {
        zebotest::RunResult r =
            zebotest::run("vltadm -c '" + dir_.file("rvk.opt") + "' " + args, input);
        ASSERT_EQ(0, r.status) << args << ": " << r.err;
    }
};

#endif
