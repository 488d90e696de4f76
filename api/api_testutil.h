// Test support for the API layer: the trace sent to a file, and environment
// variables changed for the length of a test.
#ifndef ZEBO_API_API_TESTUTIL_H
#define ZEBO_API_API_TESTUTIL_H

#include <stdlib.h>

#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "common/ut/trace.h"
#include "testing/testutil.h"

// Sends the trace to a file of a fresh folder with the named class switches
// on; finish() closes the trace and returns everything written.
class TraceToFile {
  public:
    TraceToFile(std::initializer_list<unsigned char*> classes) : classes_(classes) {
        trcInit(0, 0, 0);
        trOpen(dir_.file("trace.out").c_str(), 0);
        for (unsigned char* c : classes_) *c = 1;
    }
    ~TraceToFile() { finish(); }
    TraceToFile(const TraceToFile&) = delete;
    TraceToFile& operator=(const TraceToFile&) = delete;

    std::string finish() {
        if (!closed_) {
            for (unsigned char* c : classes_) *c = 0;
            trClose(0);
            closed_ = true;
        }
        return zebotest::readFile(dir_.file("trace.out"));
    }

  private:
    zebotest::TempDir dir_;
    std::vector<unsigned char*> classes_;
    bool closed_ = false;
};

// Unsets the named variables, or sets them to the values given, and puts
// their old values back at the end.
class EnvGuard {
  public:
    EnvGuard(std::initializer_list<const char*> names) {
        for (const char* n : names) save(n), unsetenv(n);
    }
    EnvGuard(std::initializer_list<std::pair<const char*, std::string>> values) {
        for (const auto& v : values) save(v.first), setenv(v.first, v.second.c_str(), 1);
    }
    ~EnvGuard() {
        for (const Saved& s : saved_) {
            if (s.set) {
                setenv(s.name.c_str(), s.value.c_str(), 1);
            } else {
                unsetenv(s.name.c_str());
            }
        }
    }
    EnvGuard(const EnvGuard&) = delete;
    EnvGuard& operator=(const EnvGuard&) = delete;

  private:
    void save(const char* name) {
        const char* v = getenv(name);
        saved_.push_back({name, v ? v : "", v != nullptr});
    }
    struct Saved {
        std::string name, value;
        bool set;
    };
    std::vector<Saved> saved_;
};

#endif
