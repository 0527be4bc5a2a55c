#include "probes/tool_output.h"

#include "base/portability.h"
#include "base/uncancellable.h"
#include "probes/tool_end.h"

#include <unistd.h>

namespace dashboard {

bool open_tool(tool_output& tool, const char* command) {
    stay_if_tools_were_ended();
    {
        uncancellable section; // popen uses the heap
        tool.pipe = open_pipe(command);
        if (tool.pipe == nullptr) {
            return false;
        }
        tool.text.fd = fileno(tool.pipe); // read directly: stdio's buffer would come from the heap
        tool.place = remember_tool(tool.text.fd);
    }
    tool.text.at_end = stay_if_tools_were_ended;
    // Lets the shell come up before the read asks for its output: on a router's single core it would otherwise be
    // started only once the read waits, a switch there and back for nothing.
    usleep(10);
    return true;
}

void close_tool(tool_output& tool) {
    {
        uncancellable section;
        pclose(tool.pipe);
        tool.pipe = nullptr;
        forget_tool(tool.place);
    }
    stay_if_tools_were_ended();
}

} // namespace dashboard
