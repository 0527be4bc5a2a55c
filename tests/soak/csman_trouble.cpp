// Preloaded into a whole daemon: calls of the configuration store that take their time, or never return.
//
// SOAK_TROUBLE names a file of one line, "CALL SECONDS" or "CALL SECONDS once", which may come and go while the daemon
// runs: that call then takes so long; "once" takes the file away first. SECONDS of -1 is for ever.
#include "platform/csman.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dlfcn.h>
#include <unistd.h>

namespace {

void sleep_for(int seconds) {
    timespec rest{seconds, 0};
    while (seconds < 0 || nanosleep(&rest, &rest) != 0) {
        if (seconds < 0) {
            pause();
        }
    }
}

void suffer(const char* call) {
    const char* const path = getenv("SOAK_TROUBLE");
    FILE* const file = path != nullptr ? fopen(path, "re") : nullptr;
    if (file == nullptr) {
        return;
    }
    char name[32] = "";
    char once[8] = "";
    int seconds = 0;
    const int fields = fscanf(file, "%31s %d %7s", name, &seconds, once);
    fclose(file);
    if (fields < 2 || strcmp(name, call) != 0) {
        return;
    }
    if (strcmp(once, "once") == 0) {
        unlink(path);
    }
    sleep_for(seconds);
}

template <class Function>
Function* real(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

} // namespace

int open_csman(int first, int second) {
    suffer("open_csman");
    return real<int(int, int)>("open_csman")(first, second);
}

int read_csman(int handle, unsigned int csid, void* buffer, int length, int type) {
    suffer("read_csman");
    return real<int(int, unsigned, void*, int, int)>("read_csman")(handle, csid, buffer, length, type);
}

int read_csman_int(int handle, unsigned int csid, int* value) {
    suffer("read_csman_int");
    return real<int(int, unsigned, int*)>("read_csman_int")(handle, csid, value);
}

int write_csman_int(int handle, unsigned int csid, int value) {
    suffer("write_csman_int");
    return real<int(int, unsigned, int)>("write_csman_int")(handle, csid, value);
}

int close_csman(int handle) {
    suffer("close_csman");
    return real<int(int)>("close_csman")(handle);
}
