// File spaces, storing an object with its data and reading it back,
// renaming and updating, and the functions this server does not offer.
#include <gtest/gtest.h>
#include <stdio.h>
#include <string.h>

#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "api/backupquery.h"
#include "rvkapi.h"
#include "vltapi/vltapi_testenv.h"

using namespace vltest;

namespace {

class Objects : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(setUp(repo.optFile()), RVK_RC_OK);
        ASSERT_EQ(logOn(&h, "node1", "pw-one", "oracle"), RVK_RC_OK);
    }
    void TearDown() override { rvkCleanUp(RVK_MULTITHREAD); }

    int16_t registerFs(const char* name) {
        auto fs = record<rvkRegFSData>(RVK_REGFSDATA_VERSION);
        fs.fsName = const_cast<char*>(name);
        fs.fsType = const_cast<char*>("ZEBO");
        return rvkRegisterFS(h, &fs);
    }

    static rvkObjName name(const char* fs, const char* hl, const char* ll) {
        rvkObjName n{};
        strcpy(n.fs, fs);
        strcpy(n.hl, hl);
        strcpy(n.ll, ll);
        n.objType = RVK_OBJ_FILE;
        return n;
    }

    // Sends one object with `data` in blocks of `block` bytes.
    int16_t send(const char* ll, const std::string& data, size_t block, uint8_t vote,
                 uint8_t type = RVK_OBJ_FILE, const std::string& info = "") {
        rvkObjName n = name("/fs", "/h", ll);
        n.objType = type;
        auto attr = record<rvkObjAttr>(RVK_OBJATTR_VERSION);
        attr.sizeEstimate.lo = static_cast<uint32_t>(data.size());
        std::string infoBuf = info;
        attr.objInfoLen = static_cast<uint16_t>(info.size());
        attr.objInfo = info.empty() ? nullptr : &infoBuf[0];
        EXPECT_EQ(rvkBeginTxn(h), RVK_RC_OK);
        EXPECT_EQ(rvkSendObj(h, RVK_SEND_BACKUP, nullptr, &n, &attr, nullptr), RVK_RC_OK);
        for (size_t off = 0; off < data.size(); off += block) {
            std::string part = data.substr(off, block);
            auto b = record<rvkDataBlk>(RVK_DATABLK_VERSION);
            b.bufferPtr = &part[0];
            b.bufferLen = b.numBytes = static_cast<uint32_t>(part.size());
            EXPECT_EQ(rvkSendData(h, &b), RVK_RC_OK);
        }
        auto in = record<rvkEndSendObjExIn>(RVK_ENDSENDOBJEXIN_VERSION);
        in.handle = h;
        auto out = record<rvkEndSendObjExOut>(RVK_ENDSENDOBJEXOUT_VERSION);
        EXPECT_EQ(rvkEndSendObjEx(&in, &out), RVK_RC_OK);
        EXPECT_EQ(out.totalBytesSent, data.size());
        uint16_t reason = 0;
        return rvkEndTxn(h, vote, &reason);
    }

    // Reads an object's data back through a buffer of `bufSize` bytes.
    std::string read(uint64_t id, size_t bufSize) {
        rvkU64 oid;
        oid.hi = static_cast<uint32_t>(id >> 32);
        oid.lo = static_cast<uint32_t>(id);
        auto list = record<rvkGetList>(RVK_GETLIST_VERSION);
        list.numObjId = 1;
        list.objId = &oid;
        EXPECT_EQ(rvkBeginGetData(h, RVK_FALSE, RVK_GET_BACKUP, &list), RVK_RC_OK);
        std::string buf(bufSize, '\0'), result;
        auto b = record<rvkDataBlk>(RVK_DATABLK_VERSION);
        b.bufferPtr = &buf[0];
        b.bufferLen = static_cast<uint32_t>(bufSize);
        int16_t rc = rvkGetObj(h, &oid, &b);
        for (;;) {
            result.append(buf.data(), b.numBytes);
            if (rc != RVK_RC_MORE_DATA) break;
            rc = rvkGetData(h, &b);
        }
        EXPECT_EQ(rc, RVK_RC_FINISHED);
        EXPECT_EQ(rvkEndGetObj(h), RVK_RC_OK);
        EXPECT_EQ(rvkEndGetData(h), RVK_RC_OK);
        return result;
    }

    Repo repo;
    uint32_t h = 0;
};

TEST_F(Objects, RegisterFileSpaceOnce) {
    EXPECT_EQ(registerFs("/fs"), RVK_RC_OK);
    EXPECT_EQ(registerFs("/fs"), RVK_RC_FS_ALREADY_REGISTERED);
    EXPECT_EQ(registerFs("/f*"), RVK_RC_WILDCARD_NOT_ALLOWED);
    auto upd = record<rvkFSUpd>(RVK_FSUPD_VERSION);
    upd.capacity.lo = 1000;
    EXPECT_EQ(rvkUpdateFS(h, const_cast<char*>("/fs"), &upd, RVK_FSUPD_CAPACITY), RVK_RC_OK);
    EXPECT_EQ(rvkUpdateFS(h, const_cast<char*>("/nofs"), &upd, RVK_FSUPD_CAPACITY),
              RVK_RC_FS_NOT_REGISTERED);
}

TEST_F(Objects, SendAndReadBack) {
    ASSERT_EQ(registerFs("/fs"), RVK_RC_OK);
    std::string data;
    for (int i = 0; i < 10000; ++i) data += static_cast<char>(i * 7 % 251);
    ASSERT_EQ(send("/obj", data, 3000, RVK_VOTE_COMMIT), RVK_RC_OK);
    auto r = query(h, "/fs", "/h", "/obj");
    ASSERT_EQ(r.objects.size(), 1u);
    EXPECT_EQ(r.objects[0].size, data.size());
    EXPECT_EQ(r.objects[0].owner, "oracle");
    EXPECT_EQ(read(r.objects[0].id, 1024), data);
    EXPECT_EQ(read(r.objects[0].id, 3000), data);  // a block boundary at the buffer's end
    EXPECT_EQ(read(r.objects[0].id, 100000), data);

    // A second version replaces it as the active one.
    ASSERT_EQ(send("/obj", "new", 10, RVK_VOTE_COMMIT), RVK_RC_OK);
    EXPECT_EQ(query(h, "/fs", "/h", "/obj", RVK_STATE_ACTIVE).objects.at(0).size, 3u);
    EXPECT_EQ(query(h, "/fs", "/h", "/obj", RVK_STATE_INACTIVE).objects.at(0).size, data.size());
}

// A query that leaves the state or the type open reads each object's own;
// one that names them returns only such objects.
TEST_F(Objects, QueriesReadEachObjectsTypeAndState) {
    ASSERT_EQ(registerFs("/fs"), RVK_RC_OK);
    ASSERT_EQ(send("/f", "old", 10, RVK_VOTE_COMMIT), RVK_RC_OK);
    ASSERT_EQ(send("/f", "newer", 10, RVK_VOTE_COMMIT), RVK_RC_OK);
    ASSERT_EQ(send("/d", "", 10, RVK_VOTE_COMMIT, RVK_OBJ_DIRECTORY), RVK_RC_OK);
    using Seen = std::multiset<std::tuple<std::string, int, int, uint64_t>>;
    auto seen = [&](uint8_t state, uint8_t type) {
        Seen out;
        for (auto& o : query(h, "/fs", "*", "*", state, rvkDate{}, nullptr, type).objects)
            out.insert({o.ll, o.type, o.state, o.size});
        return out;
    };
    const int file = RVK_OBJ_FILE, dir = RVK_OBJ_DIRECTORY;
    const int active = RVK_STATE_ACTIVE, inactive = RVK_STATE_INACTIVE;
    EXPECT_EQ(seen(RVK_STATE_ANY, RVK_OBJ_ANY),
              (Seen{{"/d", dir, active, 0}, {"/f", file, active, 5}, {"/f", file, inactive, 3}}));
    EXPECT_EQ(seen(RVK_STATE_ACTIVE, RVK_OBJ_DIRECTORY), (Seen{{"/d", dir, active, 0}}));
    EXPECT_EQ(seen(RVK_STATE_INACTIVE, RVK_OBJ_FILE), (Seen{{"/f", file, inactive, 3}}));
    EXPECT_EQ(seen(RVK_STATE_ANY, RVK_OBJ_FILE),
              (Seen{{"/f", file, active, 5}, {"/f", file, inactive, 3}}));
}

// Every field of an object, as a query answers it.
std::string describe(const rvkQryRespBackup& r) {
    char fields[160];
    auto date = [](const rvkDate& d) {
        return ((d.year * 100L + d.month) * 100 + d.day) * 1000000L + d.hour * 10000 +
               d.minute * 100 + d.second;
    };
    snprintf(fields, sizeof fields, "type %u id %u:%u ins %ld exp %ld size %u:%u state %u data %u",
             r.objName.objType, r.objId.hi, r.objId.lo, date(r.insDate), date(r.expDate),
             r.sizeEstimate.hi, r.sizeEstimate.lo, r.objState, r.hasData);
    return std::string(r.objName.fs) + "|" + r.objName.hl + "|" + r.objName.ll + "|" + r.owner +
           "|" + r.mcName + "|" + std::string(r.objInfo, r.objInfoLen) + "|" + fields;
}

// Names, object information and every other field come back byte for byte,
// whatever characters they hold, and an exact name with quotes and
// backslashes finds its object.
TEST_F(Objects, QueriesReturnNamesAndInfoByteForByte) {
    ASSERT_EQ(registerFs("/fs"), RVK_RC_OK);
    const std::string odd = "/it's\\a\tb\nc\rd\be\ff\vg\x01\\N";
    const std::string info("\0\\x00\t\n\xff'", 9);
    ASSERT_EQ(send(odd.c_str(), "data", 10, RVK_VOTE_COMMIT, RVK_OBJ_FILE, info), RVK_RC_OK);
    ASSERT_EQ(send("/plain", "", 10, RVK_VOTE_COMMIT, RVK_OBJ_DIRECTORY), RVK_RC_OK);
    ASSERT_EQ(send("/plain", "", 10, RVK_VOTE_COMMIT, RVK_OBJ_DIRECTORY), RVK_RC_OK);
    // The largest size the admin tool takes: both halves of the answer in use.
    repo.load("node1", "/fs\t/h\t/z-huge\t2024-01-10 08:00:00\t9223372036854775807\n", "oracle");

    auto answers = [&](const char* ll, uint8_t state) {
        std::vector<rvkQryRespBackup> out;
        rvkObjName n = BackupQuery::objectName("/fs", "/h", ll, RVK_OBJ_ANY);
        BackupQuery q(BackupQuery::library(), h);
        EXPECT_EQ(q.begin(&n, state), RVK_RC_OK);
        int rc;
        while ((rc = q.next()) == RVK_RC_MORE_DATA) out.push_back(q.object());
        EXPECT_EQ(rc, RVK_RC_FINISHED);
        EXPECT_EQ(q.end(), RVK_RC_OK);
        return out;
    };
    auto all = answers("*", RVK_STATE_ANY);
    ASSERT_EQ(all.size(), 4u);
    // In name order: "/it's..." before "/plain", the older "/plain" first.
    EXPECT_EQ(std::string(all[0].objName.ll), odd);
    EXPECT_EQ(std::string(all[0].objInfo, all[0].objInfoLen), info);
    EXPECT_EQ(all[0].sizeEstimate.lo, 4u);
    EXPECT_STREQ(all[0].owner, "oracle");
    EXPECT_STREQ(all[0].mcName, "STANDARD");
    EXPECT_EQ(all[0].hasData, RVK_TRUE);
    EXPECT_EQ(all[0].objName.objType, RVK_OBJ_FILE);
    EXPECT_STREQ(all[1].objName.ll, "/plain");
    EXPECT_EQ(all[1].objState, RVK_STATE_INACTIVE);
    EXPECT_NE(all[1].expDate.year, 0);
    EXPECT_EQ(all[1].objInfoLen, 0u);
    EXPECT_EQ(all[1].hasData, RVK_FALSE);
    EXPECT_EQ(all[1].objName.objType, RVK_OBJ_DIRECTORY);
    EXPECT_EQ(all[2].objState, RVK_STATE_ACTIVE);
    EXPECT_EQ(all[2].expDate.year, 0);
    EXPECT_EQ(all[3].sizeEstimate.hi, 0x7fffffffu);
    EXPECT_EQ(all[3].sizeEstimate.lo, 0xffffffffu);
    EXPECT_EQ(all[3].insDate.year, 2024);
    EXPECT_EQ(all[3].insDate.hour, 8);
    auto exact = answers(odd.c_str(), RVK_STATE_ACTIVE);
    ASSERT_EQ(exact.size(), 1u);
    EXPECT_EQ(describe(exact[0]), describe(all[0]));
}

TEST_F(Objects, AbortedSendLeavesNothing) {
    ASSERT_EQ(registerFs("/fs"), RVK_RC_OK);
    ASSERT_EQ(send("/gone", "some data", 4, RVK_VOTE_ABORT), RVK_RC_OK);
    EXPECT_EQ(query(h, "/fs", "*", "*", RVK_STATE_ANY).lastRc, RVK_RC_NO_MATCH);
    rvkObjName n = name("/unregistered", "/h", "/x");
    auto attr = record<rvkObjAttr>(RVK_OBJATTR_VERSION);
    ASSERT_EQ(rvkBeginTxn(h), RVK_RC_OK);
    EXPECT_EQ(rvkSendObj(h, RVK_SEND_BACKUP, nullptr, &n, &attr, nullptr),
              RVK_RC_FS_NOT_REGISTERED);
    EXPECT_EQ(rvkSendObj(h, RVK_SEND_ARCHIVE, nullptr, &n, &attr, nullptr), RVK_RC_NOT_SUPPORTED);
    uint16_t reason = 0;
    EXPECT_EQ(rvkEndTxn(h, RVK_VOTE_COMMIT, &reason), RVK_RC_CHECK_REASON_CODE);
    EXPECT_EQ(reason, RVK_RC_FS_NOT_REGISTERED);
}

TEST_F(Objects, RenameUpdateAndDeleteFileSpace) {
    ASSERT_EQ(registerFs("/fs"), RVK_RC_OK);
    ASSERT_EQ(send("/a", "aaa", 10, RVK_VOTE_COMMIT), RVK_RC_OK);
    ASSERT_EQ(send("/b", "bbb", 10, RVK_VOTE_COMMIT), RVK_RC_OK);
    uint64_t a = query(h, "/fs", "/h", "/a").objects.at(0).id;

    rvkObjName old = name("/fs", "/h", "/a");
    auto ren = record<rvkRenameIn>(RVK_RENAMEIN_VERSION);
    ren.repository = RVK_REPOS_BACKUP;
    ren.objName = &old;
    strcpy(ren.newHl, "/h");
    strcpy(ren.newLl, "/b");
    ren.objId.hi = static_cast<uint32_t>(a >> 32);
    ren.objId.lo = static_cast<uint32_t>(a);
    uint16_t reason = 0;
    ASSERT_EQ(rvkBeginTxn(h), RVK_RC_OK);
    EXPECT_EQ(rvkRenameObj(h, &ren), RVK_RC_NAME_EXISTS);
    EXPECT_EQ(rvkEndTxn(h, RVK_VOTE_ABORT, &reason), RVK_RC_OK);
    strcpy(ren.newLl, "/c");
    ASSERT_EQ(rvkBeginTxn(h), RVK_RC_OK);
    EXPECT_EQ(rvkRenameObj(h, &ren), RVK_RC_OK);
    EXPECT_EQ(rvkEndTxn(h, RVK_VOTE_COMMIT, &reason), RVK_RC_OK);
    EXPECT_EQ(query(h, "/fs", "/h", "/c").objects.at(0).id, a);

    rvkObjName bName = name("/fs", "/h", "/b");
    auto attr = record<rvkObjAttr>(RVK_OBJATTR_VERSION);
    strcpy(attr.owner, "grid");
    ASSERT_EQ(rvkBeginTxn(h), RVK_RC_OK);
    EXPECT_EQ(rvkUpdateObj(h, RVK_SEND_BACKUP, nullptr, &bName, &attr, RVK_UPDOBJ_OWNER),
              RVK_RC_OK);
    EXPECT_EQ(rvkEndTxn(h, RVK_VOTE_COMMIT, &reason), RVK_RC_OK);
    EXPECT_EQ(query(h, "/fs", "/h", "/b").objects.at(0).owner, "grid");

    EXPECT_EQ(rvkDeleteFS(h, const_cast<char*>("/fs"), RVK_REPOS_ARCHIVE), RVK_RC_NOT_SUPPORTED);
    EXPECT_EQ(rvkDeleteFS(h, const_cast<char*>("/fs"), RVK_REPOS_ALL), RVK_RC_OK);
    EXPECT_EQ(query(h, "*", "*", "*", RVK_STATE_ANY).lastRc, RVK_RC_NO_MATCH);
    EXPECT_EQ(rvkDeleteFS(h, const_cast<char*>("/fs"), RVK_REPOS_ALL), RVK_RC_FS_NOT_REGISTERED);
}

TEST_F(Objects, ManagementClassAndUnsupportedFunctions) {
    rvkObjName n = name("/fs", "/h", "/x");
    auto key = record<rvkMcBindKey>(RVK_MCBINDKEY_VERSION);
    EXPECT_EQ(rvkBindMC(h, &n, RVK_SEND_BACKUP, &key), RVK_RC_OK);
    EXPECT_STREQ(key.mcName, "STANDARD");
    EXPECT_EQ(rvkBindMC(h, &n, RVK_SEND_ARCHIVE, &key), RVK_RC_NOT_SUPPORTED);

    EXPECT_EQ(rvkSetAccess(h, RVK_ACCESS_BACKUP, &n, const_cast<char*>("node2"), nullptr),
              RVK_RC_NOT_SUPPORTED);
    rvkAccessRule* rules = nullptr;
    uint16_t count = 9;
    EXPECT_EQ(rvkQueryAccess(h, &rules, &count), RVK_RC_NOT_SUPPORTED);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(rvkDeleteAccess(h, 1), RVK_RC_NOT_SUPPORTED);
    auto gin = record<rvkGroupHandlerIn>(RVK_GROUPIN_VERSION);
    gin.handle = h;
    gin.actionType = RVK_GROUP_OPEN;
    rvkGroupHandlerOut gout;
    gout.stVersion = RVK_GROUPOUT_VERSION;
    EXPECT_EQ(rvkGroupHandler(&gin, &gout), RVK_RC_NOT_SUPPORTED);
    EXPECT_NE(rcText(RVK_RC_NOT_SUPPORTED).find("not supported by this server"), std::string::npos);
}

}  // namespace
