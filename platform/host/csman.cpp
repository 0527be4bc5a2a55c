// libcsman.so for a development machine: the router's interface over the store of plain files.
#pragma GCC visibility push(default)
#include "platform/csman.h"
#pragma GCC visibility pop

#include "base/uncancellable.h"
#include "platform/host/csman_store.h"

#include <cerrno>
#include <cstring>

namespace dashboard {

namespace {

/// Callers are threads that may be cancelled at any instruction. For the few microseconds of a call cancellation waits,
/// so that no descriptor and no temporary file is left behind; errno is the caller's own.
class call_scope {
public:
    int leave(int result) const {
        errno = saved_errno;
        return result < 0 ? -1 : result;
    }

private:
    uncancellable section;
    int saved_errno = errno;
};

int read_text(int handle, unsigned int csid, char* buffer, size_t size) {
    store_item item;
    const int result = store_read(handle, csid, item);
    if (result != 0) {
        return result;
    }
    if (!item.is_string) {
        return -EBADMSG;
    }
    memcpy(buffer, item.text, item.length < size ? item.length : size);
    if (item.length < size) {
        buffer[item.length] = '\0';
    }
    return 0;
}

int read_number(int handle, unsigned int csid, int* value) {
    store_item item;
    const int result = store_read(handle, csid, item);
    if (result != 0) {
        return result;
    }
    if (item.is_string) {
        return -EBADMSG;
    }
    *value = item.number;
    return 0;
}

int write_number(int handle, unsigned int csid, int value) {
    store_item item;
    item.is_string = false;
    item.number = value;
    return store_write(handle, csid, item);
}

} // namespace
} // namespace dashboard

extern "C" {

/// Says that this is the stand-in and no router's own library: the page's program looks for the name.
extern __attribute__((visibility("default"))) const int csman_stand_in;
const int csman_stand_in = 1;

int open_csman(int, int) {
    const dashboard::call_scope scope;
    return scope.leave(dashboard::store_open(dashboard::store_path()));
}

int read_csman(int handle, unsigned int csid, void* buffer, int length, int type) {
    if (buffer == nullptr || length <= 0 || type != csman_type_string) {
        return -1;
    }
    const dashboard::call_scope scope;
    const size_t size = static_cast<size_t>(length);
    return scope.leave(dashboard::read_text(handle, csid, static_cast<char*>(buffer), size));
}

int read_csman_int(int handle, unsigned int csid, int* value) {
    if (value == nullptr) {
        return -1;
    }
    const dashboard::call_scope scope;
    return scope.leave(dashboard::read_number(handle, csid, value));
}

int write_csman_int(int handle, unsigned int csid, int value) {
    const dashboard::call_scope scope;
    return scope.leave(dashboard::write_number(handle, csid, value));
}

int close_csman(int handle) {
    const dashboard::call_scope scope;
    return scope.leave(dashboard::store_close(handle));
}

} // extern "C"
