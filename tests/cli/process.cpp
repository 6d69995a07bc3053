#include "cli/process.h"

#include <fcntl.h>
#include <grp.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>

namespace {

constexpr uid_t NOBODY = 65534;
constexpr int NOT_STARTED = 127;

// In the child: never returns.
[[noreturn]] void Become(const std::vector<std::string>& arguments, const ProcessSetup& setup, int err) {
    for (const int number : {SIGPIPE, SIGINT, SIGTERM, SIGHUP}) {
        std::signal(number, SIG_DFL);
    }
    setenv("TERM", "xterm", 1);
    setenv("NO_COLOR", "1", 1);
    dup2(open(setup.in.c_str(), O_RDONLY), STDIN_FILENO);
    dup2(setup.out < 0 ? open("/dev/null", O_WRONLY) : setup.out, STDOUT_FILENO);
    dup2(err, STDERR_FILENO);
    if (setup.isUnprivileged && (setgroups(0, nullptr) != 0 || setgid(NOBODY) != 0 || setuid(NOBODY) != 0)) {
        _exit(NOT_STARTED);
    }
    std::string program = OSTRANE_PROGRAM;
    std::vector<std::string> copies = arguments;
    std::vector<char*> argv = {program.data()};
    for (std::string& argument : copies) {
        argv.push_back(argument.data());
    }
    argv.push_back(nullptr);
    execv(program.c_str(), argv.data());
    _exit(NOT_STARTED);
}

}  // namespace

Process::Process(const std::vector<std::string>& arguments, const ProcessSetup& setup) {
    int ends[2] = {-1, -1};
    struct winsize size = {};
    size.ws_col = 100;
    size.ws_row = 24;
    const int failed = setup.isTerminal ? openpty(&ends[0], &ends[1], nullptr, nullptr, &size) : pipe2(ends, O_CLOEXEC);
    if (failed != 0) {
        return;
    }
    fcntl(ends[0], F_SETFD, FD_CLOEXEC);
    m_reader = ends[0];
    m_child = fork();
    if (m_child == 0) {
        Become(arguments, setup, ends[1]);
    }
    close(ends[1]);
}

Process::~Process() {
    if (m_child > 0) {
        Signal(SIGKILL);
        Wait();
    }
    if (m_reader >= 0) {
        close(m_reader);
    }
}

bool Process::Read(int milliseconds) {
    struct pollfd end = {m_reader, POLLIN, 0};
    if (poll(&end, 1, milliseconds) <= 0) {
        return true;
    }
    char buffer[65536];
    // A terminal answers EIO when its last user is gone.
    const ssize_t count = read(m_reader, buffer, sizeof(buffer));
    if (count <= 0) {
        return count < 0 && errno == EINTR;
    }
    m_err.append(buffer, static_cast<size_t>(count));
    return true;
}

void Process::Signal(int number) const {
    kill(m_child, number);
}

int Process::Wait() {
    while (Read(-1)) {
    }
    int status = 0;
    while (waitpid(m_child, &status, 0) < 0 && errno == EINTR) {
    }
    m_child = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

bool CanRunUnprivileged() {
    ProcessSetup setup;
    setup.isUnprivileged = true;
    return Process({"--version"}, setup).Wait() == 0;
}
