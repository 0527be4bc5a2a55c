// What the daemon's code finds outside while it is fuzzed: files, tools and the configuration store, all in memory.
//
// The daemon's objects are the ones that ship; the linker's --wrap puts these calls under them (see CMakeLists.txt).
// Only paths and commands of the daemon are answered here, so that the fuzzer's own files stay what they are.
#ifndef TESTS_FUZZ_OUTSIDE_H
#define TESTS_FUZZ_OUTSIDE_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <string>
#include <string_view>
#include <vector>

namespace dashboard::fuzz {

// The text of a file, by the path that the daemon uses.
void set_file(const std::string& path, std::string_view text);
// A file as the daemon left it; empty when there is none.
std::string read_file(const std::string& path);
// The same for reading with the C library's own scanf; the caller closes it.
FILE* open_file(const std::string& path);
void remove_file(const std::string& path);

// What a command that begins with `tool` prints, after everything that it is piped through.
void set_tool_output(const std::string& tool, std::string_view text);
FILE* open_tool_output(const std::string& tool);

// Items of the configuration store; reading an item that was not set fails.
void set_number(uint32_t csid, int value);
void set_string(uint32_t csid, std::string_view text);

// The wall clock, which only this moves.
void set_clock(time_t now);

// Takes the newest message of the daemon, without what stands before its text; empty when there is none since.
std::string take_message();

// Ends the run with `what` when `holds` is false, so that the fuzzer keeps the input.
void require(bool holds, const char* what);

// ---- Shapes of inputs

// The input as a text.
std::string_view text_of(const uint8_t* data, size_t size);

// `count` parts of a text that '~' separates; what is missing is empty.
std::vector<std::string> parts_of(std::string_view text, size_t count);

// The lines of a text as the daemon's line reader promises them: without the newline, cut at `longest` characters and
// at a NUL; an empty last line does not count.
std::vector<std::string> lines_of(std::string_view text, size_t longest);

// Whether `text` is one whole document: its two first lines, its last one, and each of them once.
bool is_whole_document(const std::string& text);

} // namespace dashboard::fuzz

#endif
