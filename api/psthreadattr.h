// Thread attributes for the threads that the client runtime starts: every one
// of them is joinable, so that its creator can wait for its end.
#ifndef ZEBO_API_PSTHREADATTR_H
#define ZEBO_API_PSTHREADATTR_H

#include <pthread.h>

// Initialises `attr` and makes it joinable. 0 or the thread library's code
// (traced under the thread class).
int psThreadSetAttr(pthread_attr_t* attr);

#endif
