// Tools that still run when the daemon ends.
//
// Nobody would end them otherwise: a tool that hangs, or one that prints for ever into a command that never prints
// itself, runs on beside the next daemon, and a respawning init adds one at each restart.
#ifndef PROBES_TOOL_END_H
#define PROBES_TOOL_END_H

namespace dashboard {

/// Notes that a tool writes into `pipe`, and returns where, for forget_tool.
int remember_tool(int pipe);

/// The tool has ended.
void forget_tool(int place);

/// The last thing that the process does, also in a signal handler: kills the tools that are noted, the shell and
/// whatever it has started. What the platform's command runner has started is no tool and lives on, as do tools when
/// the daemon is killed itself, and those that have left their shell or closed their output.
void end_tools();

/// Does not return when tools were ended in this way: the worker that waited for one has half of its output, and
/// nothing may be said or published of that.
void stay_if_tools_were_ended();

} // namespace dashboard

#endif
