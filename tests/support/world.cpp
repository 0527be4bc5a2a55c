#include "tests/support/world.h"
#include "tests/support/files.h"
#include "tests/support/world_text.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <fstream>
#include <sched.h>
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

void write_whole(const std::string& path, const std::string& text) {
    const std::string temporary = path + ".new";
    std::ofstream(temporary, std::ios::binary) << text;
    fs::rename(temporary, path);
}

std::string read_whole(const std::string& path) {
    if (!fs::exists(path)) {
        throw std::runtime_error("no file " + path);
    }
    return read_file(path);
}

bool has_died(uint32_t pid) {
    std::ifstream in("/proc/" + std::to_string(pid) + "/stat");
    std::string about;
    std::getline(in, about);
    const size_t state = about.rfind(") ");
    return state == std::string::npos || about[state + 2] == 'Z';
}

} // namespace

// A process that ended while one of its threads was inside the lock has left it shut: nobody is there any more.
state_guard::state_guard(world_state& world) : held(world) {
    uint32_t open = 0;
    for (int tries = 1; !__atomic_compare_exchange_n(&held.lock, &open, 1, false, __ATOMIC_ACQUIRE, __ATOMIC_RELAXED);
         ++tries) {
        if (tries % 10'000 == 0 && held.pid != 0 && has_died(held.pid)) {
            return;
        }
        if (tries > 20'000'000) {
            throw std::runtime_error("the process under test does not leave its world's lock");
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

void virtual_clock::delay_time(int64_t nanoseconds) {
    const state_guard guard(state);
    state.time_lag = nanoseconds;
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
    if (log_socket >= 0) {
        close(log_socket);
    }
    end_hanging_tools();
    munmap(shared, sizeof(world_state));
    std::error_code ignored;
    fs::remove_all(base, ignored);
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

void test_world::only_processes(const std::vector<int32_t>& ids) {
    for (const int32_t id : ids) {
        folder("/proc/" + std::to_string(id));
    }
    shared->own_processes = 1;
}

void test_world::parent_id(int32_t pid) {
    shared->parent_id = pid;
}

void test_world::on_sleep(std::function<void()> hook) {
    sleep_hook = std::move(hook);
    world_on_sleep([](void* self) { static_cast<test_world*>(self)->sleep_hook(); }, this);
}

} // namespace dashboard::testing
