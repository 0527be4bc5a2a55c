// The output of a shell command, read with fixed memory.
#ifndef PROBES_TOOL_OUTPUT_H
#define PROBES_TOOL_OUTPUT_H

#include "probes/text_source.h"

#include <cstdio>

namespace dashboard {

/// A running command and what it prints. Open it, read `text` to its end or as far as wanted, close it.
struct tool_output {
    FILE* pipe = nullptr;
    int place = 0; // see tool_end.h
    text_source text;
};

/// Starts `command` through the shell. Returns false with errno when it cannot be started; a command that the shell
/// does not find simply prints nothing.
bool open_tool(tool_output& tool, const char* command);

/// Closes the pipe and waits for the command, as long as that takes: one that prints on is ended by the closed pipe,
/// one that has stopped printing is not.
void close_tool(tool_output& tool);

} // namespace dashboard

#endif
