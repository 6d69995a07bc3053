#include "terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>

namespace OstraneCli {

namespace {

constexpr char RED[] = "\x1b[1;31m";
constexpr char GREEN[] = "\x1b[1;32m";
constexpr char CYAN[] = "\x1b[36m";
constexpr char PLAIN[] = "\x1b[0m";

constexpr char CLEAR_LINE[] = "\r\x1b[K";
constexpr size_t USUAL_WIDTH = 80;

// Whether a status line stands on the terminal; a signal handler asks too.
std::atomic<bool> g_hasStatus{false};

// Whether stderr is a terminal that knows escape sequences.
bool IsCapable() {
    const char* const terminal = std::getenv("TERM");
    const bool isDumb = terminal == nullptr || std::strcmp(terminal, "dumb") == 0;
    return isatty(STDERR_FILENO) != 0 && !isDumb;
}

bool HasColour() {
    const char* const noColour = std::getenv("NO_COLOR");
    return IsCapable() && (noColour == nullptr || noColour[0] == '\0');
}

std::string Paint(const char* colour, const std::string& text) {
    return HasColour() ? colour + text + PLAIN : text;
}

void PrintLine(const std::string& line) {
    ClearStatus();
    std::fputs((line + "\n").c_str(), stderr);
}

// The head of an error up to its first colon, the caret and the hint.
std::string PaintErrorLine(const std::string& line, bool isFirst) {
    const size_t colon = line.find(": ");
    if (isFirst && colon != std::string::npos) {
        return Paint(RED, line.substr(0, colon + 1)) + line.substr(colon + 1);
    }
    const size_t start = line.find_first_not_of(' ');
    if (start != std::string::npos && line.find_first_not_of('^', start) == std::string::npos) {
        return line.substr(0, start) + Paint(GREEN, line.substr(start));
    }
    if (start != std::string::npos && line.compare(start, 5, "hint:") == 0) {
        return line.substr(0, start) + Paint(CYAN, "hint:") + line.substr(start + 5);
    }
    return line;
}

}  // namespace

void PrintUsageError(const std::string& message) {
    PrintLine(Paint(RED, "ostrane:") + " " + message);
}

void PrintInputError(const OstraneRecord::InputError& error) {
    PrintLine(PaintErrorLine(OstraneRecord::ShowError(error), true));
}

void PrintOutputError(const OstraneRecord::OutputFile& out, const OstraneRecord::InputError& error) {
    if (!out.HasLostReader()) {
        PrintInputError(error);
    }
}

void PrintStatementError(const OstraneRecord::StatementError& error, const std::string& statements,
                         const std::string& place) {
    std::istringstream lines(OstraneRecord::ShowError(error, statements));
    bool isFirst = true;
    for (std::string line; std::getline(lines, line); isFirst = false) {
        PrintLine(PaintErrorLine(line, isFirst));
    }
    if (!place.empty()) {
        PrintLine("  in " + place);
    }
}

void PrintNote(const std::string& message) {
    PrintLine(message);
}

bool CanShowStatus() {
    return IsCapable();
}

// One less than there are: in the last column some terminals begin a new line.
size_t StatusWidth() {
    struct winsize size = {};
    const bool isKnown = ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return (isKnown ? size.ws_col : USUAL_WIDTH) - 1;
}

void ShowStatus(const std::string& line) {
    g_hasStatus = true;
    std::fputs((CLEAR_LINE + line).c_str(), stderr);
}

void ClearStatus() {
    if (g_hasStatus.exchange(false)) {
        std::fputs(CLEAR_LINE, stderr);
    }
}

void ClearStatusInSignal() {
    if (g_hasStatus) {
        // Nothing can be done about a terminal that does not take it.
        static_cast<void>(write(STDERR_FILENO, CLEAR_LINE, sizeof(CLEAR_LINE) - 1) == 0);
    }
}

bool PrintText(const std::string& text) {
    OstraneRecord::OutputFile out;
    OstraneRecord::InputError error;
    out.UseDescriptor(STDOUT_FILENO, "standard output");
    if (out.Write(text, error) == 0 && out.Commit(error) == 0) {
        return true;
    }
    PrintOutputError(out, error);
    return false;
}

}  // namespace OstraneCli
