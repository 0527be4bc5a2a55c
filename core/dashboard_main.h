// The life of the process, top to bottom.
#ifndef CORE_DASHBOARD_MAIN_H
#define CORE_DASHBOARD_MAIN_H

namespace dashboard {

/// Runs the daemon with the words of its command line: prepares, daemonises, starts the two workers, watches them and
/// shuts down in a fixed order. Returns the exit status 0; fatal conditions end the process with 1, SIGINT and SIGTERM
/// with 255.
int dashboard_main(int argc, char** argv);

} // namespace dashboard

#endif
