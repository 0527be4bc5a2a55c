// A configuration store whose items, failures and call log the test owns (world.csman). Stands for libcsman.so.
#include "platform/csman.h"
#include "tests/support/inside.h"

#include <cstring>

using namespace dashboard::testing;

namespace {

csman_row* find_row(world_state* world, unsigned csid) {
    for (csman_row& row : world->csman.rows) {
        if (row.csid == csid) {
            return &row;
        }
    }
    return nullptr;
}

bool spend(int32_t& failures) {
    if (failures == 0) {
        return false;
    }
    failures -= failures > 0 ? 1 : 0;
    return true;
}

// The row that a read of `csid` may answer from, or null when it fails; does not return when the item blocks.
csman_row* row_to_read(world_state* world, int handle, unsigned csid, csman_kind kind) {
    csman_row* row = nullptr;
    bool blocks = false;
    {
        const world_lock lock(world);
        row = find_row(world, csid);
        blocks = row != nullptr && row->blocks != 0;
        if (!blocks && row != nullptr && spend(row->read_failures)) {
            row = nullptr;
        }
    }
    if (blocks) {
        stall_for_ever();
    }
    return row != nullptr && row->kind == kind && handle == world->csman.handle ? row : nullptr;
}

bool recorded(const world_state* world) {
    return world->csman.quiet == 0;
}

} // namespace

int open_csman(int first, int second) {
    world_state* world = current_world();
    if (world == nullptr) {
        return -1;
    }
    record("csman", "open %d %d", first, second);
    if (world->csman.open_blocks != 0) {
        stall_for_ever();
    }
    const world_lock lock(world);
    return spend(world->csman.open_failures) ? world->csman.failed_open : world->csman.handle;
}

int read_csman(int handle, unsigned int csid, void* buffer, int length, int type) {
    world_state* world = current_world();
    if (world == nullptr) {
        return -1;
    }
    if (recorded(world)) {
        record("csman", "read %d 0x%x %d %d", handle, csid, length, type);
    }
    const csman_row* row = row_to_read(world, handle, csid, csman_text);
    if (row == nullptr || type != csman_type_string || length <= 0) {
        return -1;
    }
    const world_lock lock(world);
    strncpy(static_cast<char*>(buffer), row->text, static_cast<size_t>(length));
    return 0;
}

int read_csman_int(int handle, unsigned int csid, int* value) {
    world_state* world = current_world();
    if (world == nullptr) {
        return -1;
    }
    if (recorded(world)) {
        record("csman", "read_int %d 0x%x", handle, csid);
    }
    const csman_row* row = row_to_read(world, handle, csid, csman_number);
    if (row == nullptr) {
        return -1;
    }
    const world_lock lock(world);
    *value = row->number;
    return 0;
}

int write_csman_int(int handle, unsigned int csid, int value) {
    world_state* world = current_world();
    if (world == nullptr) {
        return -1;
    }
    if (recorded(world)) {
        record("csman", "write_int %d 0x%x %d", handle, csid, value);
    }
    const world_lock lock(world);
    csman_row* row = find_row(world, csid);
    row = row == nullptr ? find_row(world, 0) : row;
    if (row == nullptr || spend(row->write_failures) || handle != world->csman.handle) {
        return -1;
    }
    row->csid = csid;
    row->kind = csman_number;
    row->number = value;
    return 0;
}

int close_csman(int handle) {
    world_state* world = current_world();
    if (world == nullptr) {
        return -1;
    }
    record("csman", "close %d", handle);
    if (world->csman.close_blocks != 0) {
        stall_for_ever();
    }
    if (world->csman.close_ns > 0) {
        take_time(world, world->csman.close_ns);
    }
    return handle == world->csman.handle ? 0 : -1;
}
