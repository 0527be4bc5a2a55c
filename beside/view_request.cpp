#include "beside/view_request.h"

#include "platform/csman.h"

namespace dashboard {

bool write_request(int store, const graph_request& request) {
    bool written = true;
    for (size_t index = 0; index < module_total && written; ++index) {
        if (request.number[index] != 0) {
            written = write_csman_int(store, module_table[index].view_csid, request.number[index]) == 0;
        }
    }
    if (request.enable >= 0 && written) {
        written = write_csman_int(store, module_table[request.enable].enable_csid, 1) == 0;
    }
    return written;
}

bool reads_one(int store, uint32_t csid) {
    int value = 0;
    return read_csman_int(store, csid, &value) == 0 && value == 1;
}

} // namespace dashboard
