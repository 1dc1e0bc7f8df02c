// See process.h.
#include "common/process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
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

// Waits for the child, and ends this program by a signal that came meanwhile.
int wait_for(pid_t child, struct rusage& usage) {
    int status = 0;
    while (wait4(child, &status, 0, &usage) < 0 && errno == EINTR)
        if (caught_signal) kill(child, caught_signal);
    if (caught_signal) end_interrupted();
    return status;
}

double processor_seconds(const struct rusage& usage) {
    constexpr double MICROSECOND = 1e-6;
    return double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           MICROSECOND * double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec);
}

// Where a program's streams go, and whether it gets a process group.
struct SPAWNING {
    posix_spawn_file_actions_t files;
    posix_spawnattr_t attributes;

    SPAWNING() {
        posix_spawn_file_actions_init(&files);
        posix_spawnattr_init(&attributes);
    }
    ~SPAWNING() {
        posix_spawn_file_actions_destroy(&files);
        posix_spawnattr_destroy(&attributes);
    }
    SPAWNING(const SPAWNING&) = delete;
    SPAWNING& operator=(const SPAWNING&) = delete;

    void open(int stream, const std::string& file, int flags) {
        posix_spawn_file_actions_addopen(&files, stream, file.c_str(), flags, 0666);
    }
    int start(const WORDS& words, pid_t& child) const {
        std::vector<char*> arguments;
        for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
        arguments.push_back(nullptr);
        return posix_spawnp(&child, arguments[0], &files, &attributes, arguments.data(), environ);
    }
};

constexpr int NEW_FILE = O_WRONLY | O_CREAT | O_TRUNC;

void say_cannot_run(const std::string& program, int error) {
    fprintf(stderr, "%s: error: cannot run '%s': %s\n", own_name, program.c_str(), strerror(error));
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

bool is_interrupted() { return caught_signal != 0; }

void end_interrupted() {
    remove_temporary_directory();
    signal(caught_signal, SIG_DFL);
    raise(caught_signal);
    _exit(1);
}

int run_program(const WORDS& words, const std::string& output, double* seconds) {
    if (caught_signal) end_interrupted();
    fflush(nullptr);
    pid_t child;
    SPAWNING spawning;
    if (!output.empty()) spawning.open(STDOUT_FILENO, output, NEW_FILE);
    if (int error = spawning.start(words, child)) {
        say_cannot_run(words[0], error);
        return 1;
    }
    struct rusage usage = {};
    int status = wait_for(child, usage);
    if (seconds) *seconds = processor_seconds(usage);
    if (WIFEXITED(status)) return WEXITSTATUS(status);
    fprintf(stderr, "%s: error: '%s' was ended by signal %d (%s)\n", own_name, words[0].c_str(),
            WTERMSIG(status), strsignal(WTERMSIG(status)));
    return 1;
}

// --- Jobs ---

JOB start_job(const WORDS& words, const std::string& out, double seconds) {
    fflush(nullptr);
    JOB job;
    job.out = out.empty() ? "/dev/null" : out;
    SPAWNING spawning;
    spawning.open(STDIN_FILENO, "/dev/null", O_RDONLY);
    spawning.open(STDOUT_FILENO, job.out, NEW_FILE);
    posix_spawn_file_actions_adddup2(&spawning.files, STDOUT_FILENO, STDERR_FILENO);
    posix_spawnattr_setflags(&spawning.attributes, POSIX_SPAWN_SETPGROUP);
    if (const int error = spawning.start(words, job.process)) {
        say_cannot_run(words[0], error);
        job.process = 0;
        return job;
    }
    job.handle = static_cast<int>(syscall(SYS_pidfd_open, job.process, 0));
    job.end =
        std::chrono::steady_clock::now() + std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                                               std::chrono::duration<double>(seconds));
    return job;
}

namespace {

// Ends what is left of the job's group, and learns how the job itself ended.
void finish(JOB& job) {
    if (!job.process) {
        job.status = CANNOT_RUN;
        return;
    }
    kill(-job.process, SIGKILL);
    int status = 0;
    while (waitpid(job.process, &status, 0) < 0 && errno == EINTR) {
    }
    if (job.handle >= 0) close(job.handle);
    if (job.status != TIME_IS_UP)
        job.status = WIFEXITED(status) ? WEXITSTATUS(status) : BY_SIGNAL + WTERMSIG(status);
}

// Milliseconds until the time of the first job is up, rounded up; not more than one second, since a signal
// may come just before the wait.
int patience(const std::vector<JOB>& jobs) {
    auto end = jobs[0].end;
    for (const JOB& job : jobs) end = std::min(end, job.end);
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(end - std::chrono::steady_clock::now()).count();
    constexpr long long LONGEST = 1000;
    return static_cast<int>(std::clamp<long long>(left + 1, 0, LONGEST));
}

// The place of a job that has ended or whose time is up; the number of jobs when there is none.
size_t find_ended(std::vector<JOB>& jobs) {
    std::vector<pollfd> handles;
    for (const JOB& job : jobs) {
        if (!job.process) return handles.size();
        handles.push_back({job.handle, POLLIN, 0});
    }
    if (poll(handles.data(), handles.size(), patience(jobs)) < 0) return jobs.size();
    const auto now = std::chrono::steady_clock::now();
    for (size_t i = 0; i < jobs.size(); ++i) {
        if (handles[i].revents) return i;
        if (jobs[i].end > now) continue;
        jobs[i].status = TIME_IS_UP;
        return i;
    }
    return jobs.size();
}

} // namespace

bool wait_for_job(std::vector<JOB>& jobs, JOB& ended) {
    for (;;) {
        if (caught_signal) return false;
        const size_t place = find_ended(jobs);
        if (place == jobs.size()) continue;
        finish(jobs[place]);
        ended = jobs[place];
        jobs.erase(jobs.begin() + static_cast<std::ptrdiff_t>(place));
        return true;
    }
}

void stop_jobs(std::vector<JOB>& jobs) {
    for (JOB& job : jobs) finish(job);
    jobs.clear();
}

int run_job(const WORDS& words, const std::string& out, double seconds) {
    std::vector<JOB> jobs{start_job(words, out, seconds)};
    JOB ended;
    if (wait_for_job(jobs, ended)) return ended.status;
    stop_jobs(jobs);
    end_interrupted();
}

std::string status_text(int status) {
    if (status == TIME_IS_UP) return "its time was up";
    if (status < BY_SIGNAL) return "status " + std::to_string(status);
    return "signal " + std::to_string(status - BY_SIGNAL) + " (" + strsignal(status - BY_SIGNAL) + ")";
}

// --- Directories ---

std::string own_directory() {
    std::error_code error;
    std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", error);
    return error ? "" : self.parent_path().string() + "/";
}

const std::string& temporary_directory(const std::string& parent, bool imagined) {
    if (!directory.empty()) return directory;
    const char* usual = getenv("TMPDIR");
    if (!usual || !*usual) usual = "/tmp";
    std::string name = (parent.empty() ? usual : parent) + "/" + own_name + "-XXXXXX";
    if (!imagined && !mkdtemp(name.data())) {
        fprintf(stderr, "%s: error: cannot make a directory '%s': %s\n", own_name, name.c_str(),
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
