// The store under many hands: processes, threads, signals, cancellations and deaths.
#include "platform/csman.h"

#include <atomic>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <pthread.h>
#include <sched.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/time.h>
#include <unistd.h>

#include "host_fixture.h"
#include "platform/host/csman_store.h"

namespace dashboard {
namespace {

constexpr unsigned int number_item = 0x80150433;
constexpr unsigned int text_item = 0x8001000B;

// Counters that processes share.
struct shared_counters {
    std::atomic<unsigned> done{0};
    std::atomic<bool> stop{false};
};

// The same "random" numbers in every run, so that a failure is not one of bad luck in drawing them.
struct random_steps {
    uint32_t state;

    unsigned next() {
        state = state * 1664525 + 1013904223;
        return state >> 16;
    }
};

class CsmanProcess : public host_test {
protected:
    CsmanProcess() {
        void* memory =
            mmap(nullptr, sizeof(shared_counters), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        EXPECT_NE(memory, MAP_FAILED);
        counters = new (memory) shared_counters;
    }

    ~CsmanProcess() override { munmap(counters, sizeof(shared_counters)); }

    // Waits for a child's first step.
    void wait_for_start() const {
        while (counters->done == 0)
            sched_yield();
    }

    // Waits for some more steps of a child that goes on and on.
    void wait_for_progress(unsigned steps) const {
        const unsigned start = counters->done;
        while (counters->done - start < steps)
            sched_yield();
    }

    shared_counters* counters;
};

// Values and texts that show a mixture: a number of ten equal digits, a text of one letter in one of many lengths.
int whole_number(unsigned step) {
    return static_cast<int>(step % 2 == 0 ? 1111111111 : -2222222);
}

store_item whole_text(unsigned step) {
    store_item item;
    item.is_string = true;
    item.length = 1 + size_t{step} * 37 % store_text_max;
    memset(item.text, static_cast<int>('a' + item.length % 26), item.length);
    return item;
}

bool is_whole(const store_item& item) {
    const char letter = static_cast<char>('a' + item.length % 26);
    return item.is_string && std::string(item.text, item.length) == std::string(item.length, letter);
}

bool is_whole(int number) {
    return number == whole_number(0) || number == whole_number(1);
}

int write_both(int store, unsigned step) {
    const int number = write_csman_int(store, number_item, whole_number(step));
    return number == 0 ? store_write(store, text_item, whole_text(step)) : number;
}

bool read_both_whole(int store) {
    int number = 0;
    store_item item = {};
    return read_csman_int(store, number_item, &number) == 0 && is_whole(number) &&
           store_read(store, text_item, item) == 0 && is_whole(item);
}

TEST_F(CsmanProcess, NoReaderSeesAHalfWrittenItem) {
    constexpr unsigned writes = 400;
    ASSERT_EQ(write_both(open_store(), 0), 0);
    std::vector<pid_t> children;
    children.reserve(3);
    for (int writer = 0; writer < 3; writer++) {
        children.push_back(start_child([this] {
            const int store = open_csman(0, 0);
            int failures = 0;
            for (unsigned step = 0; step < writes; step++)
                failures += write_both(store, step) != 0;
            counters->done++;
            return failures == 0 ? 0 : 1;
        }));
    }
    unsigned reads = 0;
    while (counters->done < 3) {
        ASSERT_TRUE(read_both_whole(open_store()));
        reads++;
    }
    for (const pid_t child : children)
        EXPECT_EQ(wait_child(child), 0);
    EXPECT_GT(reads, 0u);
    EXPECT_TRUE(temporaries().empty());
}

TEST_F(CsmanProcess, SweepingOpenersDoNotHurtLiveWriters) {
    open_store();
    const pid_t opener = start_child([this] {
        while (!counters->stop) {
            const int store = open_csman(0, 0);
            if (store < 0 || close_csman(store) != 0)
                return 1;
            counters->done++;
        }
        return 0;
    });
    wait_for_progress(1);
    unsigned failures = 0;
    for (unsigned step = 0; step < 300; step++)
        failures += write_csman_int(open_store(), number_item, whole_number(step)) != 0;
    wait_for_progress(1);
    counters->stop = true;
    EXPECT_EQ(wait_child(opener), 0);
    EXPECT_EQ(failures, 0u);
    EXPECT_TRUE(temporaries().empty());
}

TEST_F(CsmanProcess, LeftoverOfADeadWriterIsSweptByTheNextOpen) {
    open_store();
    write_file(store_file(".tmp-0x00150785-1-0"), "int 1");
    write_file(store_file(".tmp-0x00150785-999999-7"), "");
    write_file(store_file("0x00150785"), "int 1\n");
    write_file(store_file("notes"), "somebody else's");
    EXPECT_EQ(write_csman_int(open_store(), number_item, 1), 0);
    EXPECT_EQ(temporaries().size(), 3u);
    const int second = open_csman(0, 0);
    EXPECT_EQ(close_csman(second), 0);
    EXPECT_EQ(names_in(store_dir), (std::vector<std::string>{"0x00150785", "0x80150433", "notes"}));
}

TEST_F(CsmanProcess, FileOfALiveWriterIsNotSweptUntilItDies) {
    open_store();
    const std::string path = store_file(".tmp-0x00150785-1-0");
    const pid_t writer = start_child([&] {
        const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
        if (fd < 0 || flock(fd, LOCK_EX | LOCK_NB) != 0)
            return 1;
        counters->done++;
        for (;;)
            pause();
    });
    wait_for_start();
    EXPECT_EQ(close_csman(open_csman(0, 0)), 0);
    EXPECT_EQ(temporaries().size(), 1u);
    ASSERT_EQ(kill(writer, SIGKILL), 0);
    EXPECT_EQ(wait_child(writer), 128 + SIGKILL);
    EXPECT_EQ(close_csman(open_csman(0, 0)), 0);
    EXPECT_TRUE(temporaries().empty());
}

TEST_F(CsmanProcess, LinkAmongTheLeftoversIsNotFollowed) {
    open_store();
    const std::string target = root + "/target";
    write_file(target, "precious");
    ASSERT_EQ(symlink(target.c_str(), store_file(".tmp-0x00150785-1-0").c_str()), 0);
    EXPECT_EQ(close_csman(open_csman(0, 0)), 0);
    EXPECT_EQ(read_file(target), "precious");
}

TEST_F(CsmanProcess, KilledWritersLeaveAWholeItemAndNothingElse) {
    random_steps random = {1};
    ASSERT_EQ(write_both(open_store(), 0), 0);
    for (int round = 0; round < 40; round++) {
        const pid_t writer = start_child([this] {
            const int store = open_csman(0, 0);
            for (unsigned step = 0;; step++) {
                if (write_both(store, step) != 0)
                    return 1;
                counters->done++;
            }
        });
        wait_for_progress(1 + random.next() % 8);
        // Some instructions into the next write, nobody knows where.
        for (volatile unsigned spin = random.next() % 20000; spin > 0; spin = spin - 1) {
        }
        ASSERT_EQ(kill(writer, SIGKILL), 0);
        ASSERT_EQ(wait_child(writer), 128 + SIGKILL);
        ASSERT_TRUE(read_both_whole(open_store()));
    }
    EXPECT_EQ(close_csman(open_csman(0, 0)), 0);
    EXPECT_TRUE(temporaries().empty());
    EXPECT_EQ(write_both(open_store(), 1), 0);
}

// Reads and writes until it is cancelled, at any instruction.
struct cancelled_thread {
    int store;
    std::atomic<unsigned>* steps;
};

void* read_and_write(void* argument) {
    const cancelled_thread* self = static_cast<cancelled_thread*>(argument);
    pthread_setcanceltype(PTHREAD_CANCEL_ASYNCHRONOUS, nullptr);
    int number = 0;
    char text[16];
    for (;;) {
        write_csman_int(self->store, number_item, whole_number(*self->steps));
        read_csman_int(self->store, number_item, &number);
        read_csman(self->store, text_item, text, sizeof text, csman_type_string);
        ++*self->steps;
    }
}

// What the process has open: where each descriptor's link leads.
std::vector<std::string> open_files() {
    std::vector<std::string> files;
    for (const std::string& number : names_in("/proc/self/fd")) {
        std::error_code gone; // the listing's own descriptor
        files.push_back(std::filesystem::read_symlink("/proc/self/fd/" + number, gone));
    }
    return files;
}

TEST_F(CsmanProcess, CancelledThreadsLeaveNothingBehind) {
    random_steps random = {2};
    ASSERT_EQ(write_both(open_store(), 0), 0);
    const std::vector<std::string> before = open_files();
    for (int round = 0; round < 200; round++) {
        std::atomic<unsigned> steps{0};
        cancelled_thread work = {open_store(), &steps};
        pthread_t thread;
        ASSERT_EQ(pthread_create(&thread, nullptr, read_and_write, &work), 0);
        const unsigned wanted = 1 + random.next() % 8;
        while (steps < wanted)
            sched_yield();
        for (volatile unsigned spin = random.next() % 20000; spin > 0; spin = spin - 1) {
        }
        ASSERT_EQ(pthread_cancel(thread), 0);
        ASSERT_EQ(pthread_join(thread, nullptr), 0);
        ASSERT_TRUE(read_both_whole(open_store()));
    }
    EXPECT_EQ(open_files(), before);
    EXPECT_TRUE(temporaries().empty());
    EXPECT_EQ(write_both(open_store(), 1), 0);
}

// For the handler below.
int handler_store = -1;
std::atomic<unsigned> handler_calls{0};
std::atomic<unsigned> handler_failures{0};

void use_store(int) {
    int number = 0;
    const bool fine = write_csman_int(handler_store, number_item, whole_number(handler_calls)) == 0 &&
                      read_csman_int(handler_store, number_item, &number) == 0 && is_whole(number);
    handler_failures += fine ? 0 : 1;
    handler_calls++;
}

TEST_F(CsmanProcess, SignalHandlerMayUseTheStoreInTheMiddleOfACall) {
    handler_store = open_store();
    handler_calls = 0;
    handler_failures = 0;
    struct sigaction action = {};
    struct sigaction before;
    action.sa_handler = use_store; // without SA_RESTART: calls are interrupted
    ASSERT_EQ(sigaction(SIGALRM, &action, &before), 0);
    const itimerval often = {{0, 1000}, {0, 1000}};
    const itimerval never = {};
    ASSERT_EQ(setitimer(ITIMER_REAL, &often, nullptr), 0);
    unsigned failures = 0;
    for (unsigned step = 0; step < 100 || handler_calls < 60; step++)
        failures += write_both(handler_store, step) != 0 || !read_both_whole(handler_store);
    ASSERT_EQ(setitimer(ITIMER_REAL, &never, nullptr), 0);
    ASSERT_EQ(sigaction(SIGALRM, &before, nullptr), 0);
    EXPECT_EQ(failures, 0u);
    EXPECT_EQ(handler_failures, 0u);
    EXPECT_TRUE(temporaries().empty());
}

TEST_F(CsmanProcess, ThreadsOfOneProcessShareAHandle) {
    ASSERT_EQ(write_both(open_store(), 0), 0);
    std::atomic<unsigned> failures{0};
    const auto work = [](void* argument) -> void* {
        auto* failed = static_cast<std::atomic<unsigned>*>(argument);
        for (unsigned step = 0; step < 200; step++)
            *failed += write_both(handler_store, step) != 0 || !read_both_whole(handler_store);
        return nullptr;
    };
    handler_store = open_store();
    pthread_t threads[3];
    for (pthread_t& thread : threads)
        ASSERT_EQ(pthread_create(&thread, nullptr, work, &failures), 0);
    for (const pthread_t thread : threads)
        EXPECT_EQ(pthread_join(thread, nullptr), 0);
    EXPECT_EQ(failures, 0u);
    EXPECT_TRUE(temporaries().empty());
}

} // namespace
} // namespace dashboard
