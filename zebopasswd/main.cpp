// Entry of zebopasswd; see pwtool.h.
#include <stdio.h>
#include <unistd.h>

#include "zebopasswd/pwtool.h"

int main(int argc, char** argv) {
    return zeboPasswdRun(argc, argv, stdin, isatty(0) == 1);
}
