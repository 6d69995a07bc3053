#include "console_text.h"

#include <cstdlib>
#include <fstream>
#include <sstream>

namespace {

// Stands between the outcomes; no command prints it.
constexpr char MARK[] = "\x01 end of the outcome";

}  // namespace

std::vector<ConsoleCommand> ReadConsole(const std::string& path) {
    std::vector<ConsoleCommand> commands;
    std::ifstream in(path);
    bool isInside = false;
    int number = 0;
    for (std::string line; std::getline(in, line);) {
        ++number;
        if (line.compare(0, 3, "```") == 0) {
            isInside = line == "```console";
        } else if (isInside && line.compare(0, 2, "$ ") == 0) {
            commands.emplace_back();
            commands.back().line = number;
            commands.back().typed = line.substr(2) + "\n";
        } else if (isInside && !commands.empty() && commands.back().said.empty() && line.compare(0, 2, "> ") == 0) {
            commands.back().typed += line.substr(2) + "\n";
        } else if (isInside && !commands.empty()) {
            commands.back().said += line + "\n";
        }
    }
    return commands;
}

void RunConsole(const std::string& folder, std::vector<ConsoleCommand>& commands) {
    std::ofstream script(folder + "/console.sh");
    script << "cd '" << folder << "'\n";
    for (const ConsoleCommand& command : commands) {
        // The status is still that of the command for the next one, which may ask for it.
        script << command.typed << "status=$?; printf '%s\\n' '" << MARK << "'; (exit $status)\n";
    }
    script.close();
    const std::string run = "bash '" + folder + "/console.sh' >'" + folder + "/console.out' 2>&1 </dev/null";
    const bool hasEnded = std::system(run.c_str()) >= 0;
    std::ifstream out(folder + "/console.out");
    size_t next = 0;
    for (std::string line; hasEnded && next < commands.size() && std::getline(out, line);) {
        if (line == MARK) {
            ++next;
        } else {
            commands[next].outcome += line + "\n";
        }
    }
}
