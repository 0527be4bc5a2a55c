// libcsman.so over a table in memory, so that a measurement of the daemon holds next to nothing of the store's own
// cost: CPU, memory, WAN and LAN are enabled and always watched, and as many WAN connections as the environment's
// BENCH_WANS says are bound to eth0, eth1, ...
#include "platform/csman.h"

#include <stdio.h>
#include <stdlib.h>

static int wans;

static int number_of(unsigned int csid) {
    switch (csid) {
    case 0x150780: // the daemon
    case 0x150783: // CPU
    case 0x150784: // memory
    case 0x150785: // WAN
    case 0x150787: // LAN
    case 0x80150431:
    case 0x80150432:
    case 0x80150433:
    case 0x80150435:
        return 1;
    default:
        return csid >= 0x10600 && csid < 0x10600u + (unsigned int)wans ? (int)(csid - 0x10600u) + 1 : 0;
    }
}

int open_csman(int a, int b) {
    const char* text = getenv("BENCH_WANS");
    (void)a;
    (void)b;
    wans = text != NULL ? atoi(text) : 1;
    return 1;
}

int read_csman_int(int handle, unsigned int csid, int* value) {
    (void)handle;
    *value = number_of(csid);
    return 0;
}

int read_csman(int handle, unsigned int csid, void* buffer, int length, int type) {
    (void)handle;
    (void)type;
    snprintf(buffer, (size_t)length, "eth%u", csid - 0x80010190u);
    return 0;
}

int write_csman_int(int handle, unsigned int csid, int value) {
    (void)handle;
    (void)csid;
    (void)value;
    return 0;
}

int close_csman(int handle) {
    (void)handle;
    return 0;
}
