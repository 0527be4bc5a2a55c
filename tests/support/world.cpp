#include "tests/support/world.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <fstream>
#include <sched.h>
#include <signal.h>
#include <sstream>
#include <stdexcept>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

namespace fs = std::filesystem;

// In a test program that links the interposed calls; a driver of a whole daemon has no such thing.
extern "C" {
__attribute__((weak)) void world_attach(dashboard::testing::world_state* world);
__attribute__((weak)) void world_on_sleep(void (*hook)(void*), void* argument);
}

namespace dashboard::testing {

namespace {

std::string new_folder() {
    const char* const place = getenv("TMPDIR");
    std::string pattern = std::string(place == nullptr ? "/tmp" : place) + "/world.XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("no temporary folder " + pattern + ": " + strerror(errno));
    }
    return pattern;
}

world_state* map_state(const std::string& path) {
    const int descriptor = open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (descriptor < 0 || ftruncate(descriptor, sizeof(world_state)) != 0) {
        throw std::runtime_error("no shared state " + path + ": " + strerror(errno));
    }
    void* memory = mmap(nullptr, sizeof(world_state), PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
    close(descriptor);
    if (memory == MAP_FAILED) {
        throw std::runtime_error(std::string("no shared state: ") + strerror(errno));
    }
    return static_cast<world_state*>(memory);
}

template <size_t Size>
void store(char (&out)[Size], const std::string& text) {
    if (text.size() >= Size) {
        throw std::length_error("too long for a world: " + text);
    }
    memcpy(out, text.c_str(), text.size() + 1);
}

std::string shell_quoted(const std::string& text) {
    std::string quoted = "'";
    for (const char letter : text) {
        quoted += letter == '\'' ? std::string("'\\''") : std::string(1, letter);
    }
    return quoted + "'";
}

void write_whole(const std::string& path, const std::string& text) {
    const std::string temporary = path + ".new";
    std::ofstream(temporary, std::ios::binary) << text;
    fs::rename(temporary, path);
}

std::string read_whole(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        throw std::runtime_error("no file " + path);
    }
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

int64_t as_ns(double seconds) {
    return static_cast<int64_t>(seconds * 1e9 + (seconds < 0 ? -0.5 : 0.5));
}

} // namespace

state_guard::state_guard(world_state& world) : held(world) {
    uint32_t open = 0;
    for (int tries = 0; !__atomic_compare_exchange_n(&held.lock, &open, 1, false, __ATOMIC_ACQUIRE, __ATOMIC_RELAXED);
         ++tries) {
        if (tries > 2'000'000) {
            throw std::runtime_error("the process under test died inside its world's lock");
        }
        open = 0;
        sched_yield();
    }
}

state_guard::~state_guard() {
    __atomic_store_n(&held.lock, 0, __ATOMIC_RELEASE);
}

void virtual_clock::set(int64_t wall_seconds, int64_t nanoseconds) {
    const state_guard guard(state);
    state.wall_offset = wall_seconds * ns_per_second + nanoseconds - state.monotonic;
}

void virtual_clock::step_wall(int64_t seconds) {
    const state_guard guard(state);
    state.wall_offset += seconds * ns_per_second;
    for (thread_row& row : state.threads) {
        if (row.state == thread_parked && row.polling != 0) {
            row.deadline = state.monotonic + ns_per_second / 2000;
        }
    }
}

void virtual_clock::advance(double seconds) {
    const state_guard guard(state);
    state.monotonic += as_ns(seconds);
}

int64_t virtual_clock::now() const {
    return wall_ns() / ns_per_second;
}

int64_t virtual_clock::wall_ns() const {
    const state_guard guard(state);
    return state.monotonic + state.wall_offset;
}

int64_t virtual_clock::monotonic_ns() const {
    const state_guard guard(state);
    return state.monotonic;
}

test_world::test_world(const test_world* other_root)
    : base(new_folder()), root(other_root == nullptr ? base + "/root" : other_root->root), state_path(base + "/state"),
      shared(map_state(state_path)), clock(*shared), csman(*shared) {
    shared->magic = world_magic;
    shared->monotonic = 1000 * ns_per_second;
    shared->line_buffered = 1;
    shared->parent_id = 4242;
    shared->csman.handle = 7;
    clock.set(first_second, 300'000'000);
    store(shared->root, root);
    store(shared->hung, base + "/hung");
    fs::create_directory(base + "/hung");
    fs::create_directory(base + "/tools");
    if (other_root == nullptr) {
        for (const char* path : {"/tmp", "/usr/www", "/proc/net", "/var/run"}) {
            folder(path);
        }
    }
    make_tools();
    old_path = getenv("PATH") == nullptr ? "" : getenv("PATH");
    setenv("PATH", tools_folder().c_str(), 1);
    if (world_attach != nullptr) {
        world_attach(shared);
    }
}

test_world::~test_world() {
    if (world_attach != nullptr) {
        world_on_sleep(nullptr, nullptr);
        world_attach(nullptr);
    }
    setenv("PATH", old_path.c_str(), 1);
    end_hanging_tools();
    munmap(shared, sizeof(world_state));
    std::error_code ignored;
    fs::remove_all(base, ignored);
}

void test_world::make_tools() {
    for (const char* name : {"awk", "wc", "cat", "sleep"}) {
        for (const char* place : {"/usr/bin/", "/bin/"}) {
            const std::string there = std::string(place) + name;
            if (fs::exists(there) && !fs::is_symlink(fs::symlink_status(tools_folder() + "/" + name))) {
                fs::create_symlink(there, tools_folder() + "/" + name);
            }
        }
    }
}

std::string test_world::real_path(const std::string& path) const {
    return root + path;
}

void test_world::file(const std::string& path, const std::string& text) {
    fs::create_directories(fs::path(real_path(path)).parent_path());
    write_whole(real_path(path), text);
}

void test_world::folder(const std::string& path) {
    fs::create_directories(real_path(path));
}

void test_world::remove(const std::string& path) {
    fs::remove_all(real_path(path));
}

void test_world::link(const std::string& target, const std::string& path) {
    fs::create_symlink(real_path(target), real_path(path));
}

bool test_world::exists(const std::string& path) const {
    struct stat about;
    return ::lstat(real_path(path).c_str(), &about) == 0;
}

std::string test_world::read(const std::string& path) const {
    return read_whole(real_path(path));
}

std::string test_world::link_target(const std::string& path) const {
    const std::string target = fs::read_symlink(real_path(path)).string();
    return target.compare(0, root.size(), root) == 0 ? target.substr(root.size()) : target;
}

unsigned test_world::mode(const std::string& path) const {
    return static_cast<unsigned>(fs::symlink_status(real_path(path)).permissions());
}

std::vector<std::string> test_world::list(const std::string& folder_path) const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(real_path(folder_path))) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

void test_world::tool(const std::string& name, const std::string& script) {
    const std::string path = tools_folder() + "/" + name;
    const std::string temporary = path + ".new";
    std::ofstream(temporary, std::ios::binary) << "#!/bin/sh\n" << script << "\n";
    fs::permissions(temporary, fs::perms::owner_all);
    fs::rename(temporary, path);
}

void test_world::no_tool(const std::string& name) {
    fs::remove(tools_folder() + "/" + name);
}

void test_world::hanging_tool(const std::string& name, const std::string& first) {
    tool(name, "printf %s " + shell_quoted(first) + "\necho $$ >" + base + "/hung/$$\nexec sleep 1000000");
}

bool test_world::a_tool_hangs() const {
    return count_hanging_tools() > 0;
}

uint32_t test_world::count_hanging_tools() const {
    uint32_t count = 0;
    for (const auto& entry : fs::directory_iterator(base + "/hung")) {
        const int pid = atoi(entry.path().filename().c_str());
        count += pid > 1 && kill(pid, 0) == 0 ? 1 : 0;
    }
    return count;
}

void test_world::end_hanging_tools() {
    for (const auto& entry : fs::directory_iterator(base + "/hung")) {
        const int pid = atoi(entry.path().filename().c_str());
        if (pid > 1) {
            kill(pid, SIGKILL);
        }
    }
}

void test_world::slow(const std::string& word, double seconds) {
    const state_guard guard(*shared);
    for (slow_tool& row : shared->slow_tools) {
        if (row.word[0] == '\0' || row.word == word) {
            store(row.word, word);
            row.ns = as_ns(seconds);
            return;
        }
    }
    throw std::length_error("too many slow tools");
}

void test_world::netdev(const std::vector<interface_bytes>& interfaces) {
    std::ostringstream text;
    text << "Inter-|   Receive                                                |  Transmit\n"
         << " face |bytes    packets errs drop fifo frame compressed multicast|bytes    packets errs drop fifo colls "
            "carrier compressed\n";
    for (const interface_bytes& one : interfaces) {
        text << "  " << one.name << ": " << one.rx << " 2 3 4 5 6 7 8 " << one.tx << " 10 11 12 13 14 15 16\n";
    }
    file("/proc/net/dev", text.str());
}

void test_world::alive(const std::vector<std::string>& names) {
    std::string text;
    for (const std::string& name : names) {
        text += name + "      Link encap:Ethernet  HWaddr 02:00:00:00:00:01\n          UP RUNNING  MTU:1500\n\n";
    }
    tool("ifconfig", "printf %s " + shell_quoted(text));
}

void test_world::meminfo(uint64_t total_kb, uint64_t free_kb) {
    file("/proc/meminfo",
         "MemTotal:       " + std::to_string(total_kb) + " kB\nMemFree:        " + std::to_string(free_kb) + " kB\n");
}

void test_world::mpstat(const std::vector<std::string>& idle) {
    std::string text =
        "Average:     CPU    %usr   %nice    %sys %iowait    %irq   %soft  %steal  %guest  %gnice   %idle\n";
    for (size_t i = 0; i < idle.size(); ++i) {
        const std::string name = i == 0 ? "all" : std::to_string(i - 1);
        text += "Average:     " + std::string(name.size() < 4 ? 4 - name.size() : 0, ' ') + name +
                "    1.00    0.00    2.00    0.00    0.00    0.00    0.00    0.00    0.00   " + idle[i] + "\n";
    }
    tool("mpstat", "printf %s " + shell_quoted(text));
}

void test_world::usual_inputs() {
    netdev({{"lo", 100, 100}, {"eth0", 1000, 2000}});
    alive({"lo", "eth0"});
    meminfo(131072, 65536);
    file("/proc/stat", "cpu  1 2 3 4\ncpu0 1 1 1 1\ncpu1 0 1 2 3\nintr 5\n");
    file("/proc/sys/net/netfilter/nf_conntrack_max", "1000\n");
    mpstat({"90.10", "80.20", "99.75"});
    tool("netstat", "printf 'Active Internet connections\\nProto\\ntcp\\n'");
    tool("freemem", ":");
}

void test_world::parent_id(int32_t pid) {
    shared->parent_id = pid;
}

void test_world::on_sleep(std::function<void()> hook) {
    sleep_hook = std::move(hook);
    world_on_sleep([](void* self) { static_cast<test_world*>(self)->sleep_hook(); }, this);
}

} // namespace dashboard::testing
