// A store in a directory of its own, and the tool run on it.
#ifndef TESTS_HOST_HOST_FIXTURE_H
#define TESTS_HOST_HOST_FIXTURE_H

#include <functional>
#include <string>
#include <sys/types.h>
#include <vector>

#include <gtest/gtest.h>

namespace dashboard {

std::string read_file(const std::string& path);
void write_file(const std::string& path, const std::string& content);

// The names in a directory, sorted.
std::vector<std::string> names_in(const std::string& directory);

// Forks a process that runs `work` and ends with its result, without running anything of the test's own.
pid_t start_child(const std::function<int()>& work);

// Waits for a child: its exit status, or 128 and the number of the signal that ended it.
int wait_child(pid_t child);

struct tool_result {
    int status;
    std::string output;
    std::string errors;
};

// Starts csmanctl, or another program (under the emulator, where there is one). The three descriptors become its own.
pid_t start_tool(const std::vector<std::string>& given, int in, int out, int err,
                 const std::string& program = CSMANCTL_EXECUTABLE);

// Every test gets an empty temporary directory; the store is its subdirectory "store", which does not exist yet.
class host_test : public testing::Test {
protected:
    host_test();
    ~host_test() override;

    // A file of the store, by the csid's file name or any other.
    std::string store_file(const std::string& name) const { return store_dir + "/" + name; }

    // Opens the store through the library and closes it at the end of the test.
    int open_store();

    // Runs `program` to its end.
    tool_result tool(const std::vector<std::string>& given, const std::string& input = "") const;

    // Names in the store that belong to unfinished writes.
    std::vector<std::string> temporaries() const;

    std::string program = CSMANCTL_EXECUTABLE;
    std::string root;
    std::string store_dir;

private:
    int opened = -1;
};

} // namespace dashboard

#endif
