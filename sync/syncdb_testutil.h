// Support for the synchronisation's tests: the message repository opened on
// the built English catalogs (texts go to standard output, so a test reads
// them with the test framework's output capture).
#ifndef ZEBO_SYNC_SYNCDB_TESTUTIL_H
#define ZEBO_SYNC_SYNCDB_TESTUTIL_H

namespace synctest {

// Opens the message repository once per process; the error log goes to a
// file in the system's temporary directory, removed at exit.
void initMessages();

}  // namespace synctest

#endif
