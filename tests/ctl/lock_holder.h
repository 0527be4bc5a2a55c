// A stand-in of a running daemon: what holds the lock is one.
#ifndef TESTS_CTL_LOCK_HOLDER_H
#define TESTS_CTL_LOCK_HOLDER_H

#include "beside/daemon_process.h"
#include "standing_process.h"

#include <fcntl.h>
#include <unistd.h>

namespace dashboard {

// A process that holds the lock of the PID file until it is ended.
class lock_holder : public standing_process {
public:
    lock_holder()
        : standing_process([] {
              const int file = open(pid_lock_file, O_RDWR);
              return file >= 0 && ::lockf(file, F_TLOCK, 0) == 0;
          }) {}
};

} // namespace dashboard

#endif
