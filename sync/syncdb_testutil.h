// Support for the synchronisation's tests: the message repository opened on
// the built English catalogs (texts go to standard output, so a test reads
// them with the test framework's output capture), and the client library
// made loadable.
#ifndef ZEBO_SYNC_SYNCDB_TESTUTIL_H
#define ZEBO_SYNC_SYNCDB_TESTUTIL_H

namespace synctest {

// Opens the message repository once per process; the error log goes to a
// file in the system's temporary directory, removed at exit.
void initMessages();

// Makes the client library loadable by its bare name, as the program loads
// it. Under AddressSanitizer dlopen is intercepted and the test binary's run
// path is then not searched; opening the library once by its full path puts
// it in the process, where the bare name finds it. Elsewhere nothing to do.
void preloadClientLibrary();

}  // namespace synctest

#endif
