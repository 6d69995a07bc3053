// A folder of its own for one test, removed with everything in it.
#ifndef OSTRANE_TESTS_SUPPORT_TEMP_FOLDER_H_
#define OSTRANE_TESTS_SUPPORT_TEMP_FOLDER_H_

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

class TempFolder {
public:
    TempFolder() {
        std::string pattern = (std::filesystem::temp_directory_path() / "ostrane-XXXXXX").string();
        m_path = mkdtemp(pattern.data()) == nullptr ? std::string() : pattern;
    }
    ~TempFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    const std::string& Path() const { return m_path; }
    // The path of `name` in this folder.
    std::string At(const std::string& name) const { return m_path + "/" + name; }
    // Writes a file, with the folders on the way to it, and returns its path.
    std::string Write(const std::string& name, const std::string& text) const {
        std::filesystem::create_directories(std::filesystem::path(At(name)).parent_path());
        std::ofstream(At(name), std::ios::binary) << text;
        return At(name);
    }
    std::string Read(const std::string& name) const {
        std::ostringstream text;
        text << std::ifstream(At(name), std::ios::binary).rdbuf();
        return text.str();
    }

private:
    std::string m_path;
};

#endif  // OSTRANE_TESTS_SUPPORT_TEMP_FOLDER_H_
