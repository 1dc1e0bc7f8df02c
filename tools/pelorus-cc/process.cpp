// See process.h.
#include "process.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

extern char** environ;

namespace pelorus {

namespace {

volatile sig_atomic_t caught_signal = 0;
std::string directory; // "" until made

void note_signal(int number) { caught_signal = number; }

[[noreturn]] void end_by_signal(int number) {
    remove_temporary_directory();
    signal(number, SIG_DFL);
    raise(number);
    _exit(1);
}

// Waits for the child, and ends this program by a signal that came meanwhile.
int wait_for(pid_t child, struct rusage& usage) {
    int status = 0;
    while (wait4(child, &status, 0, &usage) < 0 && errno == EINTR)
        if (caught_signal) kill(child, caught_signal);
    if (caught_signal) end_by_signal(caught_signal);
    return status;
}

double processor_seconds(const struct rusage& usage) {
    constexpr double MICROSECOND = 1e-6;
    return double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           MICROSECOND * double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec);
}

int spawn(const WORDS& words, const std::string& output, pid_t& child) {
    std::vector<char*> arguments;
    for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (!output.empty())
        posix_spawn_file_actions_addopen(&actions, 1, output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
    int error = posix_spawnp(&child, arguments[0], &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    return error;
}

} // namespace

void catch_signals() {
    struct sigaction action = {};
    action.sa_handler = note_signal;
    for (int number : {SIGHUP, SIGINT, SIGTERM}) {
        struct sigaction before;
        sigaction(number, nullptr, &before);
        if (before.sa_handler != SIG_IGN) sigaction(number, &action, nullptr);
    }
}

int run_program(const WORDS& words, const std::string& output, double* seconds) {
    if (caught_signal) end_by_signal(caught_signal);
    fflush(nullptr);
    pid_t child;
    if (int error = spawn(words, output, child)) {
        fprintf(stderr, "pelorus-cc: error: cannot run '%s': %s\n", words[0].c_str(), strerror(error));
        return 1;
    }
    struct rusage usage = {};
    int status = wait_for(child, usage);
    if (seconds) *seconds = processor_seconds(usage);
    if (WIFEXITED(status)) return WEXITSTATUS(status);
    fprintf(stderr, "pelorus-cc: error: '%s' was ended by signal %d (%s)\n", words[0].c_str(),
            WTERMSIG(status), strsignal(WTERMSIG(status)));
    return 1;
}

std::string own_directory() {
    std::error_code error;
    std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", error);
    return error ? "" : self.parent_path().string() + "/";
}

const std::string& temporary_directory(const std::string& parent, bool imagined) {
    if (!directory.empty()) return directory;
    const char* usual = getenv("TMPDIR");
    if (!usual || !*usual) usual = "/tmp";
    std::string name = (parent.empty() ? usual : parent) + "/pelorus-cc-XXXXXX";
    if (!imagined && !mkdtemp(name.data())) {
        fprintf(stderr, "pelorus-cc: error: cannot make a directory '%s': %s\n", name.c_str(),
                strerror(errno));
        exit(1);
    }
    directory = name + "/";
    return directory;
}

void remove_temporary_directory() {
    if (directory.empty()) return;
    std::error_code ignored;
    std::filesystem::remove_all(directory, ignored);
    directory.clear();
}

} // namespace pelorus
