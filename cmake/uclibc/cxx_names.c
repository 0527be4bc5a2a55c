// What Debian's libstdc++ asks of the GNU C library and uClibc lacks, as far as programs of this project carry it.
#include <stddef.h>
#include <stdint.h>
#include <sys/syscall.h>
#include <unistd.h>

char __libc_single_threaded = 0; // the cautious answer: atomic reference counts

char* gettext(const char* text);
int getentropy(void* buffer, size_t size);
uint32_t arc4random(void);

char* gettext(const char* text) {
    return (char*)text;
}

int getentropy(void* buffer, size_t size) {
    return syscall(SYS_getrandom, buffer, size, 0) == (long)size ? 0 : -1;
}

uint32_t arc4random(void) {
    uint32_t number = 0;
    return getentropy(&number, sizeof number) == 0 ? number : 0;
}
