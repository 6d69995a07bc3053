#include "program.h"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>

namespace {

// In the child: never returns.
[[noreturn]] void Exec(const std::vector<std::string>& command, const std::vector<std::string>& environment,
                       const std::string& folder) {
    std::signal(SIGPIPE, SIG_DFL);
    for (const std::string& entry : environment) {
        const size_t equals = entry.find('=');
        if (equals == std::string::npos) {
            unsetenv(entry.c_str());
        } else {
            setenv(entry.substr(0, equals).c_str(), entry.substr(equals + 1).c_str(), 1);
        }
    }
    if (!folder.empty() && chdir(folder.c_str()) != 0) {
        _exit(126);
    }
    std::vector<std::string> copies = command;
    std::vector<char*> argv;
    for (std::string& argument : copies) {
        argv.push_back(argument.data());
    }
    argv.push_back(nullptr);
    execvp(argv.front(), argv.data());
    _exit(127);
}

std::vector<std::string> OstraneWith(const std::vector<std::string>& arguments) {
    std::vector<std::string> command = {OSTRANE_PROGRAM};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return command;
}

int WaitFor(pid_t child) {
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

// Feeds and empties the pipes as they are ready, so that neither side waits for the other.
void Exchange(int input, const std::string& text, int out, int err, Outcome& outcome) {
    size_t written = 0;
    struct pollfd ends[3] = {{input, POLLOUT, 0}, {out, POLLIN, 0}, {err, POLLIN, 0}};
    const auto finish = [](struct pollfd& end) {
        close(end.fd);
        end.fd = -1;
    };
    if (text.empty()) {
        finish(ends[0]);
    }
    while (ends[0].fd >= 0 || ends[1].fd >= 0 || ends[2].fd >= 0) {
        if (poll(ends, 3, -1) < 0) {
            continue;
        }
        if (ends[0].fd >= 0 && ends[0].revents != 0) {
            const ssize_t count = write(ends[0].fd, text.data() + written, text.size() - written);
            written += count > 0 ? static_cast<size_t>(count) : 0;
            if (count < 0 || written == text.size()) {
                finish(ends[0]);
            }
        }
        for (int i = 1; i < 3; ++i) {
            char buffer[65536];
            if (ends[i].fd < 0 || ends[i].revents == 0) {
                continue;
            }
            const ssize_t count = read(ends[i].fd, buffer, sizeof(buffer));
            if (count <= 0) {
                finish(ends[i]);
                continue;
            }
            (i == 1 ? outcome.out : outcome.err).append(buffer, static_cast<size_t>(count));
        }
    }
}

}  // namespace

Outcome RunOstrane(const std::vector<std::string>& arguments, const Surroundings& setup) {
    Outcome outcome;
    int input[2];
    int out[2];
    int err[2];
    std::signal(SIGPIPE, SIG_IGN);
    if (pipe2(input, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0 || pipe2(err, O_CLOEXEC) != 0) {
        return outcome;
    }
    if (setup.closesOut) {
        close(out[0]);
        out[0] = -1;
    }
    const pid_t child = fork();
    if (child == 0) {
        dup2(input[0], STDIN_FILENO);
        dup2(setup.outPath.empty() ? out[1] : open(setup.outPath.c_str(), O_WRONLY), STDOUT_FILENO);
        dup2(err[1], STDERR_FILENO);
        Exec(OstraneWith(arguments), setup.environment, setup.folder);
    }
    close(input[0]);
    close(out[1]);
    close(err[1]);
    Exchange(input[1], setup.input, out[0], err[0], outcome);
    outcome.status = WaitFor(child);
    return outcome;
}

Outcome TypeInto(const std::vector<std::string>& command, const std::string& typed,
                 const std::vector<std::string>& environment) {
    Outcome outcome;
    int terminal = -1;
    const pid_t child = forkpty(&terminal, nullptr, nullptr, nullptr);
    if (child == 0) {
        Exec(command, environment, std::string());
    }
    if (!typed.empty() && write(terminal, typed.data(), typed.size()) != static_cast<ssize_t>(typed.size())) {
        outcome.err = "the terminal did not take all that was typed";
    }
    char buffer[4096];
    // The terminal answers EIO when its last user is gone.
    for (ssize_t count = 0; (count = read(terminal, buffer, sizeof(buffer))) > 0;) {
        outcome.out.append(buffer, static_cast<size_t>(count));
    }
    close(terminal);
    outcome.status = WaitFor(child);
    return outcome;
}

Outcome RunOnTerminal(const std::vector<std::string>& arguments, const std::vector<std::string>& environment) {
    return TypeInto(OstraneWith(arguments), std::string(), environment);
}

bool HasProgram(const std::string& name) {
    return std::system(("command -v " + name + " >/dev/null 2>&1").c_str()) == 0;
}
