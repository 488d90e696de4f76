// Support for the synchronisation's tests against the in-process server
// (testing/fakeserver.h): a scene of the server with a session context on
// it, the English messages (the screen read through the test framework's
// output capture), the error log in a fresh folder, and the trace of the
// three ORCLEVEL classes. One scene a case: each starts from nothing.
#ifndef ZEBO_SYNC_FAKESERVER_TESTUTIL_H
#define ZEBO_SYNC_FAKESERVER_TESTUTIL_H

#include <string.h>

#include <string>

#include "agent/agentctx.h"
#include "api/api_testutil.h"
#include "common/ut/traceclasses.h"
#include "sync/syncdb_testutil.h"
#include "testing/fakeserver.h"
#include "testing/testutil.h"

namespace synctest {

using Call = zebotest::FakeServer::Call;

struct FakeScene {
    FakeScene() {
        initMessages();
        memset(&ctx, 0, sizeof ctx);
        strcpy(ctx.optValue[OPT_ZEBO_FS], "/koruorc");
        ctx.rvkHandle = 7;
        ctx.maxObjPerTxn = 2;
    }
    // Objects "/koruorc/db1/piece<n>" for n from 1 to `count`.
    void pieces(int count) {
        for (int n = 1; n <= count; ++n)
            server.add("/koruorc", "/db1", "/piece" + std::to_string(n));
    }
    // The numbers of the pieces left on the server, "345".
    std::string left() const {
        std::string numbers;
        for (const std::string& name : server.names()) numbers += name.substr(name.size() - 1);
        return numbers;
    }
    std::string errorLog() const { return zebotest::readFile(dir.file("zeboerror.log")); }

    zebotest::TempDir dir;
    EnvGuard noOptFile{"ZEBO_OPTFILE"};
    EnvGuard dirs{{"ZEBO_AGENT_DIR", dir.path()}, {"TMPDIR", dir.path()}};
    zebotest::FakeServer server;
    AgentContext ctx;
    TraceToFile trace{&TR_ORCLEVEL0, &TR_ORCLEVEL1, &TR_ORCLEVEL2};
};

}  // namespace synctest

#endif
