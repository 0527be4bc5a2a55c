// The doctor: what the daemon needs of its machine, looked at one by one, each with the command that mends it.
#ifndef CTL_DOCTOR_H
#define CTL_DOCTOR_H

#include "ctl/status.h"

#include <string>
#include <vector>

namespace dashboard {

enum class grade {
    good,
    note,  // works, but somebody should know
    wrong, // the daemon does not do what it is there for
};

struct finding {
    grade how = grade::good;
    std::string text;
    std::string remedy; // a command, or what to do; empty when nothing needs to be done
};

using findings = std::vector<finding>;

/// The tools, as the daemon would find them: in the PATH of the environment.
void check_tools(const status_look& status, findings& list);
/// Folders, links, space, locks, rights of the web server, clock.
void check_places(const status_look& status, findings& list);
/// Items of the store that contradict each other or the machine.
void check_store(const status_look& status, findings& list);

/// What the output of a tool says about its variant; an empty text when it is the right one.
std::string fault_of_mpstat(const std::string& output);
std::string fault_of_ifconfig(const std::string& output);
std::string fault_of_netstat(const std::string& output);

/// A finding on one line, or two where something is to be done.
std::string finding_text(const finding& one, bool colours, int width);

/// Looks at everything and prints it. 0 when nothing is wrong, else 1.
int run_doctor();

} // namespace dashboard

#endif
