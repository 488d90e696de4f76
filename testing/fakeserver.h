// FakeServer: the backup server in the test process, without the client
// library, a repository or another process.
//
// While one exists, the wrapper's table of entry points (DRvkApi's
// m_fnrvk<Name>P) points at its own functions, so everything the program
// calls through gRvkApiObjP reaches it, traced and timed as ever. It keeps
// backup objects in memory, answers session information, queries,
// transactions and deletions the way the library does, and can be told to
// fail the Nth call of an entry point with a code of the test's choosing;
// a failed call does nothing else. Entry points it does not serve fail the
// test when called.
//
//     zebotest::FakeServer server;
//     server.add("/koruorc", "/db1", "/piece1");
//     server.fail(FakeServer::Call::DeleteObj, 2, RVK_RC_SERVER_BUSY);
//
// The newest server answers; the destructor puts the table (and
// gRvkApiObjP, when the server made it) back as they were, so servers of
// nested scopes end in the reverse order of their making.
#ifndef ZEBO_TESTING_FAKESERVER_H
#define ZEBO_TESTING_FAKESERVER_H

#include <stdint.h>

#include <map>
#include <string>
#include <vector>

#include "vltapi/include/rvkapi.h"

class DRvkApi;

namespace zebotest {

class FakeServer {
  public:
#define FAKE_SERVER_CALL(Name) Name,
    enum class Call { RVK_ENTRY_POINTS(FAKE_SERVER_CALL) Count };
#undef FAKE_SERVER_CALL

    FakeServer();
    ~FakeServer();
    FakeServer(const FakeServer&) = delete;
    FakeServer& operator=(const FakeServer&) = delete;

    // Adds an active backup object of the session's node; returns its id.
    uint64_t add(const std::string& fs, const std::string& hl, const std::string& ll,
                 rvkDate inserted = rvkDate{2024, 1, 10, 12, 0, 0}, uint64_t size = 1000);
    // The objects left, as "fs hl ll" run together, in the order added.
    std::vector<std::string> names() const;

    // Calls `from` to `to` (counted from 1; to 0: only `from`) of `call`
    // return rc and do nothing else. For EndTxn with RVK_RC_CHECK_REASON_CODE
    // the reason is `reason`. A failed end of a transaction keeps nothing of
    // it, as the server would when the session goes.
    void fail(Call call, int from, int16_t rc, int to = 0, uint16_t reason = 0);
    // How often `call` was made.
    int calls(Call call) const {
        return counts_[static_cast<int>(call)];
    }
    // Transaction calls in their order, as letters: B begin, D delete, C
    // commit, A abort ("BDDCBDA").
    const std::string& transactions() const {
        return txnLog_;
    }

    // What the session information reports; maxObjPerTxn 4 unless changed.
    rvkSessInfo sessInfo;

  private:
    struct Object {
        std::string fs, hl, ll;
        rvkDate inserted;
        uint64_t size;
    };
    struct Fault {
        Call call;
        int from, to;
        int16_t rc;
        uint16_t reason;
    };

    // Counts the call; true with *rc and *reason set when it is to fail.
    bool fires(Call call, int16_t* rc, uint16_t* reason = nullptr);
    void install();

    static FakeServer* current_;
    friend struct FakeCalls;

    std::map<uint64_t, Object> objects_;
    uint64_t nextId_ = 1;
    std::vector<Fault> faults_;
    int counts_[static_cast<int>(Call::Count)] = {};
    std::string txnLog_;
    // The open query's results and how far it got; the open transaction.
    bool queryOpen_ = false;
    std::vector<uint64_t> queryIds_;
    size_t queryPos_ = 0;
    bool txnOpen_ = false;
    std::vector<uint64_t> pending_;
    int16_t doomed_ = 0;

    struct Saved;
    Saved* saved_;
    FakeServer* previous_;
    DRvkApi* madeApi_ = nullptr;
};

}  // namespace zebotest

#endif
