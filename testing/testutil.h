// Helpers for tests: temporary folders, files, child processes and the paths
// of the build tree (programs in bin/, the client library in lib/, test-only
// programs such as the SQL*Plus simulator in testbin/, locales in locales/).
#ifndef ZEBO_TESTING_TESTUTIL_H
#define ZEBO_TESTING_TESTUTIL_H

#include <string>
#include <vector>

namespace zebotest {

// A fresh folder under the system's temporary directory, removed with all its
// contents when the object goes away (unless ZEBO_KEEP_TEST_DIRS is set).
class TempDir {
  public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    const std::string& path() const { return path_; }
    // path() + "/" + name
    std::string file(const std::string& name) const;

  private:
    std::string path_;
};

std::string readFile(const std::string& path);
void writeFile(const std::string& path, const std::string& text, int mode = 0644);
bool fileExists(const std::string& path);
long fileSize(const std::string& path);  // -1 when missing

// The result of a child process: exit status as a shell sees it (0-255, or
// 128 + signal), and everything it wrote to standard output and error.
struct RunResult {
    int status = -1;
    std::string out;
    std::string err;
};

// Runs `command` through /bin/sh with `input` on its standard input.
RunResult run(const std::string& command, const std::string& input = "");

// Paths of the build tree.
std::string binDir();      // programs of the product
std::string libDir();      // libApiQZ.so
std::string testBinDir();  // test-only programs (sqlplus simulator)
std::string catalogDir();  // compiled message catalogs: <dir>/<language>/<file>
std::string sourceDir();

// Splits text into lines (without their line ends).
std::vector<std::string> lines(const std::string& text);
// How often `what` stands in `text` (overlapping places count).
size_t occurrences(const std::string& text, const std::string& what);
// Bytes as upper-case hex digits, as SQL blob literals take them.
std::string hexText(const unsigned char* bytes, size_t n);

}  // namespace zebotest

#endif
