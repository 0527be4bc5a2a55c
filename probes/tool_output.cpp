#include "probes/tool_output.h"

#include "base/portability.h"
#include "base/uncancellable.h"

#include <unistd.h>

namespace dashboard {

bool open_tool(tool_output& tool, const char* command) {
    {
        uncancellable section; // popen uses the heap
        tool.pipe = open_pipe(command);
    }
    if (tool.pipe == nullptr) {
        return false;
    }
    tool.text.fd = fileno(tool.pipe); // read directly: stdio's buffer would come from the heap
    // Lets the shell come up before the read asks for its output: on a router's single core it would otherwise be
    // started only once the read waits, a switch there and back for nothing.
    usleep(10);
    return true;
}

void close_tool(tool_output& tool) {
    uncancellable section;
    pclose(tool.pipe);
    tool.pipe = nullptr;
}

} // namespace dashboard
