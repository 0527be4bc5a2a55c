// How much memory the daemon holds.
#ifndef CORE_DASHBOARD_FOOTPRINT_H
#define CORE_DASHBOARD_FOOTPRINT_H

namespace dashboard {

/// Gives back the pages of program code and constants that the start has touched, of this program and of every library.
/// What is needed again comes from the files' cached pages, at the cost of a fault for each stretch; an object whose
/// code the loader had to patch is left alone. Any thread, while the others run on. A debugger has to set its
/// breakpoints afterwards: they are patches, too.
void forget_start();

} // namespace dashboard

#endif
