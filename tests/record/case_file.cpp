#include "case_file.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <ostream>
#include <sstream>

namespace {

struct FileState {
    std::string schema;
    std::string type;
    std::string base;
};

void AddUnreadable(const std::string& file, const std::string& why, std::vector<StatementCase>& cases) {
    StatementCase broken;
    broken.file = file;
    broken.name = "cannot be read";
    broken.error = file + why;
    cases.push_back(broken);
}

// False where the case has such a line: the second would hide the first, as behind a `case` that was forgotten.
bool SetOnce(std::string& member, const std::string& text) {
    const bool isFirst = member.empty();
    member = text;
    return isFirst;
}

// False when no case, or no file, has this key, or the case has it already.
bool ReadLine(const std::string& key, const std::string& rest, const std::string& file, FileState& state,
              std::vector<StatementCase>& cases, size_t first) {
    if (key == "schema") {
        std::istringstream words(rest);
        words >> state.schema >> state.type;
        return true;
    }
    if (key == "base") {
        state.base = rest + " ";
        return true;
    }
    if (key == "case") {
        StatementCase made;
        made.file = file;
        made.schema = state.schema;
        made.type = state.type;
        made.name = rest;
        made.before = made.after = state.base;
        cases.push_back(made);
        return true;
    }
    if (cases.size() == first) {
        return false;
    }
    StatementCase& current = cases.back();
    const size_t equals = rest.find('=');
    if (key == "option") {
        current.options.push_back(rest);
    } else if (key == "param" && equals != std::string::npos) {
        current.parameters.emplace_back(rest.substr(0, equals), rest.substr(equals + 1));
    } else if (key == "unknown" && equals != std::string::npos) {
        current.unknown.emplace_back(std::stoi(rest.substr(0, equals)), std::stoull(rest.substr(equals + 1)));
    } else if (key == "before") {
        current.before = state.base + rest;
    } else if (key == "run") {
        return SetOnce(current.run, rest);
    } else if (key == "error") {
        return SetOnce(current.error, rest);
    } else if (key == "field") {
        return SetOnce(current.field, rest);
    } else if (key == "gives") {
        current.gives.push_back(rest);
    } else if (key == "after" && !current.hasAfter) {
        current.hasAfter = true;
        current.after = state.base + rest;
    } else {
        return false;
    }
    return true;
}

// A line that goes on with the text of `run` or `error`.
bool ContinueLine(const std::string& key, const std::string& text, StatementCase& current) {
    if (key == "run") {
        current.run += (current.run.empty() ? "" : "\n") + text;
        return true;
    }
    if (key == "error") {
        current.error += "\n  " + text;
        return true;
    }
    return false;
}

}  // namespace

void PrintTo(const StatementCase& test, std::ostream* out) {
    *out << test.file << ": " << test.name;
}

namespace {

void ReadCaseFile(const std::string& path, std::vector<StatementCase>& cases) {
    const std::string file = std::filesystem::path(path).stem().string();
    const bool isMarkdown = std::filesystem::path(path).extension() == ".md";
    const size_t first = cases.size();
    FileState state;
    if (isMarkdown) {
        state = {"player.proto", "demo.Player", "name: \"Mara\" "};
    }
    bool isInside = !isMarkdown;
    std::ifstream in(path);
    std::string line;
    std::string key;
    for (int number = 1; std::getline(in, line); ++number) {
        if (isMarkdown && line.compare(0, 3, "```") == 0) {
            isInside = line == "```case";
            if (isInside) {
                ReadLine("case", "example " + std::to_string(cases.size() - first + 1), file, state, cases, first);
            }
            continue;
        }
        if (!isInside || line.empty() || line.front() == '#') {
            continue;
        }
        bool isRead = false;
        if (line.compare(0, 2, "  ") == 0) {
            isRead = cases.size() > first && ContinueLine(key, line.substr(2), cases.back());
        } else {
            const size_t space = line.find(' ');
            key = line.substr(0, space);
            const size_t begin = space == std::string::npos ? space : line.find_first_not_of(' ', space);
            const std::string rest = begin == std::string::npos ? "" : line.substr(begin);
            isRead = ReadLine(key, rest, file, state, cases, first);
        }
        if (!isRead) {
            AddUnreadable(file,
                          ":" + std::to_string(number) + ": cannot read the line, or the second of its kind: " + line,
                          cases);
            return;
        }
    }
    if (cases.size() == first) {
        AddUnreadable(file, ": holds no case", cases);
    }
}

}  // namespace

std::vector<StatementCase> ReadCases(const std::string& path) {
    std::vector<std::string> files;
    if (std::filesystem::is_directory(path)) {
        for (const auto& entry : std::filesystem::directory_iterator(path)) {
            if (entry.path().extension() == ".case") {
                files.push_back(entry.path().string());
            }
        }
    } else {
        files.push_back(path);
    }
    std::sort(files.begin(), files.end());
    std::vector<StatementCase> cases;
    for (const std::string& file : files) {
        ReadCaseFile(file, cases);
    }
    return cases;
}
