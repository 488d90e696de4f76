// The in-process server; see fakeserver.h.
#include "testing/fakeserver.h"

#include <fnmatch.h>
#include <gtest/gtest.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <type_traits>

#include "api/drvkapidl.h"

namespace zebotest {

FakeServer* FakeServer::current_ = nullptr;

namespace {

const uint32_t kHandle = 7;

#define FAKE_NAME_OF(Name) "rvk" #Name,
const char* const kCallNames[] = {RVK_ENTRY_POINTS(FAKE_NAME_OF)};
#undef FAKE_NAME_OF

// The stand-in for every entry point the server does not serve: the test
// fails with the entry point's name, the call gets "not supported".
template <typename Fn, int index>
struct Unserved;
template <typename R, typename... Args, int index>
struct Unserved<R (*)(Args...), index> {
    static R call(Args...) {
        ADD_FAILURE() << "the fake server does not serve " << kCallNames[index];
        if constexpr (!std::is_void<R>::value) return RVK_RC_NOT_SUPPORTED;
    }
};

bool matches(const char* pattern, const std::string& text) {
    return pattern == nullptr || fnmatch(pattern, text.c_str(), 0) == 0;
}

}  // namespace

// The entry points the server serves, with the library's signatures.
struct FakeCalls {
    using Call = FakeServer::Call;
    static FakeServer& s() { return *FakeServer::current_; }

    static int16_t InitEx(uint32_t* handle, rvkInitExIn*, rvkInitExOut*) {
        int16_t rc = result(Call::InitEx);
        if (rc == 0) *handle = kHandle;
        return rc;
    }
    static int16_t QuerySessInfo(uint32_t, rvkSessInfo* info) {
        int16_t rc = result(Call::QuerySessInfo);
        if (rc == 0) *info = s().sessInfo;
        return rc;
    }
    static int16_t QuerySessOptions(uint32_t, rvkSessOptions* options) {
        int16_t rc = result(Call::QuerySessOptions);
        if (rc == 0) snprintf(options->serverName, sizeof options->serverName, "FAKESRV");
        return rc;
    }
    static int16_t RCMsg(uint32_t, int16_t code, char* msg) {
        int16_t rc = result(Call::RCMsg);
        if (rc == 0) snprintf(msg, RVK_MSG_MAX, "RVK%04dE Fake server code %d.", abs(code), code);
        return rc;
    }

    static int16_t BeginQuery(uint32_t, uint8_t, void* data) {
        int16_t rc = result(Call::BeginQuery);
        if (rc != 0) return rc;
        if (s().queryOpen_ || s().txnOpen_) return RVK_RC_WRONG_STATE;
        const rvkQryBackupData* q = static_cast<const rvkQryBackupData*>(data);
        s().queryIds_.clear();
        for (const auto& o : s().objects_) {
            if (matches(q->objName->fs, o.second.fs) && matches(q->objName->hl, o.second.hl) &&
                matches(q->objName->ll, o.second.ll))
                s().queryIds_.push_back(o.first);
        }
        s().queryOpen_ = true;
        s().queryPos_ = 0;
        return 0;
    }
    static int16_t GetNextQObj(uint32_t, rvkDataBlk* block) {
        int16_t rc = result(Call::GetNextQObj);
        if (rc != 0) return rc;
        if (!s().queryOpen_) return RVK_RC_WRONG_STATE;
        if (s().queryPos_ == s().queryIds_.size())
            return s().queryIds_.empty() ? RVK_RC_NO_MATCH : RVK_RC_FINISHED;
        uint64_t id = s().queryIds_[s().queryPos_++];
        const auto& o = s().objects_.at(id);
        rvkQryRespBackup* r = reinterpret_cast<rvkQryRespBackup*>(block->bufferPtr);
        snprintf(r->objName.fs, sizeof r->objName.fs, "%s", o.fs.c_str());
        snprintf(r->objName.hl, sizeof r->objName.hl, "%s", o.hl.c_str());
        snprintf(r->objName.ll, sizeof r->objName.ll, "%s", o.ll.c_str());
        r->objName.objType = RVK_OBJ_FILE;
        r->objId = {static_cast<uint32_t>(id >> 32), static_cast<uint32_t>(id)};
        r->insDate = o.inserted;
        r->sizeEstimate = {static_cast<uint32_t>(o.size >> 32), static_cast<uint32_t>(o.size)};
        r->objState = RVK_STATE_ACTIVE;
        block->numBytes = sizeof *r;
        return RVK_RC_MORE_DATA;
    }
    static int16_t EndQuery(uint32_t) {
        int16_t rc = result(Call::EndQuery);
        if (rc != 0) return rc;
        if (!s().queryOpen_) return RVK_RC_WRONG_STATE;
        s().queryOpen_ = false;
        return 0;
    }

    static int16_t BeginTxn(uint32_t) {
        s().txnLog_ += 'B';
        int16_t rc = result(Call::BeginTxn);
        if (rc != 0) return rc;
        if (s().queryOpen_ || s().txnOpen_) return RVK_RC_WRONG_STATE;
        s().txnOpen_ = true;
        s().pending_.clear();
        s().doomed_ = 0;
        return 0;
    }
    static int16_t DeleteObj(uint32_t, uint8_t, rvkDelInfo info) {
        s().txnLog_ += 'D';
        int16_t rc = result(Call::DeleteObj);
        if (rc != 0) return rc;
        if (!s().txnOpen_) return RVK_RC_WRONG_STATE;
        uint64_t id = (static_cast<uint64_t>(info.objIdHi) << 32) | info.objIdLo;
        if (s().objects_.count(id) == 0) {
            // A failed operation dooms the transaction.
            if (s().doomed_ == 0) s().doomed_ = RVK_RC_OBJ_NOT_FOUND;
            return RVK_RC_OBJ_NOT_FOUND;
        }
        s().pending_.push_back(id);
        return 0;
    }
    static int16_t EndTxn(uint32_t, uint8_t vote, uint16_t* reason) {
        s().txnLog_ += vote == RVK_VOTE_COMMIT ? 'C' : 'A';
        *reason = 0;
        int16_t rc = 0;
        bool failed = s().fires(Call::EndTxn, &rc, reason);
        if (!failed && !s().txnOpen_) return RVK_RC_WRONG_STATE;
        s().txnOpen_ = false;
        if (failed) return rc;
        if (vote == RVK_VOTE_COMMIT && s().doomed_ != 0) {
            *reason = static_cast<uint16_t>(s().doomed_);
            return RVK_RC_CHECK_REASON_CODE;
        }
        if (vote == RVK_VOTE_COMMIT)
            for (uint64_t id : s().pending_) s().objects_.erase(id);
        return 0;
    }

    static int16_t result(Call call) {
        int16_t rc = 0;
        s().fires(call, &rc);
        return rc;
    }
};

struct FakeServer::Saved {
#define FAKE_SAVED_SLOT(Name) decltype(&::rvk##Name) Name;
    RVK_ENTRY_POINTS(FAKE_SAVED_SLOT)
#undef FAKE_SAVED_SLOT
};

FakeServer::FakeServer() : saved_(new Saved), previous_(current_) {
    current_ = this;
    memset(&sessInfo, 0, sizeof sessInfo);
    sessInfo.stVersion = RVK_SESSINFO_VERSION;
    sessInfo.maxObjPerTxn = 4;
    snprintf(sessInfo.id, sizeof sessInfo.id, "NODE1");
    snprintf(sessInfo.serverHost, sizeof sessInfo.serverHost, "FAKESRV");
#define FAKE_SAVE_SLOT(Name) saved_->Name = DRvkApi::m_fnrvk##Name##P;
    RVK_ENTRY_POINTS(FAKE_SAVE_SLOT)
#undef FAKE_SAVE_SLOT
    install();
    if (gRvkApiObjP == nullptr) gRvkApiObjP = madeApi_ = new DRvkApiDL();
}

FakeServer::~FakeServer() {
#define FAKE_RESTORE_SLOT(Name) DRvkApi::m_fnrvk##Name##P = saved_->Name;
    RVK_ENTRY_POINTS(FAKE_RESTORE_SLOT)
#undef FAKE_RESTORE_SLOT
    delete saved_;
    if (madeApi_ != nullptr) {
        delete madeApi_;
        gRvkApiObjP = nullptr;
    }
    current_ = previous_;
}

void FakeServer::install() {
    // Every slot first refuses; then the served ones are put in.
#define FAKE_UNSERVED_SLOT(Name) \
    DRvkApi::m_fnrvk##Name##P =  \
        &Unserved<decltype(&::rvk##Name), static_cast<int>(Call::Name)>::call;
    RVK_ENTRY_POINTS(FAKE_UNSERVED_SLOT)
#undef FAKE_UNSERVED_SLOT
#define FAKE_SERVED_SLOT(Name) DRvkApi::m_fnrvk##Name##P = &FakeCalls::Name;
    FAKE_SERVED_SLOT(InitEx)
    FAKE_SERVED_SLOT(QuerySessInfo)
    FAKE_SERVED_SLOT(QuerySessOptions)
    FAKE_SERVED_SLOT(RCMsg)
    FAKE_SERVED_SLOT(BeginQuery)
    FAKE_SERVED_SLOT(GetNextQObj)
    FAKE_SERVED_SLOT(EndQuery)
    FAKE_SERVED_SLOT(BeginTxn)
    FAKE_SERVED_SLOT(DeleteObj)
    FAKE_SERVED_SLOT(EndTxn)
#undef FAKE_SERVED_SLOT
}

uint64_t FakeServer::add(const std::string& fs, const std::string& hl, const std::string& ll,
                         rvkDate inserted, uint64_t size) {
    uint64_t id = nextId_++;
    objects_[id] = Object{fs, hl, ll, inserted, size};
    return id;
}

std::vector<std::string> FakeServer::names() const {
    std::vector<std::string> out;
    for (const auto& o : objects_) out.push_back(o.second.fs + o.second.hl + o.second.ll);
    return out;
}

void FakeServer::fail(Call call, int from, int16_t rc, int to, uint16_t reason) {
    faults_.push_back({call, from, to == 0 ? from : to, rc, reason});
}

bool FakeServer::fires(Call call, int16_t* rc, uint16_t* reason) {
    int n = ++counts_[static_cast<int>(call)];
    for (const Fault& f : faults_) {
        if (f.call != call || n < f.from || n > f.to) continue;
        *rc = f.rc;
        if (reason != nullptr) *reason = f.reason;
        return true;
    }
    return false;
}

}  // namespace zebotest
