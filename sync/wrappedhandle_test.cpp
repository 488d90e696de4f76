// Handles broken over spool lines: which keys each line adds.
#include "sync/wrappedhandle.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

// The lines of a spool that lists `handles`, broken at `width`.
std::vector<std::string> spoolLines(const std::vector<std::string>& handles, size_t width) {
    std::vector<std::string> lines;
    for (const std::string& h : handles)
        for (size_t at = 0; at == 0 || at < h.size(); at += width)
            lines.push_back(h.substr(at, width));
    return lines;
}

TEST(WrappedHandlesTest, EveryHandleIsAKeyHoweverItWasBroken) {
    std::vector<std::string> handles;
    for (size_t length : {3, 10, 9, 11, 10, 10, 20, 21, 40, 5, 40, 10, 1}) {
        std::string h = std::to_string(handles.size()) + "_";
        handles.push_back(h + std::string(length > h.size() ? length - h.size() : 0, 'x'));
    }
    UtWrappedHandles wrapped(10, 40);
    std::vector<std::string> all;
    std::vector<std::string> keys;
    std::vector<std::string> lines = spoolLines(handles, 10);
    lines.insert(lines.begin() + 3, "");  // a line without a token
    for (const std::string& line : lines) {
        wrapped.next(line.empty() ? nullptr : line.c_str(), &keys);
        if (!line.empty()) {
            ASSERT_FALSE(keys.empty());
            EXPECT_EQ(line, keys.front()) << "the line's own token first";
        }
        all.insert(all.end(), keys.begin(), keys.end());
    }
    for (const std::string& h : handles)
        EXPECT_NE(all.end(), std::find(all.begin(), all.end(), h)) << h;
}

TEST(WrappedHandlesTest, RunsOfFullLinesCostABoundedNumberOfKeys) {
    UtWrappedHandles wrapped(80, 1024);
    std::vector<std::string> keys;
    std::string full(80, 'f');
    size_t most = 0;
    for (int i = 0; i < 1000; ++i) {
        wrapped.next(full.c_str(), &keys);
        most = std::max(most, keys.size());
        for (const std::string& k : keys) EXPECT_LE(k.size(), 1040u);
    }
    EXPECT_EQ(13u, most);  // the line, and runs of 1 to 12 lines before it
    wrapped.next(nullptr, &keys);
    EXPECT_TRUE(keys.empty());
    wrapped.next("after", &keys);
    EXPECT_EQ(std::vector<std::string>{"after"}, keys) << "a line without a token ends the run";
}

}  // namespace
