// A run of the program that a test meets in the middle: its stderr is read while it runs, on a pipe or on a
// terminal, and signals are sent to it.
#ifndef OSTRANE_TESTS_CLI_PROCESS_H_
#define OSTRANE_TESTS_CLI_PROCESS_H_

#include <sys/types.h>

#include <string>
#include <vector>

struct ProcessSetup {
    bool isTerminal = false;       // stderr is one, 100 characters wide
    int out = -1;                  // becomes stdout; -1: /dev/null
    std::string in = "/dev/null";  // opened as stdin
    bool isUnprivileged = false;   // as a user who owns nothing
};

class Process {
public:
    Process(const std::vector<std::string>& arguments, const ProcessSetup& setup);
    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    // Reads what stderr has for up to `milliseconds`, or until something has come. False at its end.
    bool Read(int milliseconds);
    const std::string& Err() const { return m_err; }
    void Signal(int number) const;
    // Reads stderr to its end. The exit status, or -N when signal N ended the process.
    int Wait();

private:
    pid_t m_child = -1;
    int m_reader = -1;
    std::string m_err;
};

// Whether the program can be started by a user who owns nothing.
bool CanRunUnprivileged();

#endif  // OSTRANE_TESTS_CLI_PROCESS_H_
